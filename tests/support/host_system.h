// What a test has to know of the system that it runs on.
#pragma once

#include <cerrno>
#include <cstdint>

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace sbx::testing {

#if defined(_WIN32)
inline constexpr bool kIsWindows = true;
// The numbers that messages show.
inline constexpr int kNoSuchFile = ERROR_FILE_NOT_FOUND;
inline constexpr int kNoSuchFolder = ERROR_PATH_NOT_FOUND;
inline constexpr int kIsFolder = ERROR_ACCESS_DENIED;
inline constexpr int kFileIsInUse = ERROR_SHARING_VIOLATION;

inline std::uint32_t OwnProcessId() noexcept {
  return GetCurrentProcessId();
}
inline std::uint32_t OwnThreadId() noexcept {
  return GetCurrentThreadId();
}

// What files without a mark hold.
inline bool IsNarrowPageUtf8() noexcept {
  return GetACP() == CP_UTF8;
}

// Wine is Windows but for what docs/platforms.md lists.
inline bool IsWine() noexcept {
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
}
#else
inline constexpr bool kIsWindows = false;
inline constexpr int kNoSuchFile = ENOENT;
inline constexpr int kNoSuchFolder = ENOENT;
inline constexpr int kIsFolder = EISDIR;
inline constexpr int kFileIsInUse = EWOULDBLOCK;

inline std::uint32_t OwnProcessId() noexcept {
  return static_cast<std::uint32_t>(::getpid());
}
inline std::uint32_t OwnThreadId() noexcept {
  return static_cast<std::uint32_t>(::gettid());
}

inline bool IsNarrowPageUtf8() noexcept {
  return true;
}
inline bool IsWine() noexcept {
  return false;
}
#endif

}  // namespace sbx::testing
