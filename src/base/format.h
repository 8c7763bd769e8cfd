// The one formatter behind every message: log lines, error texts and type texts.
//
// A format is wide text with the conversions
//   %s %c          wide text, one unit
//   %d %i %ld      signed 32-bit          %u %lu %x %X   unsigned 32-bit
//   %I64d %I64u    64-bit                 %p             16 upper-case hexadecimal digits
//   %%             one per cent sign
// with the flags `-`, `0` and `#`, a width and a precision. Arguments carry their own kind, so no argument
// list can be overrun whatever text is used as a format: a conversion without an argument, or with one of
// another kind, reads as an empty text or 0. An unknown conversion loses its per cent sign and the rest
// prints as it stands; a lone per cent sign at the end vanishes. Null text prints "(null)".
//
// Nothing here allocates, throws or looks at the locale.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/wide_text.h"

namespace sbx {

// Units that a formatted message holds at most, without its terminating zero.
inline constexpr std::size_t kMessageUnits = 1023;

// One argument of a message. Borrows the text that it is made from.
class FormatArg {
 public:
  enum class Kind : std::uint8_t { kNone, kInteger, kText, kPointer };

  constexpr FormatArg() noexcept = default;
  template <std::integral Integer>
  constexpr FormatArg(Integer value) noexcept  // NOLINT(google-explicit-constructor): arguments convert
      : kind_(Kind::kInteger), number_(static_cast<std::uint64_t>(value)) {}
  FormatArg(const char16_t* text) noexcept  // NOLINT(google-explicit-constructor)
      : kind_(Kind::kText), text_(text), length_(text == nullptr ? 0 : WideView(text).size()) {}
  constexpr FormatArg(WideView text) noexcept  // NOLINT(google-explicit-constructor)
      : kind_(Kind::kText), text_(text.data() == nullptr ? u"" : text.data()), length_(text.size()) {}
  FormatArg(const WideString& text) noexcept : FormatArg(WideView(text)) {}  // NOLINT
  FormatArg(const void* pointer) noexcept                                    // NOLINT
      : kind_(Kind::kPointer), number_(reinterpret_cast<std::uintptr_t>(pointer)) {}

  constexpr Kind kind() const noexcept { return kind_; }
  // The integer's or pointer's bits; 0 for text.
  constexpr std::uint64_t number() const noexcept { return number_; }
  constexpr bool isNullText() const noexcept { return kind_ == Kind::kText && text_ == nullptr; }
  constexpr WideView text() const noexcept {
    return text_ == nullptr ? WideView() : WideView(text_, length_);
  }

 private:
  Kind kind_ = Kind::kNone;
  std::uint64_t number_ = 0;
  const char16_t* text_ = nullptr;
  std::size_t length_ = 0;
};

// An address as a %p argument.
inline FormatArg AddressArg(std::uintptr_t address) noexcept {
  return FormatArg(
      reinterpret_cast<const void*>(address));  // NOLINT(performance-no-int-to-ptr): printed only
}

// Formats into `out`, which holds `capacity` units; the result is cut at min(capacity, 1024) - 1 units and
// always ends in a zero. Returns the units written, without the zero. `complete`, if given, tells whether
// nothing was cut.
std::size_t FormatTo(char16_t* out, std::size_t capacity, WideView format, std::span<const FormatArg> args,
                     bool* complete = nullptr) noexcept;

// A formatted message in a buffer of its own; lives on the stack.
class Message {
 public:
  template <class... Args>
  explicit Message(WideView format, const Args&... args) noexcept {
    const std::array<FormatArg, sizeof...(Args) + 1> list = {FormatArg(args)..., FormatArg()};
    length_ = FormatTo(text_, kMessageUnits + 1, format, std::span(list.data(), sizeof...(Args)));
  }
  const char16_t* c_str() const noexcept { return text_; }
  WideView view() const noexcept { return {text_, length_}; }

 private:
  std::size_t length_ = 0;
  char16_t text_[kMessageUnits + 1];
};

}  // namespace sbx
