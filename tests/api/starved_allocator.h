// An allocator that refuses on demand: every allocation of the program under test goes through it, those of
// the XML parser included.
#pragma once

#include <cstddef>

namespace sbx::testing {

enum class Refuse { kOnce, kFromThenOn };

// From here on the `nth` allocation of this thread (1 is the next) is refused, and with kFromThenOn all after
// it.
void StarveAt(std::size_t nth, Refuse refuse);
// Ends it; returns whether an allocation was refused.
bool StopStarving();

// Allocations that have not been freed.
std::ptrdiff_t LiveAllocations();

// Lets the thread allocate while it lives.
class Fed {
 public:
  Fed();
  ~Fed();
  Fed(const Fed&) = delete;
  Fed& operator=(const Fed&) = delete;
};

}  // namespace sbx::testing
