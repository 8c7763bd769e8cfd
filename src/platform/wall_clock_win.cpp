#include <windows.h>

#include "platform/wall_clock.h"

namespace sbx::platform {

SystemTime LocalTimeNow() noexcept {
  SYSTEMTIME now;
  GetLocalTime(&now);
  return {now.wYear, now.wMonth,  now.wDayOfWeek, now.wDay,
          now.wHour, now.wMinute, now.wSecond,    now.wMilliseconds};
}

std::uint64_t CoarseMilliseconds() noexcept {
  return GetTickCount64();
}

}  // namespace sbx::platform
