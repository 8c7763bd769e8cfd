// Which messages are shown, of a file as of the live channel.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool {

struct FilterOptions {
  std::optional<std::int32_t> level = {};  // this one and the more serious ones
  std::vector<std::uint32_t> processIds;   // any of these; none: all
  std::vector<std::string> texts;          // any of these; none: all
};

class MessageFilter {
 public:
  explicit MessageFilter(const FilterOptions& options);
  bool IsActive() const noexcept { return level_ || !processIds_.empty() || !texts_.empty(); }
  bool Admits(std::int32_t level, std::uint32_t processId, WideView text) const;

 private:
  std::optional<std::int32_t> level_;
  std::vector<std::uint32_t> processIds_;
  std::vector<WideString> texts_;
};

}  // namespace sbx::tool
