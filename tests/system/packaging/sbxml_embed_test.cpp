// The converter by its command line: what it refuses, what it says, and that it leaves no half-written
// output.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

class SbxmlEmbed : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "sbxml_embed_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }

  std::string Document(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }

  // Runs the converter; its exit status. What it said is in `said_`.
  int Run(const std::string& arguments) {
    const std::string command = SBXML_EMBED " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    said_.clear();
    std::array<char, 256> chunk{};
    while (std::fgets(chunk.data(), chunk.size(), pipe) != nullptr) said_ += chunk.data();
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string Content(const std::string& name) const {
    std::ostringstream content;
    content << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return content.str();
  }

  fs::path folder_;
  std::string said_;
};

struct BrokenText {
  const char* bytes;
  std::size_t at;
  const char* why;
};

TEST_F(SbxmlEmbed, RefusesWhatIsNoUtf8) {
  const BrokenText kBroken[] = {
      {"\x80", 0, "a lone continuation byte"},
      {"ab\xC3", 2, "a sequence cut off by the end"},
      {"ab\xE2\x82", 2, "a longer sequence cut off by the end"},
      {"\xC3(", 0, "no continuation after a lead byte"},
      {"\xF0\x9F(\x80", 0, "no continuation in third place"},
      {"\xC0\xAF", 0, "an overlong form of two bytes"},
      {"\xE0\x80\xAF", 0, "an overlong form of three bytes"},
      {"\xF0\x8F\xBF\xBF", 0, "an overlong form of four bytes"},
      {"a\xED\xA0\x80", 1, "an encoded high surrogate"},
      {"a\xED\xBF\xBF", 1, "an encoded low surrogate"},
      {"\xF4\x90\x80\x80", 0, "beyond U+10FFFF"},
      {"\xF8\x88\x80\x80\x80", 0, "a lead byte of five bytes"},
      {"\xFF\xFE<\n", 0, "UTF-16 is no UTF-8"},
      {"\xEF\xBB\xBF\xFF", 3, "the mark counts among the bytes"},
  };
  for (const BrokenText& row : kBroken) {
    SCOPED_TRACE(row.why);
    const std::string document = Document("broken.xml", row.bytes);
    EXPECT_EQ(Run("--source " + Path("out.c") + " --module m --document 1 " + document), 1);
    EXPECT_EQ(said_, "sbxml_embed: " + document + ": no UTF-8 text at byte " + std::to_string(row.at) + "\n");
    EXPECT_FALSE(fs::exists(Path("out.c")));
  }
}

TEST_F(SbxmlEmbed, RefusesAZeroCharacter) {
  const std::string document = Document("zero.xml", std::string("a\0b", 3));
  EXPECT_EQ(Run("--source " + Path("out.c") + " --module m --document 1 " + document), 1);
  EXPECT_EQ(said_, "sbxml_embed: " + document + ": no UTF-8 text at byte 1\n");
}

TEST_F(SbxmlEmbed, NamesAMissingDocument) {
  EXPECT_EQ(Run("--source " + Path("out.c") + " --module m --document 1 " + Path("none.xml")), 1);
  EXPECT_EQ(said_, "sbxml_embed: " + Path("none.xml") + ": No such file or directory\n");
}

TEST_F(SbxmlEmbed, NamesAnOutputThatCannotBeMade) {
  const std::string document = Document("a.xml", "<a/>");
  const std::string out = Path("no/such/out.c");
  EXPECT_EQ(Run("--source " + out + " --module m --document 1 " + document), 1);
  EXPECT_EQ(said_, "sbxml_embed: " + out + ": No such file or directory\n");
}

TEST_F(SbxmlEmbed, FailsWhereTheOutputCannotBeWritten) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "needs a device that is full";
  const std::string document = Document("a.xml", "<a/>");
  fs::create_symlink("/dev/full", Path("out.c"));
  EXPECT_EQ(Run("--source " + Path("out.c") + " --module m --document 1 " + document), 1);
  EXPECT_EQ(said_, "sbxml_embed: " + Path("out.c") + ": can't be written\n");
  EXPECT_FALSE(fs::is_symlink(Path("out.c")));
}

