#include "base/wide_text.h"

#include <gtest/gtest.h>

namespace sbx {
namespace {

TEST(AsciiUpper, ChangesAsciiLettersOnly) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const bool isLower = unit >= 'a' && unit <= 'z';
    ASSERT_EQ(AsciiUpper(static_cast<char16_t>(unit)), isLower ? unit - 32 : unit);
  }
}

struct EqualRow {
  WideView a;
  WideView b;
  bool equal;
  const char* why;
};

TEST(EqualsIgnoringCase, FoldsAsciiLettersOnly) {
  const EqualRow rows[] = {
      {u"", u"", true, "nothing"},
      {u"Vaultmere", u"vAULTMERE", true, "letters"},
      {u"a1_[", u"A1_{", false, "32 apart, but no letters"},
      {u"\u00E9", u"\u00C9", false, "beyond ASCII"},
      {u"\u212A", u"k", false, "a sign that folds to k elsewhere"},
      {u"ab", u"abc", false, "longer"},
      {u"abc", u"ab", false, "shorter"},
      {WideView(u"a\0b", 3), WideView(u"A\0B", 3), true, "zeros are units"},
      {WideView(u"a\0b", 3), WideView(u"A\0C", 3), false, "zeros end nothing"},
  };
  for (const EqualRow& row : rows) EXPECT_EQ(EqualsIgnoringCase(row.a, row.b), row.equal) << row.why;
}

TEST(ViewOf, NullIsEmpty) {
  EXPECT_TRUE(ViewOf(nullptr).empty());
  EXPECT_EQ(ViewOf(u"a"), u"a");
}

struct CopyRow {
  std::size_t capacity;
  WideView expected;
  const char* why;
};

TEST(CopyTruncated, AlwaysEndsInAZero) {
  const CopyRow rows[] = {
      {5, u"text", "more than fits"}, {4, u"tex", "cut"}, {2, u"t", "cut"}, {1, u"", "room for the zero"}};
  for (const CopyRow& row : rows) {
    char16_t out[] = u"#######";
    CopyTruncated(out, row.capacity, u"text");
    EXPECT_EQ(WideView(out), row.expected) << row.why;
    EXPECT_EQ(out[row.capacity], u'#') << row.why;
  }
}

TEST(CopyTruncated, WritesNothingWithoutCapacity) {
  char16_t out[] = u"#";
  CopyTruncated(out, 0, u"text");
  EXPECT_EQ(out[0], u'#');
  CopyTruncated(nullptr, 0, u"text");
}

}  // namespace
}  // namespace sbx
