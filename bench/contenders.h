// Who takes part in each direction, over a workload of one size with its documents.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "documents.h"
#include "workload.h"

namespace bench {

// A size with everything that its contenders need.
struct Arena {
  explicit Arena(const Size& size);
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  Workload workload;
  Module fixed;                // array counts in the types
  Module ruled;                // array counts by rule
  std::u16string expected;     // the script's XML, as the hand-written writer makes it
  std::vector<char16_t> out;   // room for it and some to spare
  std::vector<char16_t> back;  // the same, for checks of what was read back
};

struct Contender {
  std::string name;
  std::function<bool(Arena&)> run;    // what is measured; false on failure
  std::function<bool(Arena&)> check;  // one run, and whether its result is what all the others have as well
};

// Memory to XML: fill `out`.
std::vector<Contender> Writers();

// XML to memory: rebuild the records of `expected` and free them again.
std::vector<Contender> Readers();

}  // namespace bench
