#include "xml/byte_string.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>

#include "diag/dbg_log_facade.h"
#include "platform/narrow_text.h"
#include "xml/text_scan.h"

namespace sbx::xml {
namespace {

char16_t LowDigit(unsigned char byte) noexcept {
  const unsigned nibble = byte & 0x0FU;
  return static_cast<char16_t>(nibble < 10 ? u'0' + nibble : u'A' + (nibble - 10));
}

// From 0x80 up the nibble counts as negative (-8 to -1) and is added to the letter base, 'A' - 10: written
// documents hold these digits, and they do not decode back.
char16_t HighDigit(unsigned char byte) noexcept {
  const unsigned nibble = byte >> 4U;
  if (nibble >= 8) return static_cast<char16_t>(u'A' - 10 + nibble - 16);
  return static_cast<char16_t>(u'0' + nibble);
}

char16_t* PutByte(char16_t* to, unsigned char byte) noexcept {
  *to++ = HighDigit(byte);
  *to++ = LowDigit(byte);
  return to;
}

// -1 for what is no digit.
int DigitValue(char16_t digit) noexcept {
  if (digit >= u'0' && digit <= u'9') return digit - u'0';
  if (digit >= u'A' && digit <= u'F') return digit - u'A' + 10;
  if (digit >= u'a' && digit <= u'f') return digit - u'a' + 10;
  return -1;
}

// The bytes of the whole groups of four digits, even where bytes of one are meant: an odd last byte is lost.
std::optional<std::string> DecodeBytes(WideView digits) {
  std::string bytes(digits.size() / 4 * 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const int high = DigitValue(digits[2 * i]);
    const int low = DigitValue(digits[2 * i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[i] = static_cast<char>(high * 16 + low);
  }
  return bytes;
}

WideString UnitsOf(std::string_view bytes) {
  WideString text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto low = static_cast<unsigned char>(bytes[2 * i]);
    const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
    text[i] = static_cast<char16_t>(low | high << 8U);
  }
  return text;
}

}  // namespace

bool IsSafeText(WideView text) noexcept {
  return ScanText(text).isSafe;
}

WideString EncodeByteString(WideView text) {
  WideString digits(text.size() * 4, u'\0');
  char16_t* to = digits.data();
  for (const char16_t unit : text) {
    to = PutByte(to, static_cast<unsigned char>(unit & 0xFFU));
    to = PutByte(to, static_cast<unsigned char>(unit >> 8U));
  }
  return digits;
}

std::optional<WideString> EncodeContent(WideView text) {
  try {
    return EncodeByteString(text);
  } catch (const std::bad_alloc&) {
    g_DBGLog.Printf(0, u"No enough memory for converting buffer to byte string.");
    return std::nullopt;
  }
}

WideString DecodeContent(WideView text, WideView flag) {
  const bool isBinary = flag == u"binary";
  if (!isBinary && flag != u"bin_utf8") return WideString(text);
  const std::optional<std::string> bytes = DecodeBytes(text);
  if (!bytes) return {};
  if (isBinary) {
    WideString units = UnitsOf(*bytes);
    units.resize(std::min(units.find(u'\0'), units.size()));
    return units;
  }
  const std::string_view narrow = std::string_view(*bytes).substr(0, bytes->find('\0'));
  return platform::Widen(narrow, platform::NarrowPage::kUtf8).value_or(WideString());
}

}  // namespace sbx::xml
