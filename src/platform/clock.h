// Local time, in the host's zone.
#pragma once

#include <cstdint>
#include <optional>

namespace sbx::platform {

struct LocalTime {
  int year;    // 1970 and up
  int month;   // 1 to 12
  int day;     // 1 to 31
  int hour;    // 0 to 23
  int minute;  // 0 to 59
  int second;  // 0 to 60
};

// Breaks seconds since 1970-01-01 UTC down to local time. Nothing for a time below 0 or one that the
// platform can't break down.
std::optional<LocalTime> ToLocalTime(std::int64_t seconds) noexcept;

}  // namespace sbx::platform
