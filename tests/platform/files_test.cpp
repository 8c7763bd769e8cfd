#include "platform/files.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

#include "support/scratch_folder.h"

namespace sbx::platform {
namespace {

class TextFiles : public ::testing::Test {
 protected:
  WideString PathOf(WideView name) const { return folder_.Path(WideString(name)); }
  void Store(WideView name, const std::string& content) const {
    std::ofstream(std::filesystem::path(PathOf(name)), std::ios::binary) << content;
  }
  std::string Content(WideView name) const {
    std::ifstream file(std::filesystem::path(PathOf(name)), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  sbx::testing::ScratchFolder folder_;
};

TEST_F(TextFiles, WhatIsWrittenIsRead) {
  TextFile file;
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"a.xml")));
  EXPECT_TRUE(file.Write("ab", 2));
  EXPECT_TRUE(file.Write("", 0));
  EXPECT_TRUE(file.Write(nullptr, 0));
  EXPECT_TRUE(file.Write("\0c", 2));
  file.Close();
  EXPECT_EQ(Content(u"a.xml"), std::string("ab\0c", 4));

  ASSERT_TRUE(file.OpenForReading(PathOf(u"a.xml")));
  EXPECT_EQ(file.Size(), 4u);
  char bytes[4] = {};
  EXPECT_TRUE(file.Read(bytes, sizeof bytes));
  EXPECT_EQ(std::string(bytes, 4), std::string("ab\0c", 4));
}

TEST_F(TextFiles, ReadingStopsWhereTheFileEnds) {
  Store(u"a.xml", "abc");
  TextFile file;
  ASSERT_TRUE(file.OpenForReading(PathOf(u"a.xml")));
  char bytes[] = "######";
  EXPECT_TRUE(file.Read(bytes, 2));
  EXPECT_TRUE(file.Read(bytes + 2, 4));
  EXPECT_STREQ(bytes, "abc###");
  EXPECT_TRUE(file.Read(bytes, 1));
  EXPECT_STREQ(bytes, "abc###");
  EXPECT_TRUE(file.Read(nullptr, 0));
}

TEST_F(TextFiles, AnEmptyFileHasNoSizeAndNoError) {
  Store(u"empty.xml", "");
  TextFile file;
  ASSERT_TRUE(file.OpenForReading(PathOf(u"empty.xml")));
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_EQ(LastErrorNumber(), 0u);
}

TEST_F(TextFiles, CreatingEmptiesAnExistingFile) {
  Store(u"a.xml", "old and long");
  TextFile file;
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"a.xml")));
  EXPECT_TRUE(file.Write("new", 3));
  file.Close();
  EXPECT_EQ(Content(u"a.xml"), "new");
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"a.xml")));
  file.Close();
  EXPECT_EQ(Content(u"a.xml"), "");
}

TEST_F(TextFiles, NamesInAnyScript) {
  const WideString path = PathOf(u"\u00E9\u0416\u4E2D\U0001F600.xml");
  TextFile file;
  ASSERT_TRUE(file.CreateForWriting(path));
  file.Close();
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(path)));
  EXPECT_TRUE(file.OpenForReading(path));
}

TEST_F(TextFiles, OpeningFailsWithANumber) {
  TextFile file;
  for (const WideString& path :
       {PathOf(u"missing.xml"), PathOf(u"missing/a.xml"), folder_.Path(u""), WideString()}) {
    EXPECT_FALSE(file.OpenForReading(path));
    EXPECT_NE(LastErrorNumber(), 0u);
  }
  for (const WideString& path : {PathOf(u"missing/a.xml"), folder_.Path(u""), WideString()}) {
    EXPECT_FALSE(file.CreateForWriting(path));
    EXPECT_NE(LastErrorNumber(), 0u);
  }
}

enum class Use { kRead, kWrite };

bool Open(TextFile& file, const WideString& path, Use use) {
  return use == Use::kRead ? file.OpenForReading(path) : file.CreateForWriting(path);
}

struct SharingRow {
  Use first;
  Use second;
  bool allowed;
  const char* why;
};

