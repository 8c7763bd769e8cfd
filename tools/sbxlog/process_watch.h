// Who begins to log while the command runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <set>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool {

class ProcessWatch {
 public:
  // The file names of the executables whose processes began to log since the last call. Cheap while nothing
  // changes.
  std::vector<WideString> TakeNew();

 private:
  bool MayHaveChanged();

  std::set<std::uint32_t> known_;
  std::uint32_t generation_ = 0;
  std::chrono::steady_clock::time_point lookedAt_ = {};
};

}  // namespace sbx::tool
