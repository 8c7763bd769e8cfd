#include "base/numbers.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <ostream>
#include <string>

namespace sbx {
namespace {

template <class Value>
struct Row {
  const char16_t* text;
  Value value;
  const char* why;
};

constexpr std::int32_t kMost32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMost64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast64 = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kMostU64 = std::numeric_limits<std::uint64_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ReadLong, ReadsAsTheCRuntimeDoes) {
  const Row<std::int32_t> rows[] = {
      {u"", 0, "nothing"},
      {u"0", 0, "zero"},
      {u"42", 42, "digits"},
      {u"+42", 42, "a plus"},
      {u"-42", -42, "a minus"},
      {u"-0", 0, "minus zero"},
      {u"007", 7, "leading zeros, no octal"},
      {u"12abc", 12, "stops at the first other unit"},
      {u"12 34", 12, "stops at white space"},
      {u"1,234", 1, "no grouping"},
      {u"1.9", 1, "no point"},
      {u"abc", 0, "no digit"},
      {u"0x10", 0, "no hexadecimal"},
      {u"--5", 0, "one sign only"},
      {u"+-5", 0, "one sign only"},
      {u"-+5", 0, "one sign only"},
      {u"- 5", 0, "no blank behind the sign"},
      {u"-", 0, "a sign alone"},
      {u"\t\n\v\f\r 5", 5, "every white space"},
      {u"\u00A05", 0, "a no-break space is none"},
      {u"\u20035", 0, "an em space is none"},
      {u"\u30005", 0, "an ideographic space is none"},
      {u"\u00855", 0, "a next-line unit is none"},
      {u"\u001F5", 0, "a separator is none"},
      {u"\u0661\u0662", 0, "other scripts' digits are none"},
      {u"1\uFF12", 1, "full-width digits are none"},
      {u"2147483646", kMost32 - 1, "below the upper end"},
      {u"2147483647", kMost32, "the upper end"},
      {u"2147483648", kMost32, "saturates"},
      {u"4294967296", kMost32, "does not wrap"},
      {u"99999999999999999999999999", kMost32, "saturates far beyond"},
      {u"+2147483648", kMost32, "saturates with a sign"},
      {u"-2147483647", -kMost32, "above the lower end"},
      {u"-2147483648", kLeast32, "the lower end"},
      {u"-2147483649", kLeast32, "saturates"},
      {u"-99999999999999999999999999", kLeast32, "saturates far beyond"},
      {u"0000000000000000000000000000012", 12, "zeros do not saturate"},
  };
  for (const auto& row : rows) EXPECT_EQ(ReadLong(row.text), row.value) << row.why;
}

TEST(ReadLong, StopsAtAZeroUnit) {
  EXPECT_EQ(ReadLong(WideView(u"1\0002", 3)), 1);
  EXPECT_EQ(ReadLong(WideView(u"\0001", 2)), 0);
  EXPECT_EQ(ReadLong(WideView()), 0);
}

TEST(ScanInt64, ReadsAsAScanDoes) {
  const Row<std::int64_t> rows[] = {
      {u"", 0, "nothing"},
      {u" \t\n\v\f\r12x", 12, "white space, digits, other"},
      {u"+5", 5, "a plus"},
      {u"-5", -5, "a minus"},
      {u"--5", 0, "one sign only"},
      {u"-+5", 0, "one sign only"},
      {u"- 5", 0, "no blank behind the sign"},
      {u"0x10", 0, "no hexadecimal"},
      {u"9223372036854775807", kMost64, "the upper end"},
      {u"-9223372036854775808", kLeast64, "the lower end"},
      {u"9223372036854775808", kLeast64, "wraps"},
      {u"-9223372036854775809", kMost64, "wraps"},
      {u"18446744073709551615", -1, "the largest unsigned number has all bits set"},
      {u"18446744073709551616", 0, "modulo 2^64"},
      {u"18446744073709551621", 5, "modulo 2^64"},
      {u"-18446744073709551615", 1, "modulo 2^64"},
      {u"100000000000000000000", 7766279631452241920, "10^20 modulo 2^64"},
  };
  for (const auto& row : rows) EXPECT_EQ(ScanInt64(row.text), row.value) << row.why;
}

TEST(ScanUint64, ReadsAsAScanDoes) {
  const Row<std::uint64_t> rows[] = {
      {u"", 0, "nothing"},
      {u" \t\n\v\f\r12x", 12, "white space, digits, other"},
      {u"+5", 0, "takes no sign"},
      {u"-5", 0, "takes no sign"},
      {u"18446744073709551615", kMostU64, "the largest comes back whole"},
      {u"18446744073709551616", 0, "modulo 2^64"},
      {u"100000000000000000000", 7766279631452241920u, "10^20 modulo 2^64"},
  };
  for (const auto& row : rows) EXPECT_EQ(ScanUint64(row.text), row.value) << row.why;
}

TEST(ScanHex64, ReadsAsAScanDoes) {
  const Row<std::uint64_t> rows[] = {
      {u"", 0, "nothing"},
      {u"10", 16, "digits"},
      {u"aBcDeF", 0xABCDEF, "either case"},
      {u"fg", 15, "stops at the first other unit"},
      {u" \t\n\v\f\r1F", 31, "white space"},
      {u"-5", 0, "takes no sign"},
      {u"+5", 0, "takes no sign"},
      {u"0x5", 0, "takes no prefix"},
      {u"0X5", 0, "takes no prefix"},
      {u"FFFFFFFFFFFFFFFF", kMostU64, "the largest"},
      {u"1FFFFFFFFFFFFFFFF", kMostU64, "modulo 2^64"},
      {u"123456789ABCDEF01", 0x23456789ABCDEF01, "modulo 2^64"},
      {u"\uFF11", 0, "full-width digits are none"},
  };
  for (const auto& row : rows) EXPECT_EQ(ScanHex64(row.text), row.value) << row.why;
}

TEST(ReadDouble, ReadsAsTheCRuntimeDoes) {
  const Row<double> rows[] = {
      {u"", 0, "nothing"},
      {u"abc", 0, "no number"},
      {u"1.5", 1.5, "a point"},
      {u" \t\n\v\f\r-1.5x", -1.5, "white space, sign, other"},
      {u"+1.5", 1.5, "a plus"},
      {u"--1.5", 0, "one sign only"},
      {u"+-1.5", 0, "one sign only"},
      {u"-+1.5", 0, "one sign only"},
      {u"- 1.5", 0, "no blank behind the sign"},
      {u".5", 0.5, "no digit before the point"},
      {u"5.", 5, "no digit behind the point"},
      {u".", 0, "a point alone"},
      {u"1,5", 1, "a comma is no point"},
      {u"1e3", 1000, "an exponent"},
      {u"1E+3", 1000, "an exponent with a sign"},
      {u"25e-2", 0.25, "a negative exponent"},
      {u"1e", 1, "an exponent without digits is none"},
      {u"1e+", 1, "an exponent without digits is none"},
      {u"1d3", 1, "d is no exponent"},
      {u"1e3.5", 1000, "stops behind the exponent"},
      {u"0x10", 16, "hexadecimal"},
      {u"-0X1.8p1", -3, "hexadecimal with an exponent"},
      {u"0x.8", 0.5, "hexadecimal, no digit before the point"},
      {u"0x.8p1", 1, "hexadecimal, no digit before the point"},
      {u"0x1p", 1, "an exponent without digits is none"},
      {u"0x1p-2", 0.25, "a negative exponent"},
      {u"0x", 0, "a prefix alone"},
      {u"0xg", 0, "a prefix alone"},
      {u"0x.", 0, "a prefix and a point"},
      {u"0x.p1", 0, "a prefix and a point"},
      {u"0x-5", 0, "no sign behind the prefix"},
      {u"0x0x5", 0, "no second prefix"},
      {u"inf", kInfinity, "infinity"},
      {u"-INF", -kInfinity, "infinity, in any case"},
      {u"InFiNiTy", kInfinity, "infinity, in full"},
      {u"infinit", kInfinity, "as far as it fits"},
      {u"in", 0, "no number"},
      {u"1e308", 1e308, "large"},
      {u"1.7976931348623157e308", std::numeric_limits<double>::max(), "the largest"},
      {u"1.7976931348623159e308", kInfinity, "just too large"},
      {u"1e400", kInfinity, "too large"},
      {u"-1e400", -kInfinity, "too large"},
      {u"1e99999999999999999999", kInfinity, "an exponent beyond all integers"},
      {u"0e99999999999999999999", 0, "nothing stays nothing"},
      {u"0x1p1024", kInfinity, "too large, hexadecimal"},
      {u"1e-400", 0, "too small"},
      {u"1e-99999999999999999999", 0, "too small"},
      {u"0x1p-1080", 0, "too small, hexadecimal"},
      {u"5e-324", std::numeric_limits<double>::denorm_min(), "the smallest"},
      {u"2e-324", 0, "below half of the smallest"},
      {u"3e-324", std::numeric_limits<double>::denorm_min(), "above half of the smallest"},
      {u"9007199254740993", 9007199254740992.0, "half-way cases go to even"},
      {u"9007199254740993.0000000000000000000000000000000001", 9007199254740994.0, "all digits count"},
      {u"1\uFF12", 1, "full-width digits are none"},
      {u"\u00A01", 0, "a no-break space is no white space"},
  };
  for (const auto& row : rows) EXPECT_EQ(ReadDouble(row.text), row.value) << row.why;
}

TEST(ReadDouble, KeepsTheSignOfZeroOnlyWhereANumberWasRead) {
  EXPECT_TRUE(std::signbit(ReadDouble(u"-0")));
  EXPECT_TRUE(std::signbit(ReadDouble(u"-1e-400")));
  EXPECT_TRUE(std::signbit(ReadDouble(u"-0x0p0")));
  for (const char16_t* const text : {u"-", u"-abc", u"--0", u"-+0", u"- 0", u"-."}) {
    EXPECT_FALSE(std::signbit(ReadDouble(text)));
  }
}

TEST(ReadDouble, NotANumber) {
  for (const char16_t* const text : {u"nan", u"NaN", u"+nan", u"-nan", u"nan(1)", u"nano"}) {
    EXPECT_TRUE(std::isnan(ReadDouble(text)));
  }
  EXPECT_FALSE(std::signbit(ReadDouble(u"nan")));
  EXPECT_TRUE(std::signbit(ReadDouble(u"-nan")));
}

TEST(ReadDouble, NumbersOfAnyLength) {
  for (const std::size_t zeros : {100u, 123u, 124u, 125u, 126u, 127u, 128u, 129u, 300u, 100000u}) {
    const WideString whole = u"1" + WideString(zeros, u'0');
    EXPECT_EQ(ReadDouble(whole + u"e-" +
                         [&] {
                           WideString digits;
                           AppendUint(digits, zeros);
                           return digits;
                         }()),
              1.0)
        << zeros;
    EXPECT_EQ(ReadDouble(u"0." + WideString(zeros, u'0')), 0.0) << zeros;
    EXPECT_EQ(ReadDouble(WideString(zeros, u'0') + u"7.5"), 7.5) << zeros;
    EXPECT_EQ(ReadDouble(u"7.5 " + WideString(zeros, u'9')), 7.5) << zeros;
  }
  EXPECT_EQ(ReadDouble(u"1" + WideString(400, u'0')), kInfinity);
  EXPECT_EQ(ReadDouble(u"0." + WideString(400, u'0') + u"1"), 0.0);
  EXPECT_EQ(ReadDouble(u"0." + WideString(400, u'0') + u"1e500"), 1e99);
}

TEST(NumbersToText, Integers) {
  WideString out = u"=";
  AppendInt(out, kLeast64);
  out += u' ';
  AppendInt(out, kMost64);
  out += u' ';
  AppendInt(out, 0);
  out += u' ';
  AppendUint(out, kMostU64);
  EXPECT_EQ(out, u"=-9223372036854775808 9223372036854775807 0 18446744073709551615");
}

TEST(NumbersToText, SixDecimals) {
  const Row<double> rows[] = {
      {u"0.000000", 0, "zero"},
      {u"-0.000000", -0.0, "minus zero"},
      {u"-0.000000", -1e-10, "rounds to minus zero"},
      {u"1.500000", 1.5, "a fraction"},
      {u"0.000000", 5e-7, "half of the last place, below in binary"},
      {u"0.000001", 5.0000001e-7, "above half of the last place"},
      {u"0.333333", 1.0 / 3, "cut"},
      {u"1.000000", 0.9999999, "rounds up"},
      {u"123456789.125000", 123456789.125, "large"},
      {u"inf", kInfinity, "infinity"},
      {u"-inf", -kInfinity, "minus infinity"},
      {u"nan", std::numeric_limits<double>::quiet_NaN(), "not a number"},
      {u"-nan", -std::numeric_limits<double>::quiet_NaN(), "not a number, with a sign"},
      {u"340282346638528859811704183484516925440.000000",
       static_cast<double>(std::numeric_limits<float>::max()), "the largest of single precision, whole"},
      {u"0.100000", static_cast<double>(0.1f), "single precision, widened"},
  };
  for (const auto& row : rows) {
    WideString out;
    AppendFloat(out, row.value);
    EXPECT_EQ(out, row.text) << row.why;
  }
}

TEST(NumbersToText, TheLongestDouble) {
  WideString out;
  AppendFloat(out, -std::numeric_limits<double>::max());
  EXPECT_EQ(out.size(), 1u + 309u + 7u);
  EXPECT_TRUE(out.starts_with(u"-17976931348623157"));
  EXPECT_TRUE(out.ends_with(u".000000"));
}

}  // namespace
}  // namespace sbx
