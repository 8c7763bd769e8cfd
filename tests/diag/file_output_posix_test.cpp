// The log file under limits, rights and mounts of POSIX.
#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "file_output_fixture.h"
#include "support/killable_process.h"

namespace sbx::NSDBG {
namespace {

using sbx::testing::KillableProcess;
using sbx::testing::MessagesOf;

TEST_F(FileOutput, TheExecutablesRegistryLevelBeatsTheModules) {
  struct Case {
    const char* lines;
    std::int32_t expected;
  };
  const Case cases[] = {{"", 2},
                        {"\"libsbxml.so\"=dword:4\n", 4},
                        {"\"diag_tests\"=dword:0\n\"libsbxml.so\"=dword:4\n", 0},
                        {"\"diag_tests\"=dword:ffffffff\n\"libsbxml.so\"=dword:3\n", 3}};
  for (const Case& c : cases) {
    sandbox_.WriteRegistry(
        std::string("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug]\n") + c.lines);
    CLogConfig::Instance().DetectAgain();
    ForgetRegistryLevels();
    CLogConfig config;
    EXPECT_EQ(CFileOutput(config).GetLogLevel(), c.expected) << c.lines;
  }
  sandbox_.WriteRegistry("");
  CLogConfig::Instance().DetectAgain();
}

TEST_F(FileOutput, NestedFoldersAreOpenToReadersLessTheMask) {
  ::setenv("SBXML_LOG_DIR", (sandbox_.root() / "a" / "b" / "c").c_str(), 1);
  config_ = std::make_unique<CLogConfig>();
  Output().LogW(2, 0, u"m");
  EXPECT_EQ(MessagesOf(sandbox_.root() / "a" / "b" / "c" / "libsbxml.so.Log"), Lines{"m"});
  struct stat status;
  ASSERT_EQ(::stat((sandbox_.root() / "a").c_str(), &status), 0);
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(status.st_mode & 0777, 0755 & ~mask);
  ASSERT_EQ(::stat((sandbox_.root() / "a" / "b" / "c" / "libsbxml.so.Log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0644 & ~mask);
}

TEST_F(FileOutput, APathLongerThanAMutexesNameIsWrittenTo) {
  const fs::path deep = sandbox_.root() / std::string(150, 'd') / std::string(150, 'e');
  ::setenv("SBXML_LOG_DIR", deep.c_str(), 1);
  config_ = std::make_unique<CLogConfig>();
  Output().LogW(2, 0, u"m");
  EXPECT_EQ(MessagesOf(deep / LogName()), Lines{"m"});
}

TEST_F(FileOutput, APipeInTheFilesPlaceStopsNobody) {
  fs::create_directories(sandbox_.logs());
  ASSERT_EQ(::mkfifo(Log().c_str(), 0600), 0);
  Output().LogW(2, 0, u"lost");
}

TEST_F(FileOutput, WithoutAFolderForNamedObjectsEveryMessageIsLost) {
  std::ofstream(sandbox_.runtime()) << "in the way";
  Output().LogW(0, 0, u"lost");
  EXPECT_EQ(Output().GetLogLevel(), 2) << "as the constructor set it";
  EXPECT_FALSE(fs::exists(sandbox_.logs()));
}

TEST_F(FileOutput, AFileDeletedWhileOpenIsMadeAnew) {
  Output().LogW(2, 0, u"gone");
  fs::remove_all(sandbox_.logs());
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log()), Lines{"two"});
}

TEST_F(FileOutput, ALimitOfFileSizesEndsNoHost) {
  KillableProcess host([this] {
    Output().LogW(2, 0, u"one");
    const rlimit limit = {2000, 2000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    for (int i = 0; i < 50; ++i) Output().LogW(2, 0, u"more than there is room for");
    sigset_t pending;
    ::sigpending(&pending);
    return sigismember(&pending, SIGXFSZ) == 0 ? 0 : 1;
  });
  EXPECT_EQ(host.Wait(), 0);
}

// In a mount name space of its own, where that may be made.
TEST_F(FileOutput, AFullDiskEndsNoHost) {
  KillableProcess host([this] {
    fs::create_directories(sandbox_.logs());
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("small", sandbox_.logs().c_str(), "tmpfs", 0, "size=16k") != 0) {
      return 77;
    }
    for (int i = 0; i < 200; ++i) Output().LogW(2, 0, u"more than there is room for");
    if (fs::file_size(Log()) > 16 * 1024) return 1;
    // Nor does one without room for named objects.
    fs::create_directories(sandbox_.runtime());
    if (::mount("small", sandbox_.runtime().c_str(), "tmpfs", 0, "size=64k,mode=0700") != 0) return 77;
    platform::ReleaseNamedObjects();
    CLogConfig config;
    config.RegisterModule(u"m");
    CFileOutput output(config);
    output.LogW(0, 0, u"lost");
    return config.GetModuleLevel(u"m") == -1 ? 0 : 2;
  });
  const int code = host.Wait();
  if (code == 77) GTEST_SKIP() << "no mount name spaces here";
  EXPECT_EQ(code, 0);
}

TEST_F(FileOutput, AReadOnlyFolderOfAnotherUserIsNoticedByNobody) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
  fs::create_directories(sandbox_.logs());
  fs::permissions(sandbox_.root(), fs::perms::all);
  KillableProcess host([this] {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) return 9;
    ::setenv("SBXML_RUNTIME_DIR", (sandbox_.root() / "run-nobody").c_str(), 1);
    platform::ReleaseNamedObjects();
    CLogConfig config;
    CFileOutput output(config);
    output.LogW(0, 0, u"lost");
    return fs::exists(Log()) ? 1 : 0;
  });
  EXPECT_EQ(host.Wait(), 0);
}

}  // namespace
}  // namespace sbx::NSDBG
