#include "xml/byte_string.h"

#include <gtest/gtest.h>

namespace sbx::xml {
namespace {

TEST(SafeText, OnlyControlUnitsButTabAndLineEndsAreUnsafe) {
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const bool expected = unit >= 0x20 || unit == 9 || unit == 10 || unit == 13;
    EXPECT_EQ(IsSafeText(WideString(1, static_cast<char16_t>(unit))), expected) << std::hex << unit;
  }
  EXPECT_TRUE(IsSafeText(u""));
}

TEST(SafeText, IsUnsafeWhereverTheUnitStands) {
  for (const std::size_t size : {1U, 7U, 64U, 4096U, 4097U, 20000U}) {
    for (const std::size_t at : {std::size_t{0}, size / 2, size - 1}) {
      WideString text(size, u'&');  // what needs escapes doesn't hide what is unsafe
      text[at] = 1;
      EXPECT_FALSE(IsSafeText(text)) << size << " " << at;
      text[at] = u'\xFFFE';
      EXPECT_TRUE(IsSafeText(text)) << size << " " << at;
    }
  }
}

TEST(ByteString, HighDigitsOfTheUpperHalfAreTheirOwn) {
  constexpr WideView kHigh = u"01234567/0123456";
  constexpr WideView kLow = u"0123456789ABCDEF";
  for (unsigned byte = 0; byte < 256; ++byte) {
    const WideString digits = {kHigh[byte / 16], kLow[byte % 16]};
    EXPECT_EQ(EncodeByteString(WideString(1, static_cast<char16_t>(byte))), digits + u"00") << byte;
    EXPECT_EQ(EncodeByteString(WideString(1, static_cast<char16_t>(byte << 8))), u"00" + digits) << byte;
  }
}

TEST(ByteString, EncodesUnitsLowByteFirst) {
  EXPECT_EQ(EncodeByteString(u"\x01"), u"0100");
  EXPECT_EQ(EncodeByteString(u"\u00E9"), u"5900");
  EXPECT_EQ(EncodeByteString(u"\u80A5z"), u"15/07A00");
  EXPECT_EQ(EncodeByteString(u""), u"");
  EXPECT_EQ(EncodeByteString(WideView(u"a\0b", 3)), u"610000006200");
}

struct DecodeCase {
  WideView text;
  WideView flag;
  WideString expected;
  const char* why;
};

TEST(ByteString, DecodesAsTheFlagSays) {
  const DecodeCase cases[] = {
      {u"0100", u"binary", WideString(u"\x01"), "one unit"},
      {u"41004200", u"binary", u"AB", "two units"},
      {u"4100420", u"binary", u"A", "what makes no whole unit is left out"},
      {u"41004", u"binary", u"A", "one digit over"},
      {u"410", u"binary", u"", "less than a unit"},
      {u"", u"binary", u"", "nothing"},
      {u"4100000042004300", u"binary", u"A", "ends at the first zero"},
      {u"0000", u"binary", u"", "a zero alone"},
      {u"aBcDEfab", u"binary", u"\xCDAB\xABEF", "digits of both cases"},
      {u"/041", u"binary", u"", "the encoder's own digit for 8 is none"},
      {u"4100/000", u"binary", u"", "refused anywhere"},
      {u"4100 000", u"binary", u"", "blank is no digit"},
      {u"4100G000", u"binary", u"", "behind F"},
      {u"4100:000", u"binary", u"", "behind 9"},
      {u"4100@000", u"binary", u"", "before A"},
      {u"4100`000", u"binary", u"", "before a"},
      {u"4100g000", u"binary", u"", "behind f"},
      {u"4100\uFF10000", u"binary", u"", "wide digits don't count"},
      {u"4100x", u"binary", u"A", "what is left out isn't looked at"},
      {u"5900", u"binary", u"Y", "bytes from 0x80 come back as others"},
      {u"41424344", u"bin_utf8", u"ABCD", "bytes"},
      {u"4142434445", u"bin_utf8", u"ABCD", "ten digits give four bytes"},
      {u"41424300", u"bin_utf8", u"ABC", "ends at the first zero byte"},
      {u"41004344", u"bin_utf8", u"A", "in the middle too"},
      {u"C3A9C3A9", u"bin_utf8", u"\u00E9\u00E9", "UTF-8"},
      {u"F09F9880", u"bin_utf8", u"\U0001F600", "beyond the first plane"},
      {u"FF41", u"bin_utf8",
       u"\uFFFD"
       u"A",
       "a broken sequence"},
      {u"", u"bin_utf8", u"", "nothing"},
      {u"41xx", u"bin_utf8", u"", "no digits"},
      {u"0100", u"", u"0100", "no flag"},
      {u"0100", u"Binary", u"0100", "compared exactly"},
      {u"0100", u"binary ", u"0100", "compared whole"},
      {u"0100", u"bin_utf", u"0100", "compared whole"},
      {u"0100", u"null", u"0100", "any other flag"},
      {u"", u"unknown", u"", "any other flag, no text"},
  };
  for (const DecodeCase& c : cases) EXPECT_EQ(DecodeContent(c.text, c.flag), c.expected) << c.why;
}

TEST(ByteString, ComesBackWhereAllBytesAreBelow0x80) {
  WideString text;
  for (char16_t unit = 1; unit < 0x80; ++unit) text += unit;
  EXPECT_EQ(DecodeContent(EncodeByteString(text), u"binary"), text);
}

}  // namespace
}  // namespace sbx::xml
