#include <atomic>
#include <cstdlib>
#include <limits>
#include <time.h>

#include "platform/clock.h"

namespace sbx::platform {
namespace {

// Has the C library look at the host's zone, which may have been set since the last time. It compares the
// name if there is one; without a name it would look at a file each time, so that is done once.
void FollowZone() noexcept {
  static constinit std::atomic<bool> isDefaultRead{false};
  const bool isNamed = std::getenv("TZ") != nullptr;  // NOLINT(concurrency-mt-unsafe): as tzset itself
  if (isNamed || !isDefaultRead.load(std::memory_order_relaxed)) tzset();
  isDefaultRead.store(!isNamed, std::memory_order_relaxed);
}

}  // namespace

std::optional<LocalTime> ToLocalTime(std::int64_t seconds) noexcept {
  constexpr int kYearBase = 1900;
  if (seconds < 0) return std::nullopt;
  const time_t time = seconds;
  tm parts;
  FollowZone();
  if (localtime_r(&time, &parts) == nullptr) return std::nullopt;
  if (parts.tm_year > std::numeric_limits<int>::max() - kYearBase) return std::nullopt;
  return LocalTime{
      parts.tm_year + kYearBase, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
}

}  // namespace sbx::platform
