#include <charconv>
#include <string_view>
#include <sys/utsname.h>
#include <system_error>

#include "platform/host_info.h"
#include "platform/narrow_text.h"

namespace sbx::platform {

WideString ComputerName() {
  utsname names;
  if (::uname(&names) != 0) return {};
  WideString name = Widen(names.nodename, NarrowPage::kUtf8).value_or(WideString());
  if (name.size() > 127) name.resize(127);
  return name;
}

OsVersion GetOsVersion() noexcept {
  utsname names;
  if (::uname(&names) != 0) return {-1, -1};
  const std::string_view release = names.release;
  OsVersion version = {0, 0};
  const auto major = std::from_chars(release.data(), release.data() + release.size(), version.major);
  if (major.ec != std::errc()) return {-1, -1};
  if (major.ptr != release.data() + release.size() && *major.ptr == '.') {
    std::from_chars(major.ptr + 1, release.data() + release.size(), version.minor);
  }
  return version;
}

std::uint32_t NativeProcessorArchitecture() noexcept {
  utsname names;
  const bool isX64 = ::uname(&names) == 0 && std::string_view(names.machine) == "x86_64";
  return isX64 ? 9 : 0xFFFF;
}

}  // namespace sbx::platform
