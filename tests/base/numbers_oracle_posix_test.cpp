// The readers and the formatter against the C library's, in the C locale, on many inputs.
#include <bit>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "base/format.h"
#include "base/numbers.h"

namespace sbx {
namespace {

WideString Wide(const std::string& text) {
  return WideString(text.begin(), text.end());
}
std::string Plain(WideView text) {
  std::string narrow;
  for (const char16_t unit : text) narrow.push_back(static_cast<char>(unit));
  return narrow;
}

// The C library's answer. Formats are made of the pieces below, so the compiler can't check them.
template <class Value>
std::string Printed(const char* format, Value value) {
  char text[1500];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, value);
#pragma GCC diagnostic pop
  return text;
}

class Inputs {
 public:
  std::uint64_t Bits() { return random_(); }
  std::size_t Below(std::size_t limit) { return random_() % limit; }

  // A text of pieces that are likely to meet a rule.
  std::string NumberLike() {
    static constexpr const char* kPieces[] = {
        "0",  "1",  "9",   "5",        "00", "123", "4503599627370497.5",
        ".",  "e",  "E",   "e-",       "e+", "p",   "P-",
        "0x", "0X", "a",   "F",        "+",  "-",   " ",
        "\t", "x",  "inf", "infinity", "30", "308", "1022"};
    std::string text;
    for (std::size_t left = 1 + Below(7); left != 0; --left) text += kPieces[Below(std::size(kPieces))];
    return text;
  }

 private:
  std::mt19937_64 random_{20240517};
};

// Same bits, but for the content of a not-a-number.
bool IsSame(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) == std::isnan(b);
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

TEST(NumbersOracle, DoublesFromNumberLikeText) {
  Inputs inputs;
  for (int i = 0; i < 300000; ++i) {
    const std::string text = inputs.NumberLike();
    ASSERT_TRUE(IsSame(ReadDouble(Wide(text)), std::strtod(text.c_str(), nullptr)))
        << "'" << text << "' gives " << ReadDouble(Wide(text)) << " and not "
        << std::strtod(text.c_str(), nullptr);
  }
}

TEST(NumbersOracle, DoublesOfEveryMagnitude) {
  static constexpr const char* kForms[] = {"%.17g", "%.3e", "%a", "%.25e", "%.12A", "%.20f", "%.1074f"};
  Inputs inputs;
  for (int i = 0; i < 40000; ++i) {
    const auto value = std::bit_cast<double>(inputs.Bits());
    const std::string text = Printed(kForms[inputs.Below(std::size(kForms))], value);
    ASSERT_TRUE(IsSame(ReadDouble(Wide(text)), std::strtod(text.c_str(), nullptr))) << text;
  }
}

TEST(NumbersOracle, DoublesAroundTheEndsOfTheRange) {
  Inputs inputs;
  for (int i = 0; i < 100000; ++i) {
    const int exponent = static_cast<int>(inputs.Below(40)) + (inputs.Below(2) == 0 ? 290 : -344);
    char text[100];
    std::snprintf(text, sizeof text, "%llu.%llue%d",
                  static_cast<unsigned long long>(inputs.Bits() >> inputs.Below(64)),
                  static_cast<unsigned long long>(inputs.Bits()), exponent);
    ASSERT_TRUE(IsSame(ReadDouble(Wide(text)), std::strtod(text, nullptr))) << text;
    const int binary = static_cast<int>(inputs.Below(80)) + (inputs.Below(2) == 0 ? 940 : -1140);
    std::snprintf(text, sizeof text, "0x%llx.%llxp%d",
                  static_cast<unsigned long long>(inputs.Bits() >> inputs.Below(64)),
                  static_cast<unsigned long long>(inputs.Bits()), binary);
    ASSERT_TRUE(IsSame(ReadDouble(Wide(text)), std::strtod(text, nullptr))) << text;
  }
}

TEST(NumbersOracle, SaturatingIntegers) {
  Inputs inputs;
  for (int i = 0; i < 200000; ++i) {
    std::string text = inputs.NumberLike();
    if (inputs.Below(2) == 0)
      text = std::to_string(static_cast<std::int64_t>(inputs.Bits()) >> inputs.Below(40));
    const long long exact = std::strtoll(text.c_str(), nullptr, 10);
    const long long expected = std::max<long long>(INT32_MIN, std::min<long long>(INT32_MAX, exact));
    ASSERT_EQ(ReadLong(Wide(text)), expected) << text;
  }
}

TEST(NumbersOracle, SixDecimals) {
  Inputs inputs;
  for (int i = 0; i < 50000; ++i) {
    double value = std::bit_cast<double>(inputs.Bits());
    if (i % 2 == 0) value = static_cast<double>(static_cast<std::int64_t>(inputs.Bits())) / 1e12;
    WideString out;
    AppendFloat(out, value);
    ASSERT_EQ(Plain(out), Printed("%f", value));
  }
}

// Forms in which the platform's formatter and the C library's agree: neither a precision with a sign, nor a
// prefix of 0, nor flags that one of them lacks.
TEST(FormatOracle, Integers) {
  static constexpr const char* kFlags[] = {"", "-", "0"};
  static constexpr const char* kConversions[] = {"d", "i", "u", "x", "X"};
  Inputs inputs;
  for (int i = 0; i < 100000; ++i) {
    std::string format = std::string("[%") + kFlags[inputs.Below(3)];
    if (inputs.Below(2) == 0) format += std::to_string(1 + inputs.Below(40));
    format += kConversions[inputs.Below(5)];
    format += "]";
    const int value = static_cast<int>(inputs.Bits() >> 32) >> inputs.Below(32);
    ASSERT_EQ(Plain(Message(Wide(format), value).view()), Printed(format.c_str(), value))
        << format << " of " << value;
  }
}

}  // namespace
}  // namespace sbx