TEST_F(TextFiles, AReaderExcludesWritersAndAWriterEveryone) {
  const SharingRow rows[] = {
      {Use::kRead, Use::kRead, true, "readers share"},
      {Use::kRead, Use::kWrite, false, "a writer after a reader"},
      {Use::kWrite, Use::kRead, false, "a reader after a writer"},
      {Use::kWrite, Use::kWrite, false, "two writers"},
  };
  for (const SharingRow& row : rows) {
    Store(u"a.xml", "content");
    TextFile first;
    TextFile second;
    ASSERT_TRUE(Open(first, PathOf(u"a.xml"), row.first)) << row.why;
    EXPECT_EQ(Open(second, PathOf(u"a.xml"), row.second), row.allowed) << row.why;
    if (row.allowed) continue;
    EXPECT_NE(LastErrorNumber(), 0u) << row.why;
    first.Close();
    EXPECT_TRUE(Open(second, PathOf(u"a.xml"), row.second)) << row.why << ", once it is closed";
  }
}

TEST_F(TextFiles, ARefusedWriterLeavesTheContent) {
  Store(u"a.xml", "content");
  TextFile reader;
  ASSERT_TRUE(reader.OpenForReading(PathOf(u"a.xml")));
  TextFile writer;
  ASSERT_FALSE(writer.CreateForWriting(PathOf(u"a.xml")));
  EXPECT_EQ(reader.Size(), 7u);
  EXPECT_EQ(Content(u"a.xml"), "content");
}

TEST_F(TextFiles, TheEndOfAnObjectClosesItsFile) {
  Store(u"a.xml", "content");
  {
    TextFile reader;
    ASSERT_TRUE(reader.OpenForReading(PathOf(u"a.xml")));
  }
  TextFile writer;
  EXPECT_TRUE(writer.CreateForWriting(PathOf(u"a.xml")));
}

TEST_F(TextFiles, OpeningAgainClosesTheFileBefore) {
  Store(u"a.xml", "content");
  Store(u"b.xml", "more content");
  TextFile file;
  ASSERT_TRUE(file.OpenForReading(PathOf(u"a.xml")));
  ASSERT_TRUE(file.OpenForReading(PathOf(u"b.xml")));
  EXPECT_EQ(file.Size(), 12u);
  TextFile writer;
  EXPECT_TRUE(writer.CreateForWriting(PathOf(u"a.xml")));
  EXPECT_FALSE(file.OpenForReading(PathOf(u"missing.xml")));
  EXPECT_TRUE(writer.CreateForWriting(PathOf(u"b.xml")));
}

TEST_F(TextFiles, WithoutAFileEverythingFails) {
  TextFile file;
  char byte = 0;
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_NE(LastErrorNumber(), 0u);
  EXPECT_FALSE(file.Read(&byte, 1));
  EXPECT_FALSE(file.Write(&byte, 1));
  file.Close();
  file.Close();
}

TEST_F(TextFiles, AReaderCannotWriteAndAWriterCannotRead) {
  Store(u"a.xml", "content");
  char byte = 'x';
  TextFile file;
  ASSERT_TRUE(file.OpenForReading(PathOf(u"a.xml")));
  EXPECT_FALSE(file.Write(&byte, 1));
  EXPECT_NE(LastErrorNumber(), 0u);
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"a.xml")));
  EXPECT_FALSE(file.Read(&byte, 1));
  EXPECT_NE(LastErrorNumber(), 0u);
}

TEST_F(TextFiles, LargeContentInOneCall) {
  std::string content(5000000, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31 >> 4);
  TextFile file;
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"a.xml")));
  EXPECT_TRUE(file.Write(content.data(), content.size()));
  ASSERT_TRUE(file.OpenForReading(PathOf(u"a.xml")));
  EXPECT_EQ(file.Size(), content.size());
  std::string read(content.size(), '\0');
  EXPECT_TRUE(file.Read(read.data(), read.size()));
  EXPECT_TRUE(read == content);
}

}  // namespace
}  // namespace sbx::platform
