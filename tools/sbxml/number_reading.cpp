#include "sbxml/number_reading.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "base/numbers.h"
#include "sbxml/text.h"
#include "x2b/primary_from_text.h"

namespace sbx::tool {
namespace {

using Bytes = std::array<std::byte, 8>;

// Units of a number that the reader looks at.
constexpr std::size_t kNumberUnits = 127;

Bytes Store(const PrimaryType& type, WideView text) {
  Bytes bytes = {};
  StoreScalar(type, text, bytes.data());
  return bytes;
}

bool IsFloating(const PrimaryType& type) noexcept {
  return type.name == u"float" || type.name == u"double";
}

// The rule of the writer: a name with a "u" is unsigned; "byte", which it does not know, is too.
bool IsUnsigned(const PrimaryType& type) noexcept {
  return type.name.find(u'u') != WideView::npos || type.name == u"byte";
}

template <class Value>
Value Load(const std::byte* address) noexcept {
  Value value;
  std::memcpy(&value, address, sizeof value);
  return value;
}

std::int64_t LoadSigned(const std::byte* address, std::int32_t size) noexcept {
  switch (size) {
    case 1:
      return Load<std::int8_t>(address);
    case 2:
      return Load<std::int16_t>(address);
    case 4:
      return Load<std::int32_t>(address);
    default:
      return Load<std::int64_t>(address);
  }
}

std::uint64_t LoadUnsigned(const std::byte* address, std::int32_t size) noexcept {
  const auto bits = static_cast<std::uint64_t>(LoadSigned(address, size));
  return size == 8 ? bits : bits & ((std::uint64_t{1} << (8 * size)) - 1);
}

// White space that the readers skip; a number's text holds no blanks and tabs.
constexpr WideView kSpace = u"\n\v\f\r";

WideView WithoutSpace(WideView text) noexcept {
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  return text;
}

struct Integer {
  bool isHex = false;
  bool isNegative = false;
  WideView digits;
  WideView rest;
};

// Only at the very front is a prefix seen, and are a sign and its digits read apart.
Integer Split(WideView number) noexcept {
  Integer integer;
  integer.isHex = number.starts_with(u"0x") || number.starts_with(u"0X");
  const bool isApart = integer.isHex || number.starts_with(u'-');
  if (!isApart) number = WithoutSpace(number);
  integer.isNegative = number.starts_with(u'-');
  if (integer.isHex) number.remove_prefix(2);
  if (integer.isNegative || (!integer.isHex && number.starts_with(u'+'))) number.remove_prefix(1);
  if (isApart) number = WithoutSpace(number);
  const WideView digits = integer.isHex ? u"0123456789abcdefABCDEF" : u"0123456789";
  const std::size_t end = std::min(number.find_first_not_of(digits), number.size());
  integer.digits = number.substr(0, end);
  integer.rest = WithoutSpace(number.substr(end));
  return integer;
}

// The digits' value; saturates, for digits that 64 bits can't hold.
std::uint64_t MagnitudeOf(const Integer& integer, bool& fits) {
  const std::string digits = ToUtf8(integer.digits);
  std::uint64_t value = 0;
  const auto end =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, integer.isHex ? 16 : 10);
  fits = end.ec == std::errc();
  return value;
}

// Whether a field of that type holds the number as it is written. Hexadecimal digits stand for the field's
// bits.
bool Fits(const PrimaryType& type, const Integer& integer) {
  bool fits = false;
  const std::uint64_t magnitude = MagnitudeOf(integer, fits);
  if (!fits) return false;
  if (type.name == u"bool") return magnitude <= 1 && !integer.isNegative;
  const int bits = 8 * type.size;
  const std::uint64_t all = bits == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
  if (integer.isNegative) return magnitude == 0 || (!IsUnsigned(type) && magnitude <= (all >> 1) + 1);
  // Codes of characters are written with a sign, and without one where a rule made them of a name.
  const bool takesAllBits = integer.isHex || IsUnsigned(type) || type.name == u"wchar_t";
  return magnitude <= (takesAllBits ? all : all >> 1);
}

bool IsSign(char character) noexcept {
  return character == '+' || character == '-';
}

// Whole numbers that the format can't hold are cut; decimal places are rounded as ever.
bool IsHeldWhole(const PrimaryType& type, std::string_view digits) noexcept {
  std::uint64_t whole = 0;
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), whole);
  if (end.ec != std::errc() || end.ptr != digits.data() + digits.size()) return true;
  const double held =
      type.size == 4 ? static_cast<double>(static_cast<float>(whole)) : static_cast<double>(whole);
  constexpr double kPast64Bits = 18446744073709551616.0;
  return held < kPast64Bits && static_cast<std::uint64_t>(held) == whole;
}

