#include "platform/registry_export.h"

#include <gtest/gtest.h>

namespace sbx::platform {
namespace {

constexpr char kHeader[] = "Windows Registry Editor Version 5.00\r\n\r\n";

std::string Bytes(const RegistryBytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

// The value `v` of the key `K`, or "none".
std::string Value(const std::string& lines) {
  const auto keys = ReadRegistryExport(std::string(kHeader) + "[K]\r\n" + lines);
  if (!keys) return "no export";
  const auto key = keys->find(u"K");
  if (key == keys->end()) return "no key";
  const auto value = key->second.find(u"V");
  return value == key->second.end() ? "none" : Bytes(value->second);
}

TEST(RegistryExport, Values) {
  using namespace std::string_literals;
  struct Case {
    std::string lines, expected;
    const char* why;
  };
  const Case cases[] = {
      {"\"v\"=dword:0000002a", "\x2A\0\0\0"s, "a number"},
      {"\"v\"=dword:FFFFFFFF", "\xFF\xFF\xFF\xFF", "in capitals"},
      {"\"v\"=dword:100000000", "none", "too large"},
      {"\"v\"=dword:", "none", "no digits"},
      {"\"v\"=\"ab\"", "a\0b\0\0\0"s, "a text with its zero"},
      {"\"v\"=\"\"", "\0\0"s, "an empty text"},
      {"\"v\"=\"\\\\ \\\"\"", "\\\0 \0\"\0\0\0"s, "escapes"},
      {"\"v\"=\"a\r\nb\"", "a\0\r\0\n\0b\0\0\0"s, "a line break inside"},
      {"\"v\"=hex:01,02,ff", "\x01\x02\xFF", "bytes"},
      {"\"v\"=hex(2):41,00,\\\r\n  42,00", "A\0B\0"s, "bytes over two lines"},
      {"\"v\"=hex:", "", "no bytes"},
      {"\"v\"=hex:0g", "none", "no hexadecimal digit"},
      {"\"v\"=hex:123", "none", "more than a byte"},
      {"\"v\"=dword:1\r\n\"V\"=dword:2", "\x02\0\0\0"s, "the last counts, in any case"},
      {"\"v\"=dword:1\r\n\"v\"=-", "none", "removed"},
      {"\"v\" = dword:1", "\x01\0\0\0"s, "blanks around the sign"},
      {"  \"v\"=dword:1", "\x01\0\0\0"s, "blanks in front"},
      {"; \"v\"=dword:1", "none", "a comment"},
      {"\"v\"=what:1", "none", "an unknown kind"},
      {"\"v\"", "none", "no sign"},
      {"\"v\"=\"open", "none", "no end of the text"},
      {"\"v", "none", "no end of the name"},
      {"garbage\r\n\"v\"=dword:1", "\x01\0\0\0"s, "other lines are passed over"},
      {"@=dword:5\r\n\"v\"=dword:1", "\x01\0\0\0"s, "the unnamed value is another one"},
      {"[-K]\r\n[K]", "none", "the key removed and made again"},
      {"[-K]", "no key", "the key removed"},
  };
  for (const Case& c : cases) EXPECT_EQ(Value(c.lines), c.expected) << c.why;
}

TEST(RegistryExport, ParentsOfAKeyExist) {
  const auto keys = ReadRegistryExport(std::string(kHeader) + "[A\\b\\C]\n");
  ASSERT_TRUE(keys);
  EXPECT_TRUE(keys->contains(u"A"));
  EXPECT_TRUE(keys->contains(u"A\\B"));
  EXPECT_TRUE(keys->contains(u"A\\B\\C"));
  EXPECT_EQ(keys->size(), 3u);
}

TEST(RegistryExport, Encodings) {
  const std::string narrow = std::string(kHeader) + "[K]\r\n\"v\"=dword:1\r\n";
  std::string little;
  std::string big;
  for (const char c : narrow) {
    (little += c) += '\0';
    (big += '\0') += c;
  }
  for (const std::string& bytes :
       {narrow, "\xEF\xBB\xBF" + narrow, "\xFF\xFE" + little, "\xFE\xFF" + big, little, big}) {
    const auto keys = ReadRegistryExport(bytes);
    ASSERT_TRUE(keys);
    EXPECT_TRUE(keys->contains(u"K"));
  }
}

TEST(RegistryExport, WhatHasNotTheHeaderIsNone) {
  EXPECT_FALSE(ReadRegistryExport(""));
  EXPECT_FALSE(ReadRegistryExport("[K]\n"));
  EXPECT_FALSE(ReadRegistryExport("REGEDIT4\n[K]\n"));
  EXPECT_FALSE(ReadRegistryExport(std::string(1000, '\0')));
  EXPECT_FALSE(ReadRegistryExport("\xFF"));
}

// Every prefix of a file, as a writer leaves it half-way.
TEST(RegistryExport, CutAnywhere) {
  const std::string whole =
      std::string(kHeader) + "[K\\L]\r\n\"a\"=\"x\\\\\"\r\n\"b\"=hex:01,\\\r\n02\r\n@=dword:1\r\n[-K]\r\n";
  for (std::size_t i = 0; i <= whole.size(); ++i) ReadRegistryExport(whole.substr(0, i));
}

}  // namespace
}  // namespace sbx::platform
