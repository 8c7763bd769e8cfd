#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <string>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/files.h"
#include "support/child_process.h"
#include "support/scratch_folder.h"

namespace sbx::platform {
namespace {

constexpr uid_t kNobody = 65534;

class TextFilesPosix : public ::testing::Test {
 protected:
  WideString PathOf(WideView name) const { return folder_.Path(WideString(name)); }
  std::string Plain(WideView name) const { return std::filesystem::path(PathOf(name)).string(); }
  void Store(WideView name, const std::string& content) const { std::ofstream(Plain(name)) << content; }

  sbx::testing::ScratchFolder folder_;
};

TEST_F(TextFilesPosix, FailuresHaveTheSystemsNumbers) {
  Store(u"file", "x");
  TextFile file;
  EXPECT_FALSE(file.OpenForReading(PathOf(u"missing")));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(ENOENT));
  EXPECT_FALSE(file.OpenForReading(PathOf(u"file/below")));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(ENOTDIR));
  EXPECT_FALSE(file.OpenForReading(PathOf(u".")));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(EISDIR));
  EXPECT_FALSE(file.CreateForWriting(PathOf(u".")));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(EISDIR));
  EXPECT_FALSE(file.OpenForReading(PathOf(WideString(300, u'x'))));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(ENAMETOOLONG));
  EXPECT_FALSE(file.OpenForReading(PathOf(u"file") + WideString(1, u'\0')));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(EINVAL)) << "a zero would end the name early";
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(EBADF));
}

