// SBXReadXML and SBXWriteXML on real files: bytes, needs, codes, log lines.
#include <cstring>

#include "platform/files.h"
#include "support/edge_of_memory.h"
#include "support/host_system.h"
#include "text_files_fixture.h"

namespace sbx::testing {
namespace {

// --- reading -----------------------------------------------------------------------------------------------

// What the narrow page makes of bytes: UTF-8, or Windows-1252 where the tests run on Windows.
const char16_t* Ansi(const char16_t* utf8, const char16_t* windows1252) {
  return kIsWindows ? windows1252 : utf8;
}

struct ReadCase {
  std::string bytes;
  std::int32_t need;
  const char16_t* text;
  const char16_t* encoding;
  const char* why;
};

TEST_F(ReadXml, TellsTheEncodingByTheFirstBytes) {
  const ReadCase cases[] = {
      {Utf16(u"<a>\u00E9</a>"), 18, u"<a>\u00E9</a>", u"UNICODE", "little-endian"},
      {Utf16(u"<a>\u00E9</a>", true), 18, u"<a>\u00E9</a>", u"UNICODE_BE", "big-endian"},
      {"\xEF\xBB\xBF<a>\xC3\xA9</a>", 20, u"<a>\u00E9</a>", u"UTF-8", "n is 9, the terminator included"},
      {"<a>\xC3\xA9</a>", kIsWindows ? 22 : 20, Ansi(u"<a>\u00E9</a>", u"<a>\u00C3\u00A9</a>"), u"ANSI",
       "no mark, whatever the text looks like"},
      {"\xFF\xFE", 2, u"", u"UNICODE", "only a mark"},
      {"\xFE\xFF", 2, u"", u"UNICODE_BE", "only a mark"},
      {"\xEF\xBB\xBF", 4, u"", u"UTF-8", "only a mark"},
      {"\xFE<", 8, Ansi(u"\uFFFD<", u"\u00FE<"), u"ANSI", "FE without FF"},
      {"\xFE", 6, Ansi(u"\uFFFD", u"\u00FE"), u"ANSI", "FE alone"},
      {"\xEF\xBB<", kIsWindows ? 10 : 8, Ansi(u"\uFFFD<", u"\u00EF\u00BB<"), u"ANSI", "EF BB without BF"},
      {"\xEF", 6, Ansi(u"\uFFFD", u"\u00EF"), u"ANSI", "EF alone"},
      {Utf16(u"a") + "b", 5, u"ab", u"UNICODE", "an odd size ends in a unit of its own"},
      {Utf16(u"a", true) + "b", 5, u"ab", u"UNICODE_BE", "whose byte stays where it is"},
      {"x", 6, u"x", u"ANSI", "one byte"},
      {Utf16(WideView(u"ab\0cd", 5)), 12, u"ab", u"UNICODE", "what follows a zero is not copied, but needed"},
      {std::string("ab\0cd", 5), 8, u"ab", u"ANSI", "narrow text ends at its zero"},
      {std::string("\xEF\xBB\xBF"
                   "ab\0cd",
                   8),
       8, u"ab", u"UTF-8", "likewise"},
      {"\xEF\xBB\xBF\xF0\x9F\x98\x80", 8, u"\U0001F600", u"UTF-8", "a pair is two units"},
  };
  for (const ReadCase& test : cases) {
    SCOPED_TRACE(test.why);
    folder.Write("file.xml", test.bytes);
    EXPECT_EQ(Need(), test.need);
    EXPECT_EQ(Read(), test.text);
    EXPECT_EQ(Lines(), (Log{{3, Text(u"Read XML successfully(%s).", test.encoding)}}));
  }
}

TEST_F(ReadXml, ANeedOneShortIsRefusedWithTheNumbersTheOtherWayRound) {
  folder.Write("file.xml", "\xEF\xBB\xBF<a/>");
  for (const std::int32_t given : {11, 0, -1}) {
    log.Clear();
    std::vector<char16_t> buffer(10, u'?');
    std::int32_t size = given;
    EXPECT_EQ(SBXReadXML(path.c_str(), buffer.data(), &size), SBX_E_BUFFER);
    EXPECT_EQ(size, 12);
    EXPECT_EQ(Lines(), (Log{{2, u"Need more buffers for XML(Size: 12, Need: 7)."}}))
        << "the need, then the file's size";
    EXPECT_EQ(buffer, std::vector<char16_t>(10, u'?'));
  }
  EXPECT_EQ(LastError(), u"(nothing set)");
}

TEST_F(ReadXml, WithoutABufferTheNeedIsStoredHoweverLargeTheSize) {
  folder.Write("file.xml", "<a/>");
  std::int32_t size = 1'000'000;
  EXPECT_EQ(SBXReadXML(path.c_str(), nullptr, &size), SBX_E_BUFFER);
  EXPECT_EQ(size, 12);
}

TEST_F(ReadXml, ZeroesAllOfTheBuffer) {
  folder.Write("file.xml", "ab");
  std::vector<unsigned char> buffer(20'000, 0x7F);
  std::int32_t size = 19'999;
  EXPECT_EQ(SBXReadXML(path.c_str(), reinterpret_cast<char16_t*>(buffer.data()), &size), SBX_OK);
  std::vector<unsigned char> expected(20'000, 0);
  expected[0] = 'a';
  expected[2] = 'b';
  expected[19'999] = 0x7F;
  EXPECT_EQ(buffer, expected);
}

struct DeclarationCase {
  const char16_t* file;
  const char16_t* text;
  const char* why;
};

TEST_F(ReadXml, SkipsADeclaration) {
  const DeclarationCase cases[] = {
      {u"<?xml version=\"1.0\"?><a/>", u"<a/>", "a declaration"},
      {u"<?xml version=\"1.0\"?> \t\r\n \n<a/>", u"<a/>", "with the blanks behind it"},
      {u"<?xml version=\"1.0\"?>\u00A0<a/>", u"\u00A0<a/>", "no other blank counts"},
      {u"<?XML version=\"1.0\"?><a/>", u"<?XML version=\"1.0\"?><a/>", "case counts"},
      {u" <?xml?><a/>", u" <?xml?><a/>", "only where the text begins"},
      {u"<?xml", u"<?xml", "no end"},
      {u"<?xml version", u"<?xml version", "no end"},
      {u"<?xml-stylesheet href='x'?><a/>", u"<a/>", "the five characters are all that is compared"},
      {u"<?xml><a/>", u"", "the search begins behind the sixth character: the element's end is found"},
      {u"<?xml?><a/>", u"<a/>", "the seventh character may be the end"},
      {u"<?xml?>", u"", "nothing behind it"},
      {u"<?xml?>  ", u"", "only blanks behind it"},
      {u"<?xm", u"<?xm", "too short"},
  };
  for (const DeclarationCase& test : cases) {
    SCOPED_TRACE(test.why);
    for (const bool swapped : {false, true}) {
      folder.Write("file.xml", Utf16(test.file, swapped));
      EXPECT_EQ(Read(), test.text);
      EXPECT_EQ(Need(), static_cast<std::int32_t>(2 + 2 * WideView(test.file).size())) << "not reduced";
    }
    std::string ansi;
    std::string utf8 = "\xEF\xBB\xBF";
    for (const char16_t* unit = test.file; *unit != 0; ++unit) {
      const std::string one =
          *unit == 0xA0 ? std::string("\xC2\xA0") : std::string(1, static_cast<char>(*unit));
      ansi += kIsWindows ? std::string(1, static_cast<char>(*unit)) : one;
      utf8 += one;
    }
    folder.Write("file.xml", ansi);
    EXPECT_EQ(Read(), test.text);
    folder.Write("file.xml", utf8);
    EXPECT_EQ(Read(), test.text);
  }
}

TEST_F(ReadXml, ADeclarationMayEndBehindAZero) {
  // The sixth character is not looked at, so the search can begin behind the text's own zero.
  folder.Write("file.xml", Utf16(WideView(u"<?xml\0ab>rest", 13)));
  EXPECT_EQ(Read(), u"rest");
  folder.Write("file.xml", Utf16(WideView(u"<?xml\0ab\0>rest", 14)));
  EXPECT_EQ(Read(), u"<?xml") << "but it stops at the next one";
}

TEST_F(ReadXml, NeedsAPathAndASize) {
  std::int32_t size = 100;
  char16_t buffer[50];
  for (const char16_t* bad : {static_cast<const char16_t*>(nullptr), u"", Nowhere<const char16_t*>()}) {
    EXPECT_EQ(SBXReadXML(bad, buffer, &size), SBX_E_PARAMETER);
  }
  EXPECT_EQ(SBXReadXML(path.c_str(), buffer, nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(SBXReadXML(path.c_str(), buffer, Nowhere<std::int32_t*>()), SBX_E_PARAMETER);
  EXPECT_EQ(Lines(), Log(5, {0, u"Invalid parameters for reading XML.."}));
  EXPECT_EQ(LastError(), u"(nothing set)");
}

TEST_F(ReadFailures, AMissingFile) {
  Expect(SBX_E_FILE, Text(u"Create file %s failed(ErrCode = %d).", path, kNoSuchFile));
}

TEST_F(ReadFailures, ADirectory) {
  path = folder.path().u16string();
  Expect(SBX_E_FILE, Text(u"Create file %s failed(ErrCode = %d).", path, kIsFolder));
}

TEST_F(ReadFailures, AnEmptyFile) {
  folder.Write("file.xml", "");
  Expect(SBX_E_FILE, Text(u"Get size of file %s failed (ErrCode = %d).", path, 0));
}

TEST_F(ReadFailures, AFileThatAWriterHasOpen) {
  folder.Write("file.xml", "<a/>");
  platform::TextFile file;
  ASSERT_TRUE(file.OpenForReading(path));
  EXPECT_EQ(Read(), u"<a/>") << "two readers do not exclude each other";
  ASSERT_TRUE(file.CreateForWriting(path));
  Expect(SBX_E_FILE, Text(u"Create file %s failed(ErrCode = %d).", path, kFileIsInUse));
}

TEST_F(ReadFailures, ABufferThatCannotBeWritten) {
  folder.Write("file.xml", "ab");
  const EdgeOfMemory edge(10);
  for (char16_t* buffer : {Nowhere<char16_t*>(), reinterpret_cast<char16_t*>(edge.data())}) {
    log.Clear();
    std::int32_t size = 12;  // more than the need of 6, and all of it is tested
    EXPECT_EQ(SBXReadXML(path.c_str(), buffer, &size), SBX_E_ADDRESS);
    EXPECT_EQ(Lines(), (Log{{0, Text(u"XML Binary unwritable.(Ptr: 0x%p, Size: 12)",
                                     FormatArg(static_cast<const void*>(buffer)))}}));
  }
  EXPECT_EQ(edge.data()[0], 0) << "no part has been written";
}

TEST_F(ReadFailures, ABufferAtTheEndOfMemoryIsFilled) {
  folder.Write("file.xml", "ab");
  const EdgeOfMemory edge(9);
  std::int32_t size = 9;
  EXPECT_EQ(SBXReadXML(path.c_str(), reinterpret_cast<char16_t*>(edge.data()), &size), SBX_OK);
  EXPECT_EQ(std::memcmp(edge.data(), "a\0b\0\0\0\0\0\0", 9), 0) << "an odd address and an odd size";
}

// --- writing -----------------------------------------------------------------------------------------------

TEST_F(WriteXml, EachEncodingHasItsMarkAndItsEnd) {
  const char16_t* const text = u"<a>\u00E9\U0001F600</a>";
  EXPECT_EQ(Write(text, 0), Utf16(text));
  EXPECT_EQ(Write(text, 1), Utf16(text, true));
  const std::string utf8 = "<a>\xC3\xA9\xF0\x9F\x98\x80</a>";
  EXPECT_EQ(Write(text, 2), "\xEF\xBB\xBF" + utf8 + std::string(1, '\0'));
  EXPECT_EQ(Write(text, 3), (kIsWindows ? "<a>\xE9?\?</a>" : utf8) + std::string(1, '\0'));
  EXPECT_TRUE(Lines().empty());
  EXPECT_EQ(LastError(), u"(nothing set)");
}

TEST_F(WriteXml, ALoneSurrogateBecomesAReplacementInNarrowFilesOnly) {
  const char16_t text[] = {u'a', 0xD800, 0};
  EXPECT_EQ(Write(text, 0), Utf16(text));
  EXPECT_EQ(Write(text, 2), std::string("\xEF\xBB\xBF"
                                        "a\xEF\xBF\xBD\0",
                                        8));
}

TEST_F(WriteXml, AnExistingFileIsReplaced) {
  folder.Write("file.xml", std::string(1000, 'x'));
  EXPECT_EQ(Write(u"a", 0), Utf16(u"a"));
}

TEST_F(WriteXml, LongTextArrivesWholeInEveryEncoding) {
  WideString text(10'007, u'x');
  text.back() = u'y';
  EXPECT_EQ(Write(text.c_str(), 0), Utf16(text));
  EXPECT_EQ(Write(text.c_str(), 1), Utf16(text, true));
  EXPECT_EQ(Write(text.c_str(), 2).size(), 3 + 10'007u + 1);
}

TEST_F(WriteXml, TextAtAnOddAddressIsWritten) {
  unsigned char bytes[9] = {};
  std::memcpy(bytes + 1, u"abc", 8);
  EXPECT_EQ(Write(reinterpret_cast<const char16_t*>(bytes + 1), 0), Utf16(u"abc"));
}

TEST_F(WriteXml, WhatIsWrittenComesBack) {
  for (const std::uint32_t encoding : {0u, 1u, 2u, 3u}) {
    SCOPED_TRACE(encoding);
    const char16_t* const text = encoding == 3 ? u"<a>\u00E9 \r\n</a>" : u"<a>\u00E9\U0001F600 \r\n</a>";
    Write(text, encoding);
    char16_t buffer[100];
    std::int32_t size = sizeof buffer;
    EXPECT_EQ(SBXReadXML(path.c_str(), buffer, &size), SBX_OK);
    EXPECT_EQ(WideString(buffer), text);
  }
}

TEST_F(WriteXml, NeedsAPathAndAText) {
  for (const char16_t* bad : {static_cast<const char16_t*>(nullptr), u"", Nowhere<const char16_t*>()}) {
    EXPECT_EQ(SBXWriteXML(bad, u"a", 0), SBX_E_PARAMETER);
    EXPECT_EQ(SBXWriteXML(path.c_str(), bad, 0), SBX_E_PARAMETER);
  }
  EXPECT_EQ(Lines(), Log(6, {0, u"Invalid parameters for writing XML."}));
  EXPECT_FALSE(folder.Exists("file.xml"));
}

TEST_F(WriteXml, AnUnknownEncodingLeavesAnEmptyFile) {
  folder.Write("file.xml", "old");
  EXPECT_EQ(SBXWriteXML(path.c_str(), u"a", 4), SBX_E_PARAMETER);
  EXPECT_EQ(SBXWriteXML(path.c_str(), u"a", 0xFFFFFFFF), SBX_E_PARAMETER);
  EXPECT_EQ(Lines(), (Log{{0, u"Invalid encoding(4)."}, {0, u"Invalid encoding(-1)."}}));
  EXPECT_TRUE(folder.Exists("file.xml"));
  EXPECT_EQ(folder.Read("file.xml"), "");
}

TEST_F(CreateFailures, AMissingFolder) {
  path = folder.Path(u"gone/file.xml");
  Expect(kNoSuchFolder);
}

TEST_F(CreateFailures, ADirectory) {
  path = folder.path().u16string();
  Expect(kIsFolder);
}

TEST_F(CreateFailures, AFileThatAReaderHasOpenKeepsItsContent) {
  folder.Write("file.xml", "old");
  platform::TextFile file;
  ASSERT_TRUE(file.OpenForReading(path));
  Expect(kFileIsInUse);
  EXPECT_EQ(folder.Read("file.xml"), "old");
}

}  // namespace
}  // namespace sbx::testing
