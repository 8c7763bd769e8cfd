#include <windows.h>

#include "platform/host_info.h"

namespace sbx::platform {

WideString ComputerName() {
  wchar_t name[128] = {};
  DWORD size = 128;
  if (GetComputerNameW(name, &size) == FALSE) return {};
  return {name, name + size};
}

OsVersion GetOsVersion() noexcept {
  // The larger form of the question first; an old system knows the smaller one only.
  OSVERSIONINFOEXW version = {};
  for (const std::size_t size : {sizeof(OSVERSIONINFOEXW), sizeof(OSVERSIONINFOW)}) {
    version.dwOSVersionInfoSize = static_cast<DWORD>(size);
    if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) != FALSE) {
      return {static_cast<std::int32_t>(version.dwMajorVersion),
              static_cast<std::int32_t>(version.dwMinorVersion)};
    }
  }
  return {-1, -1};
}

std::uint32_t NativeProcessorArchitecture() noexcept {
  SYSTEM_INFO info = {};
  GetNativeSystemInfo(&info);
  return info.wProcessorArchitecture;
}

}  // namespace sbx::platform
