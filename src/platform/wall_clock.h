// The time of day for log lines, and a cheap clock for "not more often than".
#pragma once

#include <cstdint>

namespace sbx::platform {

// Local time in the layout of the live channel's records.
struct SystemTime {
  std::uint16_t year;       // 1601 and up
  std::uint16_t month;      // 1 to 12
  std::uint16_t dayOfWeek;  // 0 is Sunday
  std::uint16_t day;        // 1 to 31
  std::uint16_t hour;
  std::uint16_t minute;
  std::uint16_t second;
  std::uint16_t milliseconds;
};

// Now, in the host's zone.
SystemTime LocalTimeNow() noexcept;

// Milliseconds of a clock that never goes back; its steps may be some 15 ms. Makes no system call.
std::uint64_t CoarseMilliseconds() noexcept;

}  // namespace sbx::platform
