// Wide text: UTF-16 code units, compared exactly unless a function says otherwise.
#pragma once

#include <string>
#include <string_view>

namespace sbx {

using WideString = std::u16string;
using WideView = std::u16string_view;

// A view of zero-terminated text; null gives an empty view.
inline WideView ViewOf(const char16_t* text) noexcept {
  return text == nullptr ? WideView() : WideView(text);
}

// "Upper case" and "ignoring case" mean ASCII letters only, on every system.
constexpr char16_t AsciiUpper(char16_t unit) noexcept {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}

bool EqualsIgnoringCase(WideView a, WideView b) noexcept;

// Copies text into a buffer of `capacity` units, cut so that a terminating zero always fits. A capacity of
// zero writes nothing.
void CopyTruncated(char16_t* out, std::size_t capacity, WideView text) noexcept;

}  // namespace sbx
