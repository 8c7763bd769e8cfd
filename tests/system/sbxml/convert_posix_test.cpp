// What `sbxml convert` leaves of the file that it replaces: its readers, its rights, its links; and devices.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

const Said kFine = {"exit 0", "", ""};

// A new file is renamed into place: who has the old one open keeps the old one, whole.
TEST(SbxmlConvert, WhoReadsTheOldFileReadsItToItsEnd) {
  const ToolFolder folder;
  folder.Write("out.xml", "the old one");
  std::ifstream old(folder.path() / "out.xml");
  EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", "out.xml"}), kFine);
  std::string text;
  std::getline(old, text);
  EXPECT_EQ(text, "the old one");
  EXPECT_NE(folder.Read("out.xml"), "the old one");
}

TEST(SbxmlConvert, AccessRightsAreThoseOfTheFileReplacedOrOfANewOne) {
  const ToolFolder folder;
  const auto rights = [&](const char* name) {
    return static_cast<unsigned>(std::filesystem::status(folder.path() / name).permissions());
  };
  folder.Write("out.xml", "old");
  std::filesystem::permissions(folder.path() / "out.xml", std::filesystem::perms(0640));
  EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", "out.xml"}), kFine);
  EXPECT_EQ(rights("out.xml"), 0640u);
  const mode_t mask = umask(027);
  EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", "new.xml"}), kFine);
  umask(mask);
  EXPECT_EQ(rights("new.xml"), 0640u);
}

TEST(SbxmlConvert, ALinkStaysOne) {
  const ToolFolder folder;
  folder.Write("real.xml", "old");
  std::filesystem::create_symlink("real.xml", folder.path() / "link.xml");
  EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", "link.xml"}), kFine);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / "link.xml"));
  EXPECT_NE(folder.Read("real.xml"), "old");
}

TEST(SbxmlConvert, ADeviceThatIsFullEndsWithSix) {
  const ToolFolder folder;
  EXPECT_EQ(
      folder.Run({"convert", "good.xml", "-o", "/dev/full"}),
      (Said{"exit 6", "", "/dev/full: error: can't be written: the device refused it [output-failed]\n"}));
}

}  // namespace
}  // namespace sbx::testing
