#include "base/format.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace sbx {
namespace {

constexpr std::int64_t kLeast64 = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kMostU64 = std::numeric_limits<std::uint64_t>::max();

struct Row {
  const char16_t* format;
  FormatArg arg;
  const char16_t* expected;
  const char* why;
};

TEST(Format, OneConversion) {
  const Row rows[] = {
      {u"%s", u"text", u"text", "text"},
      {u"%s", WideView(u"view and more", 4), u"view", "a view"},
      {u"%s", WideView(), u"", "an empty view"},
      {u"%s", static_cast<const char16_t*>(nullptr), u"(null)", "null text"},
      {u"[%8s]", u"text", u"[    text]", "width"},
      {u"[%-8s]", u"text", u"[text    ]", "width, to the left"},
      {u"[%2s]", u"text", u"[text]", "a width never cuts"},
      {u"[%.2s]", u"text", u"[te]", "precision cuts"},
      {u"[%6.2s]", u"text", u"[    te]", "both"},
      {u"[%.0s]", u"text", u"[]", "precision 0"},
      {u"[%.s]", u"text", u"[]", "a point alone is precision 0"},
      {u"[%.9s]", u"text", u"[text]", "precision beyond the text"},
      {u"%c", u'Q', u"Q", "a unit"},
      {u"%c", u'\u20AC', u"\u20AC", "a unit beyond ASCII"},
      {u"[%3c]", u'Q', u"[  Q]", "a unit with a width"},
      {u"[%c]", 0, u"[]", "no unit"},
      {u"%d", 0, u"0", "zero"},
      {u"%d", -1, u"-1", "below zero"},
      {u"%i", 42, u"42", "the other letter"},
      {u"%ld", -42, u"-42", "a long has 32 bits"},
      {u"%d", INT32_MIN, u"-2147483648", "the least"},
      {u"%d", 0xFFFFFFFFu, u"-1", "bits, not value"},
      {u"%d", std::int64_t{0x100000005}, u"5", "the low 32 bits"},
      {u"%u", -1, u"4294967295", "unsigned"},
      {u"%lu", 0xFFFFFFFFu, u"4294967295", "an unsigned long has 32 bits"},
      {u"%I64d", kLeast64, u"-9223372036854775808", "64 bits"},
      {u"%I64d", -1, u"-1", "a smaller number widens with its sign"},
      {u"%I64u", kMostU64, u"18446744073709551615", "64 bits, unsigned"},
      {u"%x", 0xBEEF, u"beef", "hexadecimal"},
      {u"%X", 0xBEEF, u"BEEF", "hexadecimal, upper case"},
      {u"%x", -1, u"ffffffff", "32 bits"},
      {u"%#x", 0xBEEF, u"0xbeef", "a prefix"},
      {u"%#X", 0xBEEF, u"0XBEEF", "a prefix, upper case"},
      {u"[%5d]", -42, u"[  -42]", "width"},
      {u"[%-5d]", -42, u"[-42  ]", "width, to the left"},
      {u"[%05d]", -42, u"[-0042]", "zeros behind the sign"},
      {u"[%010ld]", -1, u"[-000000001]", "the sign counts in the width"},
      {u"[%05ld]", 7, u"[00007]", "zeros"},
      {u"[%-05d]", 42, u"[42   ]", "no zeros to the right"},
      {u"[%0-5d]", 42, u"[42   ]", "flags in any order"},
      {u"[%.5d]", -42, u"[-0042]", "precision counts the sign"},
      {u"[%8.5d]", 42, u"[   00042]", "width and precision"},
      {u"[%-8.5d]", 42, u"[00042   ]", "width and precision, to the left"},
      {u"0x%2.2X", 5, u"0x05", "two digits"},
      {u"0x%2.2X", 0x1234, u"0x1234", "a precision never cuts a number"},
      {u"0x%4.4X", 0xAB, u"0x00AB", "four digits"},
      {u"0x%8.8X", 0x7FFFFFFF, u"0x7FFFFFFF", "eight digits"},
      {u"%08x", 0xAB, u"000000ab", "eight digits by width"},
      {u"[%#8x]", 0xAB, u"[    0xab]", "the prefix counts in the width"},
      {u"[%#08x]", 0xAB, u"[0x0000ab]", "zeros behind the prefix"},
      {u"%p", AddressArg(0), u"0000000000000000", "the null address"},
      {u"%p", AddressArg(0xABCDEF), u"0000000000ABCDEF", "an address"},
      {u"%p", AddressArg(UINTPTR_MAX), u"FFFFFFFFFFFFFFFF", "the last address"},
      {u"[%18p]", AddressArg(1), u"[  0000000000000001]", "an address with a width"},
      {u"[%-18p]", AddressArg(1), u"[0000000000000001  ]", "an address to the left"},
      {u"[%.3p]", AddressArg(1), u"[0000000000000001]", "always 16 digits"},
      {u"%d", true, u"1", "a truth value"},
  };
  for (const Row& row : rows) EXPECT_EQ(Message(row.format, row.arg).view(), row.expected) << row.why;
}

TEST(Format, TextAroundConversions) {
  EXPECT_EQ(Message(u"").view(), u"");
  EXPECT_EQ(Message(u"plain").view(), u"plain");
  EXPECT_EQ(Message(u"%s=%d", u"a", 5).view(), u"a=5");
  EXPECT_EQ(Message(u"100%% of %d%%", 7).view(), u"100% of 7%");
  EXPECT_EQ(Message(u"%s%s%s", u"a", WideString(u"b"), WideView(u"c")).view(), u"abc");
}

TEST(Format, AnUnknownConversionLosesItsPerCentSignAndTakesNoArgument) {
  EXPECT_EQ(Message(u"%f %d", 5).view(), u"f 5");
  EXPECT_EQ(Message(u"%+d %d", 5).view(), u"+d 5");
  EXPECT_EQ(Message(u"%lld %d", 5).view(), u"lld 5");
  EXPECT_EQ(Message(u"%I64x %d", 5).view(), u"I64x 5");
  EXPECT_EQ(Message(u"%n%*d %d", 5).view(), u"n*d 5");
  EXPECT_EQ(Message(u"%-08.3q %d", 5).view(), u"-08.3q 5");
  EXPECT_EQ(Message(u"%S %d", 5).view(), u"S 5");
  EXPECT_EQ(Message(u"%5%d", 5).view(), u"55");
}

TEST(Format, AnUnfinishedConversionAtTheEndLosesItsPerCentSign) {
  EXPECT_EQ(Message(u"a%").view(), u"a");
  EXPECT_EQ(Message(u"%").view(), u"");
  EXPECT_EQ(Message(u"%%%").view(), u"%");
  EXPECT_EQ(Message(u"%-08").view(), u"-08");
  EXPECT_EQ(Message(u"%5.").view(), u"5.");
  EXPECT_EQ(Message(u"%l").view(), u"l");
  EXPECT_EQ(Message(u"%I64").view(), u"I64");
}

TEST(Format, AConversionWithoutAnArgumentReadsAsNothing) {
  EXPECT_EQ(Message(u"[%s][%c][%d][%u][%x][%I64d][%I64u]").view(), u"[][][0][0][0][0][0]");
  EXPECT_EQ(Message(u"[%p]").view(), u"[0000000000000000]");
  EXPECT_EQ(Message(u"%d %d %s", 5).view(), u"5 0 ");
}

TEST(Format, AnArgumentOfAnotherKindReadsAsNothing) {
  EXPECT_EQ(Message(u"[%s]", 5).view(), u"[]");
  EXPECT_EQ(Message(u"[%s]", AddressArg(5)).view(), u"[]");
  EXPECT_EQ(Message(u"[%d][%p][%c]", u"a", u"b", u"c").view(), u"[0][0000000000000000][]");
}

TEST(Format, SurplusArgumentsAreIgnored) {
  EXPECT_EQ(Message(u"%d", 1, 2, u"three").view(), u"1");
}

TEST(Format, AMessageHolds1023Units) {
  const WideString fits(1023, u'x');
  const WideString longer(1024, u'x');
  EXPECT_EQ(Message(fits).view(), fits);
  EXPECT_EQ(Message(longer).view(), fits);
  EXPECT_EQ(Message(u"%s", longer).view(), fits);
  EXPECT_EQ(Message(u"%s", WideString(1 << 20, u'x')).view(), fits);
  EXPECT_EQ(Message(u"%1024d", 1).view(), WideString(1023, u' '));
  EXPECT_EQ(Message(u"%1023d", 1).view(), WideString(1022, u' ') + u"1");
  EXPECT_EQ(Message(u"%99999999999d", 1).view(), WideString(1023, u' '));
  EXPECT_EQ(Message(u"%-99999999999d", 1).view(), u"1" + WideString(1022, u' '));
  EXPECT_EQ(Message(u"%099999999999d", 1).view(), WideString(1023, u'0'));
  EXPECT_EQ(Message(u"%.99999999999d", -1).view(), u"-" + WideString(1022, u'0'));
  EXPECT_EQ(Message(u"%.99999999999s", longer).view(), fits);
  EXPECT_EQ(Message(u"%s%d", fits, 5).view(), fits);
  EXPECT_EQ(Message(u"%s%d", fits.substr(1), 57).view(), fits.substr(1) + u"5");
}

struct CutRow {
  std::size_t capacity;
  const char16_t* expected;
  bool complete;
  const char* why;
};

TEST(FormatTo, CutsToItsCapacity) {
  const CutRow rows[] = {
      {6, u"12345", true, "more than enough"}, {7, u"12345", true, "more"},
      {5, u"1234", false, "one too few"},      {2, u"1", false, "room for one"},
      {1, u"", false, "room for the zero"},
  };
  for (const CutRow& row : rows) {
    std::vector<char16_t> out(row.capacity + 1, u'#');
    const FormatArg args[] = {12345};
    bool complete = !row.complete;
    EXPECT_EQ(FormatTo(out.data(), row.capacity, u"%d", args, &complete), WideView(row.expected).size())
        << row.why;
    EXPECT_EQ(WideView(out.data()), row.expected) << row.why;
    EXPECT_EQ(complete, row.complete) << row.why;
    EXPECT_EQ(out.back(), u'#') << row.why;
  }
}

TEST(FormatTo, WritesNothingWithoutCapacity) {
  bool complete = true;
  EXPECT_EQ(FormatTo(nullptr, 0, u"text", {}, &complete), 0u);
  EXPECT_FALSE(complete);
}

TEST(FormatTo, CutsAt1023UnitsInALargerBuffer) {
  std::vector<char16_t> out(4000, u'#');
  bool complete = false;
  EXPECT_EQ(FormatTo(out.data(), out.size(), WideString(1023, u'x'), {}, &complete), 1023u);
  EXPECT_TRUE(complete);
  EXPECT_EQ(FormatTo(out.data(), out.size(), WideString(1024, u'x'), {}, &complete), 1023u);
  EXPECT_FALSE(complete);
  EXPECT_EQ(out[1023], u'\0');
  EXPECT_EQ(out[1024], u'#');
}

TEST(FormatTo, AnEmptyResultIsComplete) {
  char16_t out[1] = {u'#'};
  bool complete = false;
  EXPECT_EQ(FormatTo(out, 1, u"", {}, &complete), 0u);
  EXPECT_TRUE(complete);
  EXPECT_EQ(out[0], u'\0');
}

// Every format of up to three units behind a per cent sign, with arguments of each kind and with none.
TEST(FormatTo, NoFormatLeavesItsBuffer) {
  const char16_t alphabet[] = u"%-0#9.1lI64duixXscpn*fS\u0000\uFFFF";
  const FormatArg lists[][3] = {{u"text", 1, AddressArg(2)},
                                {-1, u"text", static_cast<const char16_t*>(nullptr)},
                                {AddressArg(3), WideView(), kMostU64}};
  for (const char16_t first : WideView(alphabet, std::size(alphabet) - 1)) {
    for (const char16_t second : WideView(alphabet, std::size(alphabet) - 1)) {
      for (const char16_t third : WideView(alphabet, std::size(alphabet) - 1)) {
        const char16_t format[] = {u'%', first, second, third};
        for (std::size_t length = 1; length <= 4; ++length) {
          for (std::size_t given = 0; given <= 3; ++given) {
            char16_t out[12];
            std::fill(std::begin(out), std::end(out), u'#');
            const std::size_t written =
                FormatTo(out, 10, WideView(format, length), std::span(lists[given % 3], given), nullptr);
            ASSERT_LE(written, 9u);
            ASSERT_EQ(out[written], u'\0');
            ASSERT_EQ(out[10], u'#');
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace sbx
