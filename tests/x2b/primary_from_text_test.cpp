#include "x2b/primary_from_text.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <ostream>
#include <string>

#include "support/recording_log.h"

namespace sbx {
namespace {

using testing::LogLine;
using testing::ScopedLog;

std::string Shown(WideView text) {
  return {text.begin(), text.end()};
}

struct ScalarCase {
  const char16_t* type;
  const char16_t* text;
  std::int32_t size;
  std::uint64_t bits;  // what stands in the field, zero-extended
  const char* why;
};

constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

constexpr ScalarCase kScalars[] = {
    {u"int", u"7", 4, 7, "plain decimal"},
    {u"int", u"+5", 4, 5, "one sign is read"},
    {u"int", u"-5", 4, 0xFFFFFFFB, "a minus negates"},
    {u"int", u"--5", 4, 0, "a second sign is no digit"},
    {u"int", u"-+5", 4, 0, "nor is a plus behind the minus"},
    {u"int", u"abc", 4, 0, "text that is no number is 0"},
    {u"int", u"12abc", 4, 12, "reading stops at the first other character"},
    {u"int", u" ", 4, 0, "blanks alone store 0"},
    {u"int", u"\t\t7", 4, 7, "leading tabs are skipped"},
    {u"int", u" \t 7", 4, 7, "blanks and tabs mixed"},
    {u"int", u"\n7", 4, 7, "the scan itself skips white space"},
    {u"int", u"-\n7", 4, 0xFFFFFFF9, "behind a minus too"},
    {u"int", u"+\n7", 4, 0, "but not behind a plus, which is the scan's own"},
    {u"int", u"0x\n7", 4, 7, "and behind the prefix"},
    {u"int", u"0x1F", 4, 31, "hexadecimal"},
    {u"int", u"0X1f", 4, 31, "in either case"},
    {u"int", u"0x", 4, 0, "a prefix alone"},
    {u"int", u"0x-5", 4, 0, "no sign behind the prefix"},
    {u"int", u"0x0x5", 4, 0, "no second prefix"},
    {u"int", u"-0x10", 4, 0, "no negative hexadecimal"},
    {u"int", u"+0x10", 4, 0, "nor a positive one with a sign"},
    {u"int", u"0x0000001F", 4, 31, "as [fmt:hex] writes it"},
    {u"int", u"1600000000  (2020-09-13 12:26:40)", 4, 1600000000, "as [time] writes it"},
    {u"int", u"3  (Ready)", 4, 3, "as [flag] writes it"},
    {u"int", u"5  (Read|Write)", 4, 5, "as [enum] writes it"},
    {u"int", u"12 ", 4, 12, "a command that rendered nothing"},
    {u"int", u"5(x", 4, 5, "a parenthesis ends the number"},
    {u"int", u"(5)", 4, 0, "and may leave nothing"},
    {u"int", u"5\t6", 4, 5, "a tab ends the number"},
    {u"int", u"4294967297", 4, 1, "a number too large is cut to the field"},
    {u"uint", u"-1", 4, 0xFFFFFFFF, "unsigned takes the low bits"},
    {u"uchar", u"-1", 1, 0xFF, "of a byte too"},
    {u"uchar", u"300", 1, 0x2C, "300 is 0x12C"},
    {u"char", u"-128", 1, 0x80, "signed byte"},
    {u"byte", u"255", 1, 0xFF, "readable, though not writable"},
    {u"bool", u"2", 1, 1, "any number but 0 is true"},
    {u"bool", u"0x100", 1, 1, "although its low byte is 0"},
    {u"bool", u"0", 1, 0, "0 is false"},
    {u"bool", u"true", 1, 0, "a word is no number"},
    {u"bool", u"18446744073709551616", 1, 0, "2^64 wraps to 0"},
    {u"wchar_t", u"65535", 2, 0xFFFF, "one unit"},
    {u"wchar_t", u"-1", 2, 0xFFFF, "as the writer shows it"},
    {u"short", u"-2", 2, 0xFFFE, "16 bits"},
    {u"ushort", u"65536", 2, 0, "cut to 16 bits"},
    {u"long", u"2147483647", 4, 0x7FFFFFFF, "long is 4 bytes"},
    {u"ulong", u"4294967295", 4, 0xFFFFFFFF, "so is ulong"},
    {u"int64", u"-9223372036854775808", 8, 0x8000000000000000, "the smallest"},
    {u"uint64", u"18446744073709551615", 8, kAll, "the largest comes back whole"},
    {u"uint64", u"0xFFFFFFFFFFFFFFFF", 8, kAll, "in hexadecimal too"},
    {u"uint64", u"18446744073709551616", 8, 0, "modulo 2^64"},
};

TEST(PrimaryFromText, StoresScalarsByTheirTypeName) {
  for (const ScalarCase& row : kScalars) {
    SCOPED_TRACE(Shown(row.type) + " <- \"" + Shown(row.text) + "\": " + row.why);
    JSHandle handle;
    std::uint64_t field = 0;
    std::byte bytes[9];
    std::memset(bytes, 0xEE, sizeof bytes);
    ASSERT_EQ(PrimaryFromText(row.type, row.text, bytes, row.size, handle), kOk);
    std::memcpy(&field, bytes, static_cast<std::size_t>(row.size));
    EXPECT_EQ(field, row.bits);
    EXPECT_EQ(bytes[row.size], std::byte{0xEE}) << "wrote past the field";
    EXPECT_TRUE(handle.blocks.empty());
  }
}

TEST(PrimaryFromText, StoresFloatsWhateverTheirText) {
  struct Row {
    const char16_t* text;
    double value;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const Row rows[] = {{u"1.5", 1.5},    {u"1.5 (x)", 1.5}, {u"-0.25", -0.25},   {u"1e3", 1000},
                      {u" \t2.5", 2.5}, {u"abc", 0},       {u"inf", kInfinity}, {u"-infinity", -kInfinity},
                      {u"1,5", 1},      {u"0x1p1", 2},     {u".5", 0.5},        {u"+4", 4}};
  for (const Row& row : rows) {
    SCOPED_TRACE(Shown(row.text));
    JSHandle handle;
    double wide = 99;
    float narrow = 99;
    ASSERT_EQ(PrimaryFromText(u"double", row.text, reinterpret_cast<std::byte*>(&wide), 8, handle), kOk);
    ASSERT_EQ(PrimaryFromText(u"float", row.text, reinterpret_cast<std::byte*>(&narrow), 4, handle), kOk);
    EXPECT_EQ(wide, row.value);
    EXPECT_EQ(narrow, static_cast<float>(row.value));
  }
}

TEST(PrimaryFromText, AnEmptyTextLeavesAScalarAsItWas) {
  JSHandle handle;
  std::int32_t field = 77;
  ASSERT_EQ(PrimaryFromText(u"int", u"", reinterpret_cast<std::byte*>(&field), 4, handle), kOk);
  EXPECT_EQ(field, 77);
}

TEST(PrimaryFromText, OnlyTheFirst127UnitsOfANumberCount) {
  JSHandle handle;
  std::uint64_t field = 0;
  auto* const target = reinterpret_cast<std::byte*>(&field);
  ASSERT_EQ(PrimaryFromText(u"uint64", WideString(126, u'0') + u"12", target, 8, handle), kOk);
  EXPECT_EQ(field, 1u) << "the 128th unit is cut";
  ASSERT_EQ(
      PrimaryFromText(u"uint64", WideString(200, u' ') + WideString(125, u'0') + u"12", target, 8, handle),
      kOk);
  EXPECT_EQ(field, 12u) << "leading blanks are skipped before the cut";
}

char16_t* WideBlock(std::byte* slot) {
  char16_t* block = nullptr;
  std::memcpy(&block, slot, sizeof block);
  return block;
}

TEST(PrimaryFromText, AWideStringGetsABlockOfItsOwn) {
  JSHandle handle;
  std::byte slot[8] = {};
  ASSERT_EQ(PrimaryFromText(u"wchar_t*", u"a\u00e9\u4e2d", slot, 8, handle), kOk);
  ASSERT_EQ(handle.blocks.size(), 1u);
  EXPECT_EQ(WideBlock(slot), handle.blocks[0]);
  EXPECT_EQ(WideString(WideBlock(slot)), u"a\u00e9\u4e2d");
  EXPECT_EQ(handle.totalSize, 8u);
}

TEST(PrimaryFromText, AnEmptyStringIsABlockAndNotANullPointer) {
  JSHandle handle;
  std::byte slot[8] = {};
  ASSERT_EQ(PrimaryFromText(u"wchar_t*", u"", slot, 8, handle), kOk);
  ASSERT_NE(WideBlock(slot), nullptr);
  EXPECT_EQ(*WideBlock(slot), u'\0');
  EXPECT_EQ(handle.totalSize, 2u);
}

TEST(PrimaryFromText, AStringEndsAtItsFirstZeroInABlockForAllOfIt) {
  JSHandle handle;
  std::byte slot[8] = {};
  ASSERT_EQ(PrimaryFromText(u"wchar_t*", WideView(u"ab\0cd", 5), slot, 8, handle), kOk);
  EXPECT_EQ(WideString(WideBlock(slot), 6), WideString(6, u'\0').replace(0, 2, u"ab"));
  EXPECT_EQ(handle.totalSize, 12u);
  ASSERT_EQ(PrimaryFromText(u"char*", WideView(u"ab\0cd", 5), slot, 8, handle), kOk);
  const char* narrow = nullptr;
  std::memcpy(&narrow, slot, sizeof narrow);
  EXPECT_EQ(std::string(narrow, 24), std::string("ab").append(22, '\0'));
  EXPECT_EQ(handle.totalSize, 36u);
}

TEST(PrimaryFromText, BlanksAndParenthesesOfAStringStay) {
  JSHandle handle;
  std::byte slot[8] = {};
  ASSERT_EQ(PrimaryFromText(u"wchar_t*", u" 5 (Ready)\t", slot, 8, handle), kOk);
  EXPECT_EQ(WideString(WideBlock(slot)), u" 5 (Ready)\t");
}

TEST(PrimaryFromText, ANarrowStringGetsFourBytesAUnit) {
  JSHandle handle;
  std::byte slot[8] = {};
  ASSERT_EQ(PrimaryFromText(u"char*", u"abc", slot, 8, handle), kOk);
  EXPECT_EQ(handle.totalSize, 16u);
  const char* block = nullptr;
  std::memcpy(&block, slot, sizeof block);
  EXPECT_STREQ(block, "abc");
}

struct RefusedCase {
  const char16_t* type;
  std::int64_t size;
  const char* why;
};

TEST(PrimaryFromText, RefusesANameOrSizeThatTheTableLacks) {
  const RefusedCase rows[] = {{u"int", 0, "size below 1"},         {u"int", -4, "negative size"},
                              {u"int", 8, "another size"},         {nullptr, 4, "no name"},
                              {u"INT", 4, "names observe case"},   {u"void", 8, "not in the table"},
                              {u"wchar_t*", 4, "a short pointer"}, {u"Rec", 4, "a record"}};
  for (const RefusedCase& row : rows) {
    SCOPED_TRACE(row.why);
    const ScopedLog log;
    JSHandle handle;
    std::byte slot[8] = {std::byte{0x55}};
    EXPECT_EQ(PrimaryFromText(ViewOf(row.type), u"1", slot, row.size, handle), kParameter);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{0, u"Invalid parameters for serialing primary to buffer."}}));
    EXPECT_EQ(slot[0], std::byte{0x55});
    EXPECT_TRUE(handle.blocks.empty());
  }
}

TEST(PrimaryFromText, AStringThatWouldPassTheTotalIsRefusedMemory) {
  JSHandle handle;
  handle.totalSize = std::numeric_limits<std::uint32_t>::max() - 3;
  std::byte slot[8] = {};
  EXPECT_EQ(PrimaryFromText(u"wchar_t*", u"a", slot, 8, handle), kMemory);
  EXPECT_EQ(WideBlock(slot), nullptr);
}

}  // namespace
}  // namespace sbx
