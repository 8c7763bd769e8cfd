#include "xml/text_scan.h"

#include <gtest/gtest.h>

namespace sbx::xml {
namespace {

template <class Escape>
std::uint64_t Counted(WideView text, Escape escape) {
  std::uint64_t units = 0;
  for (const char16_t unit : text) units += escape(unit).empty() ? 1 : escape(unit).size();
  return units;
}

TEST(TextScan, EscapesAreTheFewThatTheFormNeeds) {
  for (unsigned value = 0; value < 0x10000; ++value) {
    const auto unit = static_cast<char16_t>(value);
    WideString text;
    if (unit == u'&') text = u"&amp;";
    if (unit == u'<') text = u"&lt;";
    if (unit == u'>') text = u"&gt;";
    if (unit == u'\r') text = u"&#13;";
    EXPECT_EQ(TextEscape(unit), text) << value;
    if (unit == u'"') text = u"&quot;";
    if (unit == u'\t') text = u"&#9;";
    if (unit == u'\n') text = u"&#10;";
    EXPECT_EQ(AttributeEscape(unit), text) << value;
  }
}

TEST(TextScan, CountsWhatEscapesTakeUp) {
  for (unsigned value = 0; value < 0x10000; ++value) {
    const WideString text = {u'x', static_cast<char16_t>(value), u'y'};
    EXPECT_EQ(EscapedTextUnits(text), Counted(text, TextEscape)) << value;
    EXPECT_EQ(EscapedAttributeUnits(text), Counted(text, AttributeEscape)) << value;
    EXPECT_EQ(ScanText(text).needsEscapes, !TextEscape(text[1]).empty()) << value;
  }
  EXPECT_EQ(EscapedTextUnits(u""), 0U);
}

// Short and long text take different ways.
TEST(TextScan, AnswersTheSameForAnyLength) {
  for (std::size_t size = 1; size < 100; ++size) {
    for (unsigned value = 0; value < 0x100; ++value) {
      const auto unit = static_cast<char16_t>(value);
      WideString text(size, u'x');
      text[size / 2] = unit;
      const bool isSafe = value >= 0x20 || value == 9 || value == 10 || value == 13;
      ASSERT_EQ(ScanText(text).isSafe, isSafe) << size << " " << value;
      ASSERT_EQ(ScanText(text).needsEscapes, !TextEscape(unit).empty()) << size << " " << value;
    }
  }
}

// The scan takes several units at a time: each value has to be seen at every place, in the lone units of
// short texts and where the last step goes over units seen before.
TEST(TextScan, SeesEveryUnitAtEveryPlace) {
  for (std::size_t length = 1; length <= 9; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      WideString text(length, u'\uFFFF');
      for (unsigned value = 0; value < 0x10000; ++value) {
        const auto unit = static_cast<char16_t>(value);
        text[place] = unit;
        const TextTraits traits = ScanText(text);
        ASSERT_EQ(traits.isSafe, unit >= 0x20 || unit == u'\t' || unit == u'\n' || unit == u'\r')
            << value << " at " << place << " of " << length;
        ASSERT_EQ(traits.needsEscapes, !TextEscape(unit).empty())
            << value << " at " << place << " of " << length;
      }
    }
  }
}

TEST(TextScan, SeesWhatStandsBehindALongRun) {
  WideString text(100000, u'x');
  EXPECT_TRUE(ScanText(text).isSafe);
  EXPECT_FALSE(ScanText(text).needsEscapes);
  text.back() = u'<';
  EXPECT_TRUE(ScanText(text).needsEscapes);
  text[0] = 2;
  EXPECT_FALSE(ScanText(text).isSafe);
  EXPECT_TRUE(ScanText(text).needsEscapes);
}

TEST(SurrogatePairs, AreFoundWhereverALoneOneStands) {
  constexpr char16_t kHigh = 0xD83D;
  constexpr char16_t kLow = 0xDE00;
  for (std::size_t length = 1; length < 12; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      WideString text(length, u'a');
      EXPECT_TRUE(HasSurrogatesInPairs(text));
      text[at] = kHigh;
      EXPECT_FALSE(HasSurrogatesInPairs(text)) << length << " " << at;
      text[at] = kLow;
      EXPECT_FALSE(HasSurrogatesInPairs(text)) << length << " " << at;
      if (at + 1 == length) continue;
      text[at + 1] = kHigh;
      EXPECT_FALSE(HasSurrogatesInPairs(text)) << "the wrong way round at " << at;
      text[at] = kHigh;
      text[at + 1] = kLow;
      EXPECT_TRUE(HasSurrogatesInPairs(text)) << length << " " << at;
    }
  }
  EXPECT_TRUE(HasSurrogatesInPairs(u""));
}

}  // namespace
}  // namespace sbx::xml
