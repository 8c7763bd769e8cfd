#include <climits>
#include <windows.h>

#include "platform/narrow_text.h"

namespace sbx::platform {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

UINT PageNumber(NarrowPage page) noexcept {
  switch (page) {
    case NarrowPage::kUtf8:
      return CP_UTF8;
    case NarrowPage::kAnsi:
      return CP_ACP;
  }
  return CP_ACP;
}

wchar_t* SystemText(char16_t* text) noexcept {
  return static_cast<wchar_t*>(static_cast<void*>(text));
}
const wchar_t* SystemText(const char16_t* text) noexcept {
  return static_cast<const wchar_t*>(static_cast<const void*>(text));
}

}  // namespace

std::optional<WideString> Widen(std::string_view bytes, NarrowPage page) {
  if (bytes.empty()) return WideString();  // to the system's call, no length is a mistake
  if (bytes.size() > INT_MAX) return std::nullopt;
  const int size = static_cast<int>(bytes.size());
  const int needed = MultiByteToWideChar(PageNumber(page), 0, bytes.data(), size, nullptr, 0);
  if (needed <= 0) return std::nullopt;
  WideString wide(static_cast<std::size_t>(needed), u'\0');
  const int done =
      MultiByteToWideChar(PageNumber(page), 0, bytes.data(), size, SystemText(wide.data()), needed);
  if (done <= 0) return std::nullopt;
  wide.resize(static_cast<std::size_t>(done));
  return wide;
}

std::optional<std::string> Narrow(WideView text, NarrowPage page) {
  if (text.empty()) return std::string();
  if (text.size() > INT_MAX) return std::nullopt;
  const int size = static_cast<int>(text.size());
  const wchar_t* const units = SystemText(text.data());
  const int needed = WideCharToMultiByte(PageNumber(page), 0, units, size, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return std::nullopt;
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  const int done =
      WideCharToMultiByte(PageNumber(page), 0, units, size, narrow.data(), needed, nullptr, nullptr);
  if (done <= 0) return std::nullopt;
  narrow.resize(static_cast<std::size_t>(done));
  return narrow;
}

}  // namespace sbx::platform