// The text as the floating-point reader takes it, and how much of that is a number.
NumberReading::Loss FloatingLoss(const PrimaryType& type, WideView number, WideString& behind) {
  const std::string text = ToUtf8(WithoutSpace(number));
  const char* first = text.data();
  const char* const last = text.data() + text.size();
  if (first != last && IsSign(*first)) ++first;
  const bool isHex = last - first > 2 && *first == '0' && (first[1] == 'x' || first[1] == 'X');
  if (isHex) first += 2;
  if (first == last || IsSign(*first)) return NumberReading::Loss::kNoNumber;
  double value = 0;
  const auto end =
      std::from_chars(first, last, value, isHex ? std::chars_format::hex : std::chars_format::general);
  if (end.ec == std::errc::invalid_argument) return NumberReading::Loss::kNoNumber;
  behind = WithoutSpace(ToWide(std::string_view(end.ptr, static_cast<std::size_t>(last - end.ptr))));
  if (!behind.empty()) return NumberReading::Loss::kBehind;
  const bool isTooLarge =
      end.ec == std::errc::result_out_of_range ||
      (type.size == 4 && std::isfinite(value) && !std::isfinite(static_cast<float>(value)));
  const std::string_view digits(first, static_cast<std::size_t>(end.ptr - first));
  const bool isCut = isTooLarge || (!isHex && !IsHeldWhole(type, digits));
  return isCut ? NumberReading::Loss::kCut : NumberReading::Loss::kNone;
}

NumberReading::Loss IntegerLoss(const PrimaryType& type, WideView number, WideString& behind) {
  const Integer integer = Split(number);
  if (integer.digits.empty()) return NumberReading::Loss::kNoNumber;
  if (!integer.rest.empty()) {
    behind = integer.rest;
    return NumberReading::Loss::kBehind;
  }
  return Fits(type, integer) ? NumberReading::Loss::kNone : NumberReading::Loss::kCut;
}

// What follows a number and is meant to be dropped: blanks, and a text in parentheses.
bool IsPresentation(WideView behind) noexcept {
  const std::size_t first = behind.find_first_not_of(u" \t");
  return first == WideView::npos || behind[first] == u'(';
}

}  // namespace

std::vector<WideView> TokensOf(WideView text) {
  std::vector<WideView> tokens;
  const std::size_t presentation = text.find(u'(');
  std::size_t first = text.find_first_not_of(u' ');
  while (first < text.size()) {
    const std::size_t end = std::min(text.find(u' ', first), text.size());
    const bool isCut = presentation >= first && presentation < end;
    tokens.push_back(text.substr(first, (isCut ? presentation : end) - first));
    first = text.find_first_not_of(u' ', end);
  }
  return tokens;
}

NumberReading ReadNumber(const PrimaryType& type, WideView text) {
  NumberReading reading;
  if (text.empty()) {
    reading.loss = NumberReading::Loss::kEmpty;
    return reading;
  }
  text.remove_prefix(std::min(text.find_first_not_of(u" \t"), text.size()));
  const std::size_t end = std::min(text.find_first_of(u" \t("), text.size());
  const WideView behind = text.substr(end);
  reading.number = text.substr(0, end);
  if (end > kNumberUnits) {
    reading.loss = NumberReading::Loss::kCut;
    return reading;
  }
  reading.loss = IsFloating(type) ? FloatingLoss(type, reading.number, reading.behind)
                                  : IntegerLoss(type, reading.number, reading.behind);
  if (reading.loss == NumberReading::Loss::kNone && !IsPresentation(behind)) {
    reading.loss = NumberReading::Loss::kBehind;
    reading.behind = behind.substr(behind.find_first_not_of(u" \t"));
  }
  return reading;
}

std::string ValueText(const PrimaryType& type, const std::byte* address) {
  WideString text;
  if (type.name == u"float") {
    AppendFloat(text, static_cast<double>(Load<float>(address)));
  } else if (type.name == u"double") {
    AppendFloat(text, Load<double>(address));
  } else if (IsUnsigned(type)) {
    AppendUint(text, LoadUnsigned(address, type.size));
  } else {
    AppendInt(text, LoadSigned(address, type.size));
  }
  return ToUtf8(text);
}

std::string StoredValue(const PrimaryType& type, WideView text) {
  return ValueText(type, Store(type, text).data());
}

bool StoresTheSame(const PrimaryType& type, WideView a, WideView b) {
  return Store(type, a) == Store(type, b);
}

}  // namespace sbx::tool
