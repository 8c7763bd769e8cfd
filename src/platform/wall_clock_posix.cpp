#include <time.h>

#include "platform/wall_clock.h"

namespace sbx::platform {

SystemTime LocalTimeNow() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts = {};
  if (localtime_r(&now.tv_sec, &parts) == nullptr) parts.tm_mday = 1;
  const auto narrow = [](long value) { return static_cast<std::uint16_t>(value); };
  return {narrow(parts.tm_year + 1900L), narrow(parts.tm_mon + 1L),      narrow(parts.tm_wday),
          narrow(parts.tm_mday),         narrow(parts.tm_hour),          narrow(parts.tm_min),
          narrow(parts.tm_sec),          narrow(now.tv_nsec / 1'000'000)};
}

std::uint64_t CoarseMilliseconds() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

}  // namespace sbx::platform
