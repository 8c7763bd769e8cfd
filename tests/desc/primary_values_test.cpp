// Scalars of the caller's memory as text.
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "desc/primary_types.h"
#include "platform/caller_memory.h"
#include "support/recording_log.h"

namespace sbx {
namespace {

using testing::LogLine;
using testing::ScopedLog;

constexpr std::uintptr_t kUnreadable = 16;  // in the page at 0, which no system maps

template <class Value>
std::uintptr_t At(const Value& value) {
  return reinterpret_cast<std::uintptr_t>(&value);
}

struct ValueCase {
  const char16_t* type;
  std::uint64_t bits;
  std::int32_t size;
  const char16_t* text;
  const char* why;
};

constexpr ValueCase kValues[] = {
    {u"char", 0xFF, 1, u"-1", "signed byte"},
    {u"char", 0x7F, 1, u"127", "the largest signed byte"},
    {u"uchar", 0xFF, 1, u"255", "unsigned byte"},
    {u"bool", 0x80, 1, u"-128", "a bool is the number in its byte"},
    {u"bool", 1, 1, u"1", "true"},
    {u"wchar_t", 0x8000, 2, u"-32768", "characters are signed"},
    {u"wchar_t", 0x41, 2, u"65", "and numbers"},
    {u"short", 0xFFFF, 2, u"-1", "signed 16 bits"},
    {u"ushort", 0xFFFF, 2, u"65535", "unsigned 16 bits"},
    {u"int", 0x80000000, 4, u"-2147483648", "the lowest int"},
    {u"int", 0x7FFFFFFF, 4, u"2147483647", "the largest int"},
    {u"uint", 0xFFFFFFFF, 4, u"4294967295", "the largest uint"},
    {u"long", 0xFFFFFFFF, 4, u"-1", "long is 32 bits"},
    {u"ulong", 0xFFFFFFFF, 4, u"4294967295", "so is ulong"},
    {u"int64", 0x8000000000000000, 8, u"-9223372036854775808", "the lowest int64"},
    {u"uint64", 0xFFFFFFFFFFFFFFFF, 8, u"18446744073709551615", "the largest uint64"},
    {u"float", 0x3FC00000, 4, u"1.500000", "six decimals"},
    {u"float", 0x80000000, 4, u"-0.000000", "minus zero"},
    {u"float", 0x7F800000, 4, u"inf", "infinity"},
    {u"float", 0xFF800000, 4, u"-inf", "minus infinity"},
    {u"float", 0x7FC00000, 4, u"nan", "no number"},
    {u"float", 0xFFC00000, 4, u"-nan", "no number, with a sign"},
    {u"float", 0x7F7FFFFF, 4, u"340282346638528859811704183484516925440.000000", "the largest float"},
    {u"int", 0xFE, 1, u"-2", "the size alone picks the width"},
    {u"char", 0xFFFFFFFE, 4, u"-2", "also above the type's own"},
    {u"double", 0xFFFFFFFFFFFFFFFF, 8, u"18446744073709551615", "double has a u and is no float here"},
    {u"Float", 0xFF, 1, u"-1", "only the exact word is a float"},
    {u"anything", 0xFF, 1, u"-1", "no u anywhere"},
    {u"menu", 0xFF, 1, u"255", "a u anywhere"},
    {u"INU", 0xFF, 1, u"-1", "a small one"},
    {u"", 0xFF, 1, u"-1", "no name at all"},
};

TEST(PrimaryValues, TextOfEachKind) {
  platform::CallerMemory memory;
  const ScopedLog log;
  for (const ValueCase& row : kValues) {
    SCOPED_TRACE(row.why);
    memory.Forget();
    WideString text;
    EXPECT_EQ(PrimaryValueToText(row.type, At(row.bits), row.size, memory, text), kOk);
    EXPECT_EQ(text, row.text);
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(PrimaryValues, TextIsAppended) {
  platform::CallerMemory memory;
  const std::int32_t value = 12;
  WideString text = u"7 ";
  EXPECT_EQ(PrimaryValueToText(u"int", At(value), 4, memory, text), kOk);
  EXPECT_EQ(text, u"7 12");
}

TEST(PrimaryValues, ValuesNeedNoAlignment) {
  platform::CallerMemory memory;
  unsigned char bytes[12] = {};
  const std::uint64_t value = 0x0123456789ABCDEF;
  std::memcpy(bytes + 3, &value, sizeof value);
  WideString text;
  EXPECT_EQ(PrimaryValueToText(u"uint64", At(bytes) + 3, 8, memory, text), kOk);
  EXPECT_EQ(text, u"81985529216486895");
}

struct FailureCase {
  const char16_t* type;
  bool readable;
  std::int32_t size;
  Status status;
  const char16_t* line;
  const char* why;
};

constexpr FailureCase kFailures[] = {
    {u"int", true, 0, -2, u"Invalid parameters for getting string from int and float.", "no size"},
    {u"float", true, -4, -2, u"Invalid parameters for getting string from int and float.", "negative size"},
    {u"int", true, 3, -4, u"Invalid PDB info for type int in getting string for int and float(Size: 3).",
     "no number has three bytes"},
    {u"double", true, 16, -4,
     u"Invalid PDB info for type double in getting string for int and float(Size: 16).", "nor sixteen"},
    {u"float", true, 8, -4, u"Invalid PDB info for type float(Only support float. Size: 8).",
     "a float has four"},
    {u"float", true, 1, -4, u"Invalid PDB info for type float(Only support float. Size: 1).", "not one"},
    {u"int", false, 4, -12, u"Binary not readable.(Type: int, Size: 4, Content: )", "memory"},
    {u"char", false, 1, -12, u"Binary not readable.(Type: char, Size: 1, Content: )", "memory"},
    {u"short", false, 2, -12, u"Binary not readable.(Type: short, Size: 2, Content: )", "memory"},
    {u"int64", false, 8, -12, u"Binary not readable.(Type: int64, Size: 8, Content: )", "memory"},
    {u"float", false, 4, -12, u"Binary not readable.(Type: float, Size: 4, Content: )", "memory"},
    {u"float", false, 8, -12, u"Binary not readable.(Type: float, Size: 8, Content: )",
     "memory comes before the size"},
    {u"int", false, 3, -12, u"Binary not readable.(Type: int, Size: 3, Content: )",
     "memory comes before the size"},
    {u"int", false, 0, -2, u"Invalid parameters for getting string from int and float.",
     "parameters come before memory"},
};

TEST(PrimaryValues, FailuresLeaveTheTextAlone) {
  const std::uint64_t value[2] = {};
  for (const FailureCase& row : kFailures) {
    SCOPED_TRACE(row.why);
    platform::CallerMemory memory;
    const ScopedLog log;
    WideString text = u"before";
    EXPECT_EQ(PrimaryValueToText(row.type, row.readable ? At(value) : kUnreadable, row.size, memory, text),
              row.status);
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, row.line}}));
  }
}

TEST(PrimaryValues, ANullAddressIsABadParameter) {
  platform::CallerMemory memory;
  const ScopedLog log;
  WideString text;
  EXPECT_EQ(PrimaryValueToText(u"int", 0, 4, memory, text), kParameter);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"Invalid parameters for getting string from int and float."}}));
}

TEST(PrimaryValues, ARangeThatWrapsIsUnreadable) {
  platform::CallerMemory memory;
  WideString text;
  EXPECT_EQ(PrimaryValueToText(u"int", std::numeric_limits<std::uintptr_t>::max() - 1, 4, memory, text),
            kAddress);
}

}  // namespace
}  // namespace sbx
