// "Does this named object exist?", asked with every message and answered without the system as a rule.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "platform/named_objects.h"
#include "platform/wall_clock.h"

namespace sbx {

// Remembers an answer as long as no named object was made or has gone, and for half a second at most: the
// killing of an object's last holder changes nothing that could be watched. Lock-free; any thread.
class CachedAnswer {
 public:
  // The answer, if it still holds; else asks `ask`.
  template <class Ask>
  bool Get(Ask ask) noexcept {
    const std::uint32_t generation = platform::NamedObjectsGeneration();
    const std::uint64_t now = platform::CoarseMilliseconds();
    const std::uint64_t known = state_.load(std::memory_order_relaxed);
    // The number was taken before the question: a change in between makes the answer outdated at once.
    const bool isSame = generation != 0 && known >> 32 == generation;
    if (isSame && ((now - (known >> 1)) & kTimeMask) < kTrustMilliseconds) return (known & 1) != 0;
    const bool answer = ask();
    state_.store(std::uint64_t{generation} << 32 | (now & kTimeMask) << 1 | (answer ? 1 : 0),
                 std::memory_order_relaxed);
    return answer;
  }
  void Forget() noexcept { state_.store(0, std::memory_order_relaxed); }

 private:
  static constexpr std::uint64_t kTimeMask = 0x7FFFFFFF;
  static constexpr std::uint64_t kTrustMilliseconds = 500;

  std::atomic<std::uint64_t> state_ = 0;  // generation, milliseconds, answer; generation 0: nothing known
};

}  // namespace sbx
