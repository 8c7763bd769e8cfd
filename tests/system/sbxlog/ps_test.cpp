// sbxlog ps: the processes that log, and nothing that isn't one.
#include <cstring>

#include "base/format.h"
#include "diag/log_config_format.h"
#include "platform/named_objects.h"
#include "sbxlog/log_tool.h"

namespace sbx::testing {
namespace {

class SbxlogPs : public ::testing::Test {
 protected:
  LogSandbox sandbox_;
};

// A block of the test's own process, filled as a logging process fills it.
class OwnBlock {
 public:
  explicit OwnBlock(std::size_t size = sizeof(LOGCFG_BLOCK)) {
    const auto id = static_cast<std::uint32_t>(getpid());
    EXPECT_TRUE(platform::IsOpened(mutex_.Create(Message(kLogConfigMutexName, id).view())));
    EXPECT_TRUE(platform::IsOpened(mapping_.Create(Message(kLogConfigBlockName, id).view(), size)));
    block_ = static_cast<LOGCFG_BLOCK*>(mapping_.Map(size));
    if (size != sizeof(LOGCFG_BLOCK)) return;
    block_->headMagic = block_->tailMagic = kLogConfigMagic;
    block_->globalLevel = kNoLogLevel;
  }
  LOGCFG_BLOCK* operator->() const { return block_; }
  platform::NamedMutex& mutex() { return mutex_; }

 private:
  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
  LOGCFG_BLOCK* block_;
};

TEST_F(SbxlogPs, ListsNothingWhereNothingLogs) {
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 0", "", ""}));
  EXPECT_EQ(RunSbxlog({"ps", "--json"}), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogPs, ShowsEachModuleOfAProcess) {
  const LogHost host(sandbox_, "printer");
  const std::string id = host.Id();
  const std::string blanks(id.size() > 3 ? id.size() - 3 : 0, ' ');
  const std::string log = (sandbox_.logs() / "libsbxml.so.Log").string();
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 0",
                                     "PID" + blanks + "  EXECUTABLE  MODULE       LEVEL  FIXED  PATH\n" + id +
                                         "  printer     libsbxml.so  -      -      " + log + "\n",
                                     ""}));
  EXPECT_EQ(
      RunSbxlog({"ps", "--json"}),
      (Said{"exit 0",
            "{\"kind\":\"process\",\"pid\":" + id + ",\"executable\":\"" + host.path().string() +
                "\",\"global_level\":null,\"global_path\":null,\"modules\":[{\"module\":\"libsbxml.so\","
                "\"level\":null,\"level_fixed\":false,\"path\":\"" +
                log + "\",\"path_fixed\":false,\"flags\":65535}]}\n",
            ""}));
}

TEST_F(SbxlogPs, ShowsWhatToolsHaveChanged) {
  const OwnBlock block;
  block->globalLevel = 4;
  CopyTruncated(block->globalPath, 512, u"/all.Log");
  CopyTruncated(block->modules[0].name, 64, u"one");
  block->modules[0].level = 3;
  block->modules[0].flags = kLogPathNotFixed;
  CopyTruncated(block->modules[1].name, 64, u"two");
  CopyTruncated(block->modules[1].path, 512, u"/two.Log");
  block->modules[1].level = -1;
  const std::string id = std::to_string(getpid());
  const std::string blanks(id.size() > 3 ? id.size() - 3 : 0, ' ');
  const std::string row = id + "  system_sbxlog_tests  ";
  EXPECT_EQ(RunSbxlog({"ps"}),
            (Said{"exit 0",
                  "PID" + blanks + "  EXECUTABLE           MODULE  LEVEL  FIXED       PATH\n" + row +
                      "*       4      -           /all.Log\n" + row + "one     3      level       -\n" + row +
                      "two     -      level,path  /two.Log\n",
                  ""}));
}

TEST_F(SbxlogPs, DoesNotLogItself) {
  const LogHost host(sandbox_, "printer");
  EXPECT_EQ(RunSbxlog({"ps"}).output.find("sbxlog\n"), std::string::npos);
  const auto listed = RunSbxlog({"ps", "--json"}).output;
  EXPECT_EQ(std::count(listed.begin(), listed.end(), '\n'), 1);
}

TEST_F(SbxlogPs, ForgetsAKilledProcess) {
  LogHost host(sandbox_, "printer");
  host.Kill();
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogPs, SkipsADamagedBlockAndSaysSo) {
  OwnBlock block;
  block->tailMagic = 7;
  const std::string id = std::to_string(getpid());
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 1", "",
                                     "sbxlog: warning: the configuration block of process " + id +
                                         " is damaged [process-skipped]\n"}));
}

TEST_F(SbxlogPs, SkipsABlockThatIsTooSmall) {
  const OwnBlock block(100);
  const std::string id = std::to_string(getpid());
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 1", "",
                                     "sbxlog: warning: the configuration block of process " + id +
                                         " is damaged [process-skipped]\n"}));
}

TEST_F(SbxlogPs, ReadsABlockFullOfGarbage) {
  const OwnBlock block;
  // Names and paths without an end, control characters, a full table.
  std::memset(static_cast<void*>(&block->globalPath), 0x1B, sizeof(LOGCFG_BLOCK) - 8);
  const Said said = RunSbxlog({"ps"});
  EXPECT_EQ(said.ended, "exit 0");
  EXPECT_EQ(std::count(said.output.begin(), said.output.end(), '\n'), 1 + 1 + 1024);
  EXPECT_EQ(said.output.find('\x1B'), std::string::npos);
}

TEST_F(SbxlogPs, SkipsAFileThatIsNoObject) {
  const OwnBlock block;
  for (const auto& entry : std::filesystem::directory_iterator(sandbox_.runtime())) {
    if (entry.path().filename().string().find("LOGCFG_MUTEX") == std::string::npos) continue;
    std::filesystem::resize_file(entry.path(), 10);
  }
  const std::string id = std::to_string(getpid());
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 1", "",
                                     "sbxlog: warning: the configuration block of process " + id +
                                         " or its mutex is none [process-skipped]\n"}));
}

TEST_F(SbxlogPs, RefusesAFolderThatIsSomebodyElses) {
  std::filesystem::create_directories(sandbox_.root() / "other");
  std::filesystem::create_symlink("other", sandbox_.runtime());
  EXPECT_EQ(RunSbxlog({"ps"}),
            (Said{"exit 5", "", "sbxlog: error: the system refuses the use of shared objects [refused]\n"}));
}

}  // namespace
}  // namespace sbx::testing
