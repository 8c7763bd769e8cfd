#include <string>
#include <windows.h>

#include "platform/registry.h"

namespace sbx::platform {
namespace {

// A 32-bit process on a 64-bit system sees the native keys. The question is resolved at run time, as not
// every system can be asked.
bool IsUnderWow64() noexcept {
  using Question = BOOL(WINAPI*)(HANDLE, PBOOL);
  const HMODULE kernel = GetModuleHandleW(L"kernel32");
  if (kernel == nullptr) return false;
  const auto ask =
      reinterpret_cast<Question>(reinterpret_cast<void*>(GetProcAddress(kernel, "IsWow64Process")));
  BOOL answer = FALSE;
  return ask != nullptr && ask(GetCurrentProcess(), &answer) != FALSE && answer != FALSE;
}

}  // namespace

struct RegistryKey::State {
  HKEY key = nullptr;
  ~State() {
    if (key != nullptr) RegCloseKey(key);
  }
};

RegistryKey::RegistryKey() noexcept = default;
RegistryKey::~RegistryKey() = default;

std::uint32_t RegistryKey::Open(const WideString& path) {
  Close();
  const std::wstring systemPath(path.begin(), path.end());
  auto state = std::make_unique<State>();
  const REGSAM access = IsUnderWow64() ? KEY_READ | KEY_WOW64_64KEY : KEY_READ;
  const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, systemPath.c_str(), 0, access, &state->key);
  if (status == ERROR_SUCCESS) state_ = std::move(state);
  return static_cast<std::uint32_t>(status);
}

void RegistryKey::Close() noexcept {
  state_.reset();
}

std::uint32_t RegistryKey::Query(const WideString& value, void* out, std::size_t* size) noexcept {
  if (state_ == nullptr) return kStatusFileNotFound;
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  const auto* name = reinterpret_cast<const wchar_t*>(value.c_str());
  DWORD count = out == nullptr || *size > 0xFFFFFFFF ? 0 : static_cast<DWORD>(*size);
  const LSTATUS status =
      RegQueryValueExW(state_->key, name, nullptr, nullptr, static_cast<BYTE*>(out), &count);
  *size = count;
  return static_cast<std::uint32_t>(status);
}

}  // namespace sbx::platform
