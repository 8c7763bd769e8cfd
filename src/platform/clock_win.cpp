#include <time.h>

#include "platform/clock.h"

namespace sbx::platform {

std::optional<LocalTime> ToLocalTime(std::int64_t seconds) noexcept {
  constexpr int kYearBase = 1900;
  if (seconds < 0) return std::nullopt;
  const __time64_t time = seconds;
  struct tm parts;
  if (_localtime64_s(&parts, &time) != 0) return std::nullopt;
  return LocalTime{
      parts.tm_year + kYearBase, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
}

}  // namespace sbx::platform
