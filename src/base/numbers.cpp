#include "base/numbers.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <string>

namespace sbx {
namespace {

constexpr bool IsSpace(char16_t unit) noexcept {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}
constexpr bool IsDigit(char16_t unit) noexcept {
  return unit >= u'0' && unit <= u'9';
}

constexpr int HexDigit(char16_t unit) noexcept {
  if (IsDigit(unit)) return unit - u'0';
  const char16_t upper = AsciiUpper(unit);
  return upper >= u'A' && upper <= u'F' ? upper - u'A' + 10 : -1;
}

WideView SkipSpace(WideView text) noexcept {
  const auto first = std::find_if_not(text.begin(), text.end(), IsSpace);
  return text.substr(static_cast<std::size_t>(first - text.begin()));
}

// Takes one sign off the front; true for a minus.
bool TakeSign(WideView& text) noexcept {
  if (text.empty() || (text.front() != u'-' && text.front() != u'+')) return false;
  const bool negative = text.front() == u'-';
  text.remove_prefix(1);
  return negative;
}

std::uint64_t Digits(WideView text) noexcept {
  std::uint64_t value = 0;
  for (const char16_t unit : text) {
    if (!IsDigit(unit)) break;
    value = value * 10 + static_cast<std::uint64_t>(unit - u'0');
  }
  return value;
}

// Whether the unit can stand in a number in any of its forms.
constexpr bool IsNumberUnit(char16_t unit) noexcept {
  const char16_t upper = AsciiUpper(unit);
  return IsDigit(unit) || (upper >= u'A' && upper <= u'Z') || unit == u'.' || unit == u'-' || unit == u'+';
}

// The front of a text as narrow text, as far as it can be a number; the standard's readers take no wide text.
// Only an unusually long one needs memory.
class NumberText {
 public:
  explicit NumberText(WideView text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsNumberUnit);
    size_ = static_cast<std::size_t>(end - text.begin());
    if (size_ > sizeof short_) long_.resize(size_);
    const auto narrow = [](char16_t unit) { return static_cast<char>(unit); };
    std::transform(text.begin(), end, size_ > sizeof short_ ? long_.data() : short_, narrow);
  }
  std::string_view view() const noexcept {
    return size_ > sizeof short_ ? std::string_view(long_) : std::string_view(short_, size_);
  }

 private:
  std::size_t size_;
  char short_[127];
  std::string long_;
};

// Whether `0x` with a digit behind it, or with a point and a digit, opens the number; else the 0 is all of
// it.
bool IsHexFloat(std::string_view number) noexcept {
  if (!number.starts_with("0x") && !number.starts_with("0X")) return false;
  const std::string_view digits = number.substr(number.substr(2).starts_with('.') ? 3 : 2);
  return !digits.empty() && HexDigit(static_cast<char16_t>(digits.front())) >= 0;
}

// Whether a number that left the range of a double was too large rather than too small. Only called for such
// numbers, whose order of magnitude is far from 0, so the position of the first digit that is not 0, moved by
// the exponent, decides.
bool IsTooLarge(std::string_view number, bool hexadecimal) {
  const std::string_view markers = hexadecimal ? "pP" : "eE";
  const std::size_t mark = number.find_first_of(markers);
  const std::string_view mantissa = number.substr(0, mark);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t leading = mantissa.find_first_not_of("0.");
  if (leading == std::string_view::npos) return false;
  const std::int64_t perDigit = hexadecimal ? 4 : 1;
  std::int64_t magnitude = (static_cast<std::int64_t>(point) - static_cast<std::int64_t>(leading)) * perDigit;
  if (mark != std::string_view::npos) {
    std::string_view exponent = number.substr(mark + 1);
    const bool negative = exponent.starts_with('-');
    if (negative || exponent.starts_with('+')) exponent.remove_prefix(1);
    std::int64_t value = 0;
    for (const char digit : exponent) {
      if (digit < '0' || digit > '9') break;
      value = std::min<std::int64_t>(value * 10 + (digit - '0'), std::numeric_limits<std::int32_t>::max());
    }
    magnitude += negative ? -value : value;
  }
  return magnitude > 0;
}

}  // namespace

