// Log lines as they are shown; in colour the prefix tells the level and the tail stays in the background.
#pragma once

#include <cstdint>
#include <string>

#include "base/wide_text.h"
#include "sbxlog/output.h"

namespace sbx::tool {

struct ShownLine {
  std::string prefix;
  std::string message;
  std::string tail;
  std::int32_t level;
};
void PutLine(const ShownLine& line, const OutputForm& form);

// "2026/11/13 02:24:23:123" as "2026-11-13T02:24:23.123".
std::string IsoTime(WideView time);

}  // namespace sbx::tool
