#include "rules/number_text.h"

#include "base/numbers.h"

namespace sbx {
namespace {

// Hexadecimal digits and nothing else, modulo 2^32; 0 for any other text, an empty one too.
std::uint32_t HexNumber(WideView digits) noexcept {
  std::uint32_t value = 0;
  for (const char16_t unit : digits) {
    const char16_t upper = AsciiUpper(unit);
    std::uint32_t digit = 0;
    if (upper >= u'0' && upper <= u'9') {
      digit = static_cast<std::uint32_t>(upper - u'0');
    } else if (upper >= u'A' && upper <= u'F') {
      digit = static_cast<std::uint32_t>(upper - u'A' + 10);
    } else {
      return 0;
    }
    value = value * 16 + digit;
  }
  return value;
}

}  // namespace

std::uint32_t ParseNumberText(WideView text) noexcept {
  const bool negative = text.starts_with(u'-');
  const WideView body = text.substr(negative ? 1 : 0);
  if (!body.starts_with(u"0x") && !body.starts_with(u"0X")) return static_cast<std::uint32_t>(ReadLong(text));
  const std::uint32_t value = HexNumber(body.substr(2));
  return negative ? 0 - value : value;
}

}  // namespace sbx