TEST_F(TextFilesPosix, CreatedFilesFollowTheMask) {
  const mode_t before = umask(027);
  TextFile file;
  EXPECT_TRUE(file.CreateForWriting(PathOf(u"a")));
  umask(0);
  EXPECT_TRUE(file.CreateForWriting(PathOf(u"b")));
  umask(before);
  struct stat status;
  ASSERT_EQ(stat(Plain(u"a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0640u);
  ASSERT_EQ(stat(Plain(u"b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0666u);
}

TEST_F(TextFilesPosix, AFileHeldByAnotherProcessIsRefusedUntilItEnds) {
  for (const int kind : {LOCK_SH, LOCK_EX}) {
    Store(u"held", "content");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = fork();
    if (holder == 0) {
      const int file = open(Plain(u"held").c_str(), O_RDWR);
      Require(flock(file, kind) == 0);
      Require(write(ready[1], "", 1) == 1);
      for (;;) pause();
    }
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    TextFile file;
    EXPECT_EQ(file.OpenForReading(PathOf(u"held")), kind == LOCK_SH);
    file.Close();
    EXPECT_FALSE(file.CreateForWriting(PathOf(u"held")));
    EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(EWOULDBLOCK));
    EXPECT_EQ(std::filesystem::file_size(Plain(u"held")), 7u) << "refused before anything is lost";
    kill(holder, SIGKILL);
    EXPECT_EQ(WaitForChild(holder), "signal 9");
    EXPECT_TRUE(file.CreateForWriting(PathOf(u"held")));
    close(ready[0]);
    close(ready[1]);
  }
}

TEST_F(TextFilesPosix, HoldsItsFileAgainstOtherProcesses) {
  Store(u"held", "content");
  TextFile file;
  ASSERT_TRUE(file.OpenForReading(PathOf(u"held")));
  const auto outcome = [this] {
    return InChild([this] {
      const int other = open(Plain(u"held").c_str(), O_RDWR);
      const int shared = flock(other, LOCK_SH | LOCK_NB) == 0 ? 1 : 0;
      const int exclusive = flock(other, LOCK_EX | LOCK_NB) == 0 ? 2 : 0;
      _exit(10 + shared + exclusive);
    });
  };
  EXPECT_EQ(outcome(), "exit 11") << "a reader shares";
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"held")));
  EXPECT_EQ(outcome(), "exit 10") << "a writer does not";
  file.Close();
  EXPECT_EQ(outcome(), "exit 13") << "nobody is left";
}

TEST_F(TextFilesPosix, FilesOfAnotherUserAreRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs the rights to become someone else";
  Store(u"secret", "content");
  chmod(Plain(u"secret").c_str(), 0600);
  chmod(folder_.path().c_str(), 0755);
  EXPECT_EQ(InChild([this] {
              Require(setgid(kNobody) == 0 && setuid(kNobody) == 0);
              TextFile file;
              Require(!file.OpenForReading(PathOf(u"secret")) && LastErrorNumber() == EACCES);
              Require(!file.CreateForWriting(PathOf(u"secret")) && LastErrorNumber() == EACCES);
              Require(!file.CreateForWriting(PathOf(u"new")) && LastErrorNumber() == EACCES);
            }),
            "exit 0");
  EXPECT_EQ(std::filesystem::file_size(Plain(u"secret")), 7u);
}

TEST_F(TextFilesPosix, TheSizeIsItsLow32Bits) {
  struct {
    off_t size;
    std::uint32_t seen;
  } const rows[] = {
      {(off_t{1} << 32) + 3, 3}, {(off_t{1} << 32) - 1, 0xFFFFFFFF}, {off_t{1} << 31, 0x80000000}};
  for (const auto& row : rows) {
    Store(u"sparse", "");
    ASSERT_EQ(truncate(Plain(u"sparse").c_str(), row.size), 0);
    TextFile file;
    ASSERT_TRUE(file.OpenForReading(PathOf(u"sparse")));
    EXPECT_EQ(file.Size(), row.seen);
  }
}

TEST_F(TextFilesPosix, APipeIsNeverWaitedFor) {
  ASSERT_EQ(mkfifo(Plain(u"pipe").c_str(), 0600), 0);
  TextFile file;
  EXPECT_FALSE(file.CreateForWriting(PathOf(u"pipe"))) << "nobody reads";
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(ENXIO));
  EXPECT_TRUE(file.OpenForReading(PathOf(u"pipe"))) << "nobody writes";
  EXPECT_EQ(file.Size(), 0u);
  file.Close();
  // A reader that does not read: what does not fit is a failure and no wait.
  const int reader = open(Plain(u"pipe").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_TRUE(file.CreateForWriting(PathOf(u"pipe")));
  EXPECT_TRUE(file.Write("text", 4));
  const std::string much(std::size_t{1} << 20, 'x');
  EXPECT_FALSE(file.Write(much.data(), much.size()));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(EAGAIN));
  close(reader);
}

TEST_F(TextFilesPosix, AWriteIntoAClosedPipeEndsInANumber) {
  ASSERT_EQ(mkfifo(Plain(u"pipe").c_str(), 0600), 0);
  EXPECT_EQ(InChild([this] {
              const int reader = open(Plain(u"pipe").c_str(), O_RDONLY | O_NONBLOCK);
              TextFile file;
              Require(file.CreateForWriting(PathOf(u"pipe")));
              close(reader);
              Require(!file.Write("text", 4) && LastErrorNumber() == EPIPE);
              sigset_t pending;
              Require(sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 0);
            }),
            "exit 0");
}

TEST_F(TextFilesPosix, AFileSizeLimitEndsInANumber) {
  EXPECT_EQ(InChild([this] {
              const rlimit limit = {1000, 1000};
              Require(setrlimit(RLIMIT_FSIZE, &limit) == 0);
              TextFile file;
              Require(file.CreateForWriting(PathOf(u"a")));
              const std::string text(2000, 'x');
              Require(!file.Write(text.data(), text.size()) && LastErrorNumber() == EFBIG);
              sigset_t mask;
              Require(sigprocmask(SIG_SETMASK, nullptr, &mask) == 0 && sigismember(&mask, SIGXFSZ) == 0);
            }),
            "exit 0");
}

TEST_F(TextFilesPosix, ASignalOfTheHostStaysPending) {
  ASSERT_EQ(mkfifo(Plain(u"pipe").c_str(), 0600), 0);
  EXPECT_EQ(InChild([this] {
              sigset_t held;
              sigemptyset(&held);
              sigaddset(&held, SIGPIPE);
              sigprocmask(SIG_BLOCK, &held, nullptr);
              raise(SIGPIPE);
              const int reader = open(Plain(u"pipe").c_str(), O_RDONLY | O_NONBLOCK);
              TextFile file;
              Require(file.CreateForWriting(PathOf(u"pipe")));
              close(reader);
              Require(!file.Write("text", 4));
              sigset_t pending;
              Require(sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1);
            }),
            "exit 0");
}

TEST_F(TextFilesPosix, AFullDeviceFailsTheWrite) {
  TextFile file;
  ASSERT_TRUE(file.CreateForWriting(u"/dev/full"));
  EXPECT_FALSE(file.Write("text", 4));
  EXPECT_EQ(LastErrorNumber(), static_cast<unsigned>(ENOSPC));
}

TEST_F(TextFilesPosix, FilesAreNotInherited) {
  Store(u"a", "content");
  TextFile file;
  const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_TRUE(file.OpenForReading(PathOf(u"a")));
  EXPECT_EQ(fcntl(before + 1, F_GETFD), FD_CLOEXEC);
  close(before);
}

}  // namespace
}  // namespace sbx::platform
