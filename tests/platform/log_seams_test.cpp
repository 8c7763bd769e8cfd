// The small seams of the log: identity, host, identifiers, clock, log files.
#include <gtest/gtest.h>
#include <regex>
#include <set>

#include "platform/host_info.h"
#include "platform/log_files.h"
#include "platform/module_identity.h"
#include "platform/uuid.h"
#include "platform/wall_clock.h"
#include "support/host_system.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"

namespace sbx::platform {
namespace {

namespace fs = std::filesystem;

TEST(ModuleIdentity, TellsTheProcess) {
  EXPECT_EQ(CurrentProcessId(), sbx::testing::OwnProcessId());
  EXPECT_EQ(CurrentThreadId(), sbx::testing::OwnThreadId());
}

TEST(HostInfo, TellsTheMachine) {
  EXPECT_FALSE(ComputerName().empty());
  EXPECT_GE(GetOsVersion().major, 3);
  EXPECT_GE(GetOsVersion().minor, 0);
}

TEST(Uuids, AreNewAndInTheUsualForm) {
  std::set<WideString> seen;
  for (int i = 0; i < 100; ++i) {
    const auto id = NewUuid();
    ASSERT_TRUE(id);
    EXPECT_FALSE(id->IsNil());
    const WideString wide = UuidToText(*id);
    const std::string text(wide.begin(), wide.end());
    EXPECT_TRUE(std::regex_match(
        text, std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")))
        << text;
    seen.insert(wide);
  }
  EXPECT_EQ(seen.size(), 100u);
}

TEST(Uuids, TheFirstGroupsAreLittleEndianInMemory) {
  const Uuid id{{0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD, 1, 2, 3, 4, 5, 6, 7, 8}};
  EXPECT_EQ(UuidToText(id), u"01234567-89ab-cdef-0102-030405060708");
}

TEST(WallClock, TellsLocalTime) {
  const std::time_t before = std::time(nullptr);
  const SystemTime now = LocalTimeNow();
  const std::time_t after = std::time(nullptr);
  std::tm parts = {};
  parts.tm_year = now.year - 1900;
  parts.tm_mon = now.month - 1;
  parts.tm_mday = now.day;
  parts.tm_hour = now.hour;
  parts.tm_min = now.minute;
  parts.tm_sec = now.second;
  parts.tm_isdst = -1;
  const std::time_t told = std::mktime(&parts);
  EXPECT_GE(told, before);
  EXPECT_LE(told, after);
  EXPECT_EQ(now.dayOfWeek, parts.tm_wday);
  EXPECT_LT(now.milliseconds, 1000);
}

class LogFiles : public ::testing::Test {
 protected:
  WideString Path(const char* name) const { return (sandbox_.root() / name).make_preferred().u16string(); }
  void Store(const char* name, const std::string& text) const {
    std::ofstream(sandbox_.root() / name, std::ios::binary) << text;
  }
  sbx::testing::LogSandbox sandbox_;
};

TEST_F(LogFiles, OpenMakesAMissingFileAndKeepsAnExistingOne) {
  LogFile file;
  EXPECT_FALSE(file.IsOpen());
  ASSERT_TRUE(file.Open(Path("new")));
  EXPECT_EQ(file.Size(), 0u);
  Store("old", "12345");
  ASSERT_TRUE(file.Open(Path("old")));
  EXPECT_EQ(file.Size(), 5u);
  LogFile second;
  EXPECT_TRUE(second.Open(Path("old"))) << "shared";
}

TEST_F(LogFiles, WhatIsNoPlainFileIsRefused) {
  LogFile file;
  EXPECT_FALSE(file.Open(sandbox_.root().u16string()));
  EXPECT_FALSE(file.Open(sbx::testing::kIsWindows ? u"C:\\windows" : u"/dev/null"));
  EXPECT_FALSE(file.Open(Path("missing/file")));
  EXPECT_FALSE(file.Open(u""));
  EXPECT_FALSE(file.Open(WideString(u"a\0b", 3)));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.SeekToEnd());
  EXPECT_EQ(file.Size(), 0u);
}

TEST_F(LogFiles, PiecesFollowOneAnother) {
  Store("f", "12345");
  LogFile file;
  ASSERT_TRUE(file.Open(Path("f")));
  ASSERT_TRUE(file.SeekToEnd());
  LogFile::Piece pieces[] = {{"ab", 2}, {"", 0}, {"cd", 2}, {"e", 1}, {"fg", 2}};
  file.Write(pieces);
  for (const LogFile::Piece& piece : pieces) EXPECT_TRUE(piece.written);
  EXPECT_EQ(sbx::testing::ReadBytes(sandbox_.root() / "f"), "12345abcdefg");
  char tail[4] = {};
  ASSERT_TRUE(file.SeekBeforeEnd(3));
  EXPECT_EQ(file.Read(tail, 4), 3u);
  EXPECT_STREQ(tail, "efg");
  ASSERT_TRUE(file.SeekBeforeEnd(100));
  EXPECT_EQ(file.Read(tail, 2), 2u);
  EXPECT_EQ(tail[0], '1');
}

TEST_F(LogFiles, SizesOfPaths) {
  Store("f", "12345");
  EXPECT_EQ(FileSizeOf(Path("f")), 5u);
  EXPECT_FALSE(FileSizeOf(Path("missing")));
}

TEST_F(LogFiles, ADeletedFileIsTold) {
  LogFile file;
  ASSERT_TRUE(file.Open(Path("f")));
  EXPECT_FALSE(file.IsDeleted());
  std::error_code refusal;
  fs::remove(sandbox_.root() / "f", refusal);
  EXPECT_EQ(bool(refusal), sbx::testing::kIsWindows) << "an open file can't be deleted there";
  EXPECT_EQ(file.IsDeleted(), !sbx::testing::kIsWindows);
}

TEST_F(LogFiles, FolderTrees) {
  EXPECT_TRUE(CreateDirectoryTree(Path("a/b/c")));
  EXPECT_TRUE(fs::is_directory(sandbox_.root() / "a/b/c"));
  EXPECT_TRUE(CreateDirectoryTree(Path("a/b/c"))) << "already there";
  Store("file", "x");
  EXPECT_EQ(CreateDirectoryTree(Path("file")), sbx::testing::kIsWindows) << "there, whatever it is";
  EXPECT_FALSE(CreateDirectoryTree(Path("file/below")));
  EXPECT_FALSE(CreateDirectoryTree(u""));
}

}  // namespace
}  // namespace sbx::platform