std::int32_t ReadLong(WideView text) noexcept {
  text = SkipSpace(text);
  const bool negative = TakeSign(text);
  const std::int64_t limit = negative ? std::int64_t{1} << 31 : (std::int64_t{1} << 31) - 1;
  std::int64_t value = 0;
  for (const char16_t unit : text) {
    if (!IsDigit(unit)) break;
    value = std::min(value * 10 + (unit - u'0'), limit);
  }
  return static_cast<std::int32_t>(negative ? -value : value);
}

std::int64_t ScanInt64(WideView text) noexcept {
  text = SkipSpace(text);
  const bool negative = TakeSign(text);
  const std::uint64_t value = Digits(text);
  return static_cast<std::int64_t>(negative ? 0 - value : value);
}

std::uint64_t ScanUint64(WideView text) noexcept {
  return Digits(SkipSpace(text));
}

std::uint64_t ScanHex64(WideView text) noexcept {
  std::uint64_t value = 0;
  for (const char16_t unit : SkipSpace(text)) {
    const int digit = HexDigit(unit);
    if (digit < 0) break;
    value = value * 16 + static_cast<std::uint64_t>(digit);
  }
  return value;
}

double ReadDouble(WideView text) {
  text = SkipSpace(text);
  const bool negative = TakeSign(text);
  const NumberText narrow(text);
  std::string_view number = narrow.view();
  // A second sign is no number; the standard's reader would take a minus.
  if (number.starts_with('-')) return 0;
  const bool hexadecimal = IsHexFloat(number);
  if (hexadecimal) number.remove_prefix(2);
  double value = 0;
  const auto [end, error] =
      std::from_chars(number.data(), number.data() + number.size(), value,
                      hexadecimal ? std::chars_format::hex : std::chars_format::general);
  if (error == std::errc::invalid_argument) return 0;
  if (error == std::errc::result_out_of_range) {
    value = IsTooLarge({number.data(), end}, hexadecimal) ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return negative ? -value : value;
}

namespace {

// The longest: a sign, or one more digit, and 19 digits.
constexpr std::size_t kMostDigits = 20;

void AppendAscii(WideString& out, const char* first, const char* last) {
  const std::size_t before = out.size();
  out.resize(before + static_cast<std::size_t>(last - first));
  std::transform(first, last, out.data() + before, [](char c) { return static_cast<char16_t>(c); });
}

// Writes decimal digits up to `end`, and returns where they begin.
char16_t* WriteDigits(char16_t* end, std::uint64_t value) noexcept {
  do {
    *--end = static_cast<char16_t>(u'0' + value % 10);
    value /= 10;
  } while (value != 0);
  return end;
}

}  // namespace

void AppendInt(WideString& out, std::int64_t value) {
  char16_t units[kMostDigits];
  char16_t* const end = units + kMostDigits;
  const auto bits = static_cast<std::uint64_t>(value);
  char16_t* first = WriteDigits(end, value < 0 ? 0 - bits : bits);
  if (value < 0) *--first = u'-';
  out.append(first, static_cast<std::size_t>(end - first));
}

void AppendUint(WideString& out, std::uint64_t value) {
  char16_t units[kMostDigits];
  char16_t* const end = units + kMostDigits;
  const char16_t* const first = WriteDigits(end, value);
  out.append(first, static_cast<std::size_t>(end - first));
}

void AppendFloat(WideString& out, double value) {
  // The largest double has 309 digits before the point; seven units hold the point and the decimals.
  char digits[1 + 309 + 7];
  const auto result = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 6);
  AppendAscii(out, digits, result.ptr);
}

}  // namespace sbx