TEST_F(SbxmlEmbed, KeepsTheOldOutputWhereADocumentIsBroken) {
  Document("out.c", "old");
  const std::string document = Document("a.xml", "\xFF");
  EXPECT_EQ(Run("--source " + Path("out.c") + " --module m --document 1 " + document), 1);
  EXPECT_EQ(Content("out.c"), "old");
}

struct WrongCall {
  const char* arguments;
  const char* why;
};

TEST_F(SbxmlEmbed, RefusesAWrongCommandLine) {
  const WrongCall kCalls[] = {
      {"", "nothing asked for"},
      {"--source out.c --module m", "no document"},
      {"--module m --document 1 a.xml", "no output"},
      {"--source out.c --document 1 a.xml", "no module"},
      {"--resources out.rc --module m --document 1 a.xml", "resources have no symbol"},
      {"--source out.c --resources out.rc --module m --document 1 a.xml", "two outputs"},
      {"--source out.c --module 1m --document 1 a.xml", "a digit first"},
      {"--source out.c --module '' --document 1 a.xml", "an empty symbol"},
      {"--source out.c --module m-n --document 1 a.xml", "no C name"},
      {"--source out.c --module m --document 0 a.xml", "id below 1"},
      {"--source out.c --module m --document 65536 a.xml", "id over 65535"},
      {"--source out.c --module m --document 4294967297 a.xml", "id that would wrap"},
      {"--source out.c --module m --document 0x1 a.xml", "id not decimal"},
      {"--source out.c --module m --document '' a.xml", "no id"},
      {"--source out.c --module m --document 1 a.xml --document 1 b.xml", "the same id twice"},
      {"--source out.c --module m --document 1", "no file"},
      {"--source out.c --module m --document 1 a.xml --surplus", "an unknown word"},
  };
  for (const WrongCall& row : kCalls) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(Run(row.arguments), 2);
    EXPECT_EQ(said_.substr(0, 18), "usage: sbxml_embed");
  }
}

TEST_F(SbxmlEmbed, WritesResourcesOfTypeXml) {
  const std::string first = Document("a.xml", "\xEF\xBB\xBF<a>\xF0\x9F\x98\x80</a>");
  const std::string second = Document("b.xml", "");
  ASSERT_EQ(Run("--resources " + Path("out.rc") + " --document 101 " + first + " --document 65535 " + second),
            0);
  EXPECT_EQ(said_, "");
  EXPECT_EQ(Content("out.rc"),
            "/* Generated by sbxml_embed; changes are lost. */\n"
            "\n101 XML\nBEGIN\n0x3c,0x61,0x3e,0xd83d,0xde00,0x3c,0x2f,0x61,0x3e\nEND\n"
            "\n65535 XML\nBEGIN\n\nEND\n");
}

TEST_F(SbxmlEmbed, WritesATableWithSizesInBytes) {
  const std::string first = Document("a.xml", "<a/>");
  const std::string second = Document("b.xml", "");
  ASSERT_EQ(Run("--source " + Path("out.c") + " --module my_module --document 1 " + first + " --document 2 " +
                second),
            0);
  const std::string source = Content("out.c");
  EXPECT_NE(source.find("static const uint16_t my_module_text0[] = {\n0x3c,0x61,0x2f,0x3e};\n"), source.npos)
      << source;
  EXPECT_NE(source.find("{\"XML\", 1U, 8U, my_module_text0},\n    {\"XML\", 2U, 0U, my_module_text1},\n"),
            source.npos)
      << source;
  EXPECT_NE(source.find("const struct SBXModuleResources my_module = {2U, my_module_entries};"), source.npos)
      << source;
}

}  // namespace
