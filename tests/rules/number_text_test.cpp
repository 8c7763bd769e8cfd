#include "rules/number_text.h"

#include <gtest/gtest.h>

namespace sbx {
namespace {

struct NumberCase {
  WideView text;
  std::uint32_t number;
  const char* why;
};

constexpr NumberCase kCases[] = {
    {u"", 0, "no text is no number"},
    {WideView(), 0, "nor is a null one"},
    {u"0x", 0, "a prefix without digits"},
    {u"-0x", 0, "the same behind a minus"},
    {u"0xff", 255, "lower case digits"},
    {u"0XFF", 255, "upper case prefix and digits"},
    {u"0xAbCdEf", 0xABCDEF, "digits of both cases"},
    {u"0x0123456789", 0x23456789, "more than 32 bits wrap"},
    {u"-0xff", 4294967041U, "negated in 32 bits"},
    {u"-0x80000000", 0x80000000U, "the number that is its own negative"},
    {u"0x1G", 0, "one unit that is no digit spoils all of it"},
    {u"0x ff", 0, "a blank too"},
    {u"0xff ", 0, "also behind the digits"},
    {u"0x-1", 0, "no sign behind the prefix"},
    {u"0x0x1", 0, "no second prefix"},
    {u"0x\uFF11", 0, "digits of other scripts are none"},
    {u"+0x10", 0, "only a minus may stand before the prefix: decimal text, which stops at the x"},
    {u"--0x10", 0, "one minus"},
    {u" 0x10", 0, "no white space before the prefix"},
    {u"-12", 4294967284U, "decimal with a sign"},
    {u"+12", 12, "either sign"},
    {u" \t12", 12, "white space before decimal digits"},
    {u"12abc", 12, "decimal reading stops at the first other unit"},
    {u"4294967295", 0x7FFFFFFF, "decimal numbers saturate as signed ones"},
    {u"-4294967295", 0x80000000U, "at both ends"},
    {u"- 5", 0, "no white space behind a sign"},
    {u"abc", 0, "no digits at all"},
};

TEST(ParseNumberText, ReadsDecimalAndHexadecimalNumbersInThirtyTwoBits) {
  for (const NumberCase& row : kCases) EXPECT_EQ(ParseNumberText(row.text), row.number) << row.why;
}

}  // namespace
}  // namespace sbx
