#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/narrow_text.h"

namespace sbx::platform {
namespace {

constexpr char16_t kReplacement = u'\xFFFD';
constexpr std::size_t kBlock = 16;

std::uint8_t ByteAt(std::string_view bytes, std::size_t at) noexcept {
  return static_cast<std::uint8_t>(bytes[at]);
}

// What may follow a lead byte: how many bytes, and the bounds of the first of them, which leave out overlong
// forms, surrogates and values above U+10FFFF.
struct Lead {
  unsigned following;
  std::uint8_t low;
  std::uint8_t high;
};

Lead LeadOf(std::uint8_t byte) noexcept {
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

// Reads one character beyond ASCII and moves `at` past it, or past the part of it that is valid.
char32_t ReadCharacter(std::string_view bytes, std::size_t& at) noexcept {
  const std::uint8_t first = ByteAt(bytes, at++);
  const Lead lead = LeadOf(first);
  if (lead.following == 0) return kReplacement;
  char32_t value = first & (0x3Fu >> lead.following);
  for (unsigned i = 0; i < lead.following; ++i) {
    const std::uint8_t low = i == 0 ? lead.low : 0x80;
    const std::uint8_t high = i == 0 ? lead.high : 0xBF;
    if (at == bytes.size() || ByteAt(bytes, at) < low || ByteAt(bytes, at) > high) return kReplacement;
    value = value << 6 | (ByteAt(bytes, at++) & 0x3Fu);
  }
  return value;
}

bool IsAsciiBlock(const char* bytes) noexcept {
  std::uint64_t halves[2];
  std::memcpy(halves, bytes, sizeof halves);
  return ((halves[0] | halves[1]) & 0x8080808080808080u) == 0;
}

bool IsAsciiBlock(const char16_t* units) noexcept {
  std::uint64_t quarters[4];
  std::memcpy(quarters, units, sizeof quarters);
  return ((quarters[0] | quarters[1] | quarters[2] | quarters[3]) & 0xFF80FF80FF80FF80u) == 0;
}

constexpr bool IsHighSurrogate(char16_t unit) noexcept {
  return (unit & 0xFC00) == 0xD800;
}
constexpr bool IsLowSurrogate(char16_t unit) noexcept {
  return (unit & 0xFC00) == 0xDC00;
}

// Reads one character and moves `at` past it; a surrogate alone becomes the replacement character.
char32_t ReadCharacter(WideView text, std::size_t& at) noexcept {
  const char16_t unit = text[at++];
  if (IsHighSurrogate(unit) && at < text.size() && IsLowSurrogate(text[at])) {
    return 0x10000 + ((unit & 0x3FFu) << 10 | (text[at++] & 0x3FFu));
  }
  return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit;
}

char* PutUtf8(char* out, char32_t value) noexcept {
  const auto tail = [value](unsigned shift) { return static_cast<char>(0x80 | (value >> shift & 0x3F)); };
  if (value < 0x80) {
    *out++ = static_cast<char>(value);
  } else if (value < 0x800) {
    *out++ = static_cast<char>(0xC0 | value >> 6);
    *out++ = tail(0);
  } else if (value < 0x10000) {
    *out++ = static_cast<char>(0xE0 | value >> 12);
    *out++ = tail(6);
    *out++ = tail(0);
  } else {
    *out++ = static_cast<char>(0xF0 | value >> 18);
    *out++ = tail(12);
    *out++ = tail(6);
    *out++ = tail(0);
  }
  return out;
}

}  // namespace

std::optional<WideString> Widen(std::string_view bytes, NarrowPage) {
  WideString wide(bytes.size(), u'\0');  // no character takes more units than bytes
  char16_t* out = wide.data();
  for (std::size_t at = 0; at < bytes.size();) {
    if (at + kBlock <= bytes.size() && IsAsciiBlock(bytes.data() + at)) {
      out = std::copy_n(bytes.data() + at, kBlock, out);
      at += kBlock;
    } else if (ByteAt(bytes, at) < 0x80) {
      *out++ = ByteAt(bytes, at++);
    } else if (const char32_t value = ReadCharacter(bytes, at); value < 0x10000) {
      *out++ = static_cast<char16_t>(value);
    } else {
      *out++ = static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10));
      *out++ = static_cast<char16_t>(0xDC00 + (value & 0x3FF));
    }
  }
  wide.resize(static_cast<std::size_t>(out - wide.data()));
  return wide;
}

std::optional<std::string> Narrow(WideView text, NarrowPage) {
  // Grown in steps: three bytes for each unit would triple the memory of what is mostly ASCII.
  constexpr std::size_t kUnitsPerStep = 1024;
  std::string narrow;
  narrow.reserve(text.size());
  char step[(kUnitsPerStep + 1) * 3 + 1];
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = at + std::min(kUnitsPerStep, text.size() - at);
    char* out = step;
    while (at < end) {
      if (at + kBlock <= end && IsAsciiBlock(text.data() + at)) {
        out = std::transform(text.data() + at, text.data() + at + kBlock, out,
                             [](char16_t unit) { return static_cast<char>(unit); });
        at += kBlock;
      } else {
        out = PutUtf8(out, ReadCharacter(text, at));
      }
    }
    narrow.append(step, static_cast<std::size_t>(out - step));
  }
  return narrow;
}

}  // namespace sbx::platform
