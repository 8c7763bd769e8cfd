// What `sbxml convert` leaves of a file on Windows that it may not replace.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

std::vector<std::string> FilesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

TEST(SbxmlConvert, FilesWithoutAMarkAreInTheCodePage) {
  if (GetACP() != 1252) GTEST_SKIP() << "the code page is another one";
  const ToolFolder folder;
  folder.Write("in.xml", "<a>\xFC\x80</a>");
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "-"}),
            (Said{"exit 0", "\xEF\xBB\xBF<a>\xC3\xBC\xE2\x82\xAC</a>", ""}));
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "-", "-e", "ansi"}),
            (Said{"exit 0", folder.Read("in.xml"), ""}));
}

// Bytes that are read in the code page have no fault there, but are not what the file says.
TEST(SbxmlCheck, TellsOfADeclaredUtf8WithoutAMark) {
  if (IsNarrowPageUtf8()) GTEST_SKIP() << "the code page is UTF-8";
  const ToolFolder folder;
  folder.Write("job.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" +
                              JobText().With("title", "<title>\xC3\xBC</title>"));
  EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}),
            (Said{"exit 1", "",
                  "job.xml:1:1: warning: the declared encoding UTF-8 is ignored: the file is read in the "
                  "system's code page [declared-encoding]\n"}));
}

// The temporary file has the old one's rights by then.
TEST(SbxmlConvert, LeavesNoTemporaryFileWhereAReadOnlyFileIsInUse) {
  const ToolFolder folder;
  folder.Write("out.xml", "the old one");
  const std::filesystem::path path = folder.path() / "out.xml";
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  {
    const std::ifstream reader(path);  // lets nobody take it away
    const Said said = folder.Run({"convert", "good.xml", "-o", "out.xml"});
    EXPECT_EQ(said.ended, "exit 6");
    EXPECT_THAT(said.errors, ::testing::StartsWith("out.xml: error: can't be written: "));
  }
  EXPECT_THAT(FilesIn(folder.path()),
              ::testing::UnorderedElementsAre("descriptions.xml", "rules.xml", "good.xml", "out.xml"));
  EXPECT_EQ(folder.Read("out.xml"), "the old one");
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

}  // namespace
}  // namespace sbx::testing
