#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <windows.h>

#include "platform/module_identity.h"

namespace sbx::platform {
namespace {

constexpr DWORD kPathUnits = 512;
constexpr DWORD kVersionSignature = 0xFEEF04BD;

WideString ModulePath(HMODULE module) {
  std::wstring path(kPathUnits, L'\0');
  // A path that had no room is told with its zero counted.
  const DWORD length = std::min(GetModuleFileNameW(module, path.data(), kPathUnits), kPathUnits - 1);
  return {path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length)};
}

FileVersion VersionOf(const WideString& path) noexcept {
  try {
    const std::wstring file(path.begin(), path.end());
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &ignored);
    if (size == 0) return {0, 0};
    const auto block = std::make_unique<char[]>(size);
    void* found = nullptr;
    UINT length = 0;
    if (GetFileVersionInfoW(file.c_str(), 0, size, block.get()) == FALSE ||
        VerQueryValueW(block.get(), L"\\", &found, &length) == FALSE || length < sizeof(VS_FIXEDFILEINFO)) {
      return {0, 0};
    }
    const auto* info = static_cast<const VS_FIXEDFILEINFO*>(found);
    if (info->dwSignature != kVersionSignature) return {0, 0};
    return {info->dwFileVersionMS, info->dwFileVersionLS};
  } catch (const std::bad_alloc&) {
    return {0, 0};
  }
}

}  // namespace

const char16_t kPathSeparator = u'\\';

WideString OwnModulePath() {
  static const char marker = 0;
  MEMORY_BASIC_INFORMATION info;
  if (VirtualQuery(&marker, &info, sizeof info) != 0) {
    WideString path = ModulePath(static_cast<HMODULE>(info.AllocationBase));
    if (!path.empty()) return path;
  }
  return ExecutablePath();
}

WideString OwnModuleName() {
  const WideString path = OwnModulePath();
  const std::size_t separator = path.rfind(kPathSeparator);
  return separator == WideString::npos ? path : path.substr(separator + 1);
}

FileVersion OwnFileVersion() noexcept {
  try {
    return VersionOf(OwnModulePath());
  } catch (const std::bad_alloc&) {
    return {0, 0};
  }
}

WideString ExecutablePath() {
  return ModulePath(nullptr);
}

FileVersion ExecutableFileVersion() noexcept {
  try {
    return VersionOf(ExecutablePath());
  } catch (const std::bad_alloc&) {
    return {0, 0};
  }
}

std::uint32_t CurrentProcessId() noexcept {
  return GetCurrentProcessId();
}

std::uint32_t CurrentThreadId() noexcept {
  return GetCurrentThreadId();
}

}  // namespace sbx::platform
