#include "platform/narrow_text.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "support/host_system.h"

namespace sbx::platform {
namespace {

WideString WidenUtf8(std::string_view bytes) {
  return Widen(bytes, NarrowPage::kUtf8).value();
}
std::string NarrowUtf8(WideView text) {
  return Narrow(text, NarrowPage::kUtf8).value();
}

struct WidenRow {
  std::string_view bytes;
  WideView expected;
  const char* why;
  WideView onWindows = {};  // where Windows counts otherwise
  bool isOddInWine = false;
};

TEST(Widen, BrokenSequencesGiveOneReplacementForEachValidPrefix) {
  using namespace std::literals;
  const WidenRow rows[] = {
      {"", u"", "nothing"},
      {"plain", u"plain", "ASCII"},
      {"a\0b"sv, u"a\0b"sv, "zeros are characters"},
      {"\x7F", u"\x7F", "the last of one byte"},
      {"\xC2\x80", u"\u0080", "the first of two bytes"},
      {"\xDF\xBF", u"\u07FF", "the last of two bytes"},
      {"\xE0\xA0\x80", u"\u0800", "the first of three bytes"},
      {"\xED\x9F\xBF", u"\uD7FF", "the last before the surrogates"},
      {"\xEE\x80\x80", u"\uE000", "the first behind the surrogates"},
      {"\xEF\xBF\xBF", u"\uFFFF", "the last of three bytes"},
      {"\xF0\x90\x80\x80", u"\U00010000", "the first of four bytes"},
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF", "the last"},
      {"\xEF\xBB\xBF", u"\uFEFF", "a mark stays"},
      {"\xEF\xBF\xBE", u"\uFFFE", "a non-character stays"},
      {"\x80", u"\uFFFD", "a continuation alone"},
      {"\x80\x80", u"\uFFFD\uFFFD", "two of them"},
      {"\xC2-", u"\uFFFD-", "cut after one of two"},
      {"\xE0\xA0-", u"\uFFFD-", "cut after two of three"},
      {"\xE0-", u"\uFFFD-", "cut after one of three", {}, true},
      {"\xF0\x90\x80-", u"\uFFFD-", "cut after three of four"},
      {"\xF0\x90-", u"\uFFFD-", "cut after two of four", {}, true},
      {"\xC2", u"\uFFFD", "cut by the end"},
      {"\xE0\xA0", u"\uFFFD", "cut by the end"},
      {"\xF0\x90\x80", u"\uFFFD", "cut by the end"},
      {"\xC2\xC2\x80", u"\uFFFD\u0080", "a lead where a continuation should be"},
      {"\xF0\x90\xC2\x80", u"\uFFFD\u0080", "a lead where a continuation should be"},
      {"\xC0\xAD", u"\uFFFD\uFFFD", "overlong, two bytes"},
      {"\xC1\xBF", u"\uFFFD\uFFFD", "overlong, two bytes"},
      {"\xE0\x80\xAD", u"\uFFFD\uFFFD\uFFFD", "overlong, three bytes", u"\uFFFD\uFFFD"},
      {"\xE0\x80-", u"\uFFFD\uFFFD-", "overlong and cut", u"\uFFFD-"},
      {"\xF0\x80\x80\xAD", u"\uFFFD\uFFFD\uFFFD\uFFFD", "overlong, four bytes", u"\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", "a surrogate", u"\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", "above the last", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF7\xBF\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD", "far above the last"},
      {"\xFE\xFF", u"\uFFFD\uFFFD", "never valid"},
  };
  for (const WidenRow& row : rows) {
    if (testing::IsWine() && row.isOddInWine) continue;
    const bool isOther = testing::kIsWindows && !row.onWindows.empty();
    EXPECT_EQ(WidenUtf8(row.bytes), isOther ? row.onWindows : row.expected) << row.why;
  }
}

struct NarrowRow {
  WideView text;
  std::string_view expected;
  const char* why;
};

TEST(Narrow, LoneSurrogatesBecomeTheReplacementCharacter) {
  using namespace std::literals;
  const NarrowRow rows[] = {
      {u"", "", "nothing"},
      {u"plain", "plain", "ASCII"},
      {u"a\0b"sv, "a\0b"sv, "zeros are characters"},
      {u"\u007F\u0080\u07FF\u0800", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80", "one to three bytes"},
      {u"\uFEFF\uFFFE\uFFFF", "\xEF\xBB\xBF\xEF\xBF\xBE\xEF\xBF\xBF", "a mark and non-characters stay"},
      {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", "pairs"},
      {u"\xD800", "\xEF\xBF\xBD", "a high one alone"},
      {u"\xDC00", "\xEF\xBF\xBD", "a low one alone"},
      {u"a\xDBFFz", "a\xEF\xBF\xBDz", "a high one between others"},
      {u"\xDC00\xD800", "\xEF\xBF\xBD\xEF\xBF\xBD", "a reversed pair"},
      {u"\xD800\xD800\xDC00", "\xEF\xBF\xBD\xF0\x90\x80\x80", "a high one before a pair"},
      {u"\xD800\xDC00\xDC00", "\xF0\x90\x80\x80\xEF\xBF\xBD", "a low one behind a pair"},
  };
  for (const NarrowRow& row : rows) EXPECT_EQ(NarrowUtf8(row.text), row.expected) << row.why;
}

TEST(NarrowText, EveryCharacterComesBack) {
  WideString all;
  for (char32_t value = 0; value <= 0x10FFFF; ++value) {
    if (value >= 0xD800 && value <= 0xDFFF) continue;
    if (value < 0x10000) {
      all += static_cast<char16_t>(value);
    } else {
      all += static_cast<char16_t>(0xD7C0 + (value >> 10));
      all += static_cast<char16_t>(0xDC00 + (value & 0x3FF));
    }
  }
  EXPECT_TRUE(WidenUtf8(NarrowUtf8(all)) == all);
}

// The definition of well-formed UTF-8, one row a range of lead bytes; the simplest reader that follows it.
struct Form {
  unsigned char lead[2];
  std::vector<std::pair<unsigned char, unsigned char>> rest;
};

WideString WidenSlowly(std::string_view bytes) {
  static const Form kForms[] = {
      {{0x00, 0x7F}, {}},
      {{0xC2, 0xDF}, {{0x80, 0xBF}}},
      {{0xE0, 0xE0}, {{0xA0, 0xBF}, {0x80, 0xBF}}},
      {{0xE1, 0xEC}, {{0x80, 0xBF}, {0x80, 0xBF}}},
      {{0xED, 0xED}, {{0x80, 0x9F}, {0x80, 0xBF}}},
      {{0xEE, 0xEF}, {{0x80, 0xBF}, {0x80, 0xBF}}},
      {{0xF0, 0xF0}, {{0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}}},
      {{0xF1, 0xF3}, {{0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}}},
      {{0xF4, 0xF4}, {{0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}}},
  };
  WideString out;
  for (std::size_t at = 0; at < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[at]);
    std::size_t valid = 1;
    bool whole = false;
    unsigned long value = 0;
    for (const Form& form : kForms) {
      if (lead < form.lead[0] || lead > form.lead[1]) continue;
      value = form.rest.empty() ? lead : lead & (0x3Fu >> form.rest.size());
      while (valid <= form.rest.size() && at + valid < bytes.size()) {
        const auto next = static_cast<unsigned char>(bytes[at + valid]);
        if (next < form.rest[valid - 1].first || next > form.rest[valid - 1].second) break;
        value = value * 64 + next % 64;
        ++valid;
      }
      whole = valid == form.rest.size() + 1;
    }
    at += valid;
    if (!whole) value = 0xFFFD;
    if (value >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + (value - 0x10000) / 0x400);
      value = 0xDC00 + value % 0x400;
    }
    out += static_cast<char16_t>(value);
  }
  return out;
}

TEST(Widen, AgreesWithTheDefinition) {
  if (testing::kIsWindows) GTEST_SKIP() << "Windows counts the replacements of overlong sequences otherwise";
  static constexpr unsigned char kBytes[] = {'a',  'b',  0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                                             0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED,
                                             0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFF};
  std::mt19937 random(11);
  for (int i = 0; i < 100000; ++i) {
    std::string bytes(random() % 40, '\0');
    const bool mostlyAscii = random() % 2 == 0;
    for (char& byte : bytes) {
      byte = mostlyAscii && random() % 8 != 0 ? 'x' : static_cast<char>(kBytes[random() % std::size(kBytes)]);
    }
    ASSERT_EQ(WidenUtf8(bytes), WidenSlowly(bytes));
  }
}

TEST(NarrowText, LongTexts) {
  for (const std::size_t length : {1023u, 1024u, 1025u, 2047u, 2048u, 100000u}) {
    const WideString ascii(length, u'x');
    EXPECT_TRUE(WidenUtf8(std::string(length, 'x')) == ascii);
    EXPECT_TRUE(NarrowUtf8(ascii) == std::string(length, 'x'));
    // A pair at every place, also across the steps in which text is converted.
    WideString pairs = u"x";
    for (std::size_t i = 0; i < length; ++i) pairs += u"\U0001F600";
    EXPECT_TRUE(WidenUtf8(NarrowUtf8(pairs)) == pairs);
    EXPECT_EQ(NarrowUtf8(pairs).size(), 1 + 4 * length);
  }
}

TEST(NarrowText, TheAnsiPageKeepsAscii) {
  EXPECT_EQ(Widen("plain", NarrowPage::kAnsi), u"plain");
  EXPECT_EQ(Narrow(u"plain", NarrowPage::kAnsi), "plain");
  EXPECT_EQ(Widen("", NarrowPage::kAnsi), u"");
  EXPECT_EQ(Narrow(u"", NarrowPage::kAnsi), "");
}

}  // namespace
}  // namespace sbx::platform
