// Forks of a process that logs, threads with little stack, and what stopping leaves in the folder of named
// objects.
#include <atomic>
#include <fstream>
#include <pthread.h>
#include <signal.h>
#include <thread>
#include <unistd.h>

#include "diag/live_channel_format.h"
#include "log_lifecycle_fixture.h"
#include "support/killable_process.h"
#include "support/sanitizers.h"

namespace sbx {
namespace {

using testing::KillableProcess;
using testing::ReadLogLines;

TEST_F(LogLifecycle, StoppingLeavesNoNamedObject) {
  StartLog();
  g_DBGLog.Printf(0, u"before");
  StopLog();
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(sandbox_.runtime()))
    left.push_back(entry.path().filename());
  EXPECT_EQ(left, std::vector<std::string>{".generation"});
}

TEST_F(LogLifecycle, AForkedChildLogsUnderItsOwnNumberAndBlock) {
  StartLog();
  g_DBGLog.Printf(0, u"parent");
  KillableProcess child([] {
    g_DBGLog.Printf(0, u"child");
    platform::NamedEvent none;
    platform::SharedBlock own;
    const bool hasBlock = platform::IsOpened(
        own.Open(Message(kLogConfigBlockName, static_cast<std::uint32_t>(::getpid())).view()));
    own.Close();
    StopLog();
    return hasBlock ? 0 : 1;
  });
  const pid_t pid = child.pid();
  EXPECT_EQ(child.Wait(), 0);
  g_DBGLog.Printf(0, u"parent again");
  StopLog();
  EXPECT_EQ(Messages(), (std::vector<std::string>{"parent", "child", "parent again"}));
  const std::string whole = testing::JoinLines(ReadLogLines(LogPath()));
  char number[16];
  std::snprintf(number, sizeof number, "   %05d   ", pid);
  EXPECT_NE(whole.find(number), std::string::npos);
}

TEST_F(LogLifecycle, AForkWhileOtherThreadsLogLeavesTheChildLogging) {
  StartLog();
  std::atomic<bool> isDone = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!isDone) g_DBGLog.Printf(0, u"noise");
    });
  }
  for (int round = 0; round < 20; ++round) {
    KillableProcess child([round] {
      g_DBGLog.Printf(0, u"child %d", round);
      StopLog();
      return 0;
    });
    EXPECT_EQ(child.Wait(), 0);
  }
  isDone = true;
  for (std::thread& thread : threads) thread.join();
  StopLog();
  std::vector<std::string> messages = Messages();
  std::erase(messages, "noise");
  ASSERT_EQ(messages.size(), 20u);
  for (int round = 0; round < 20; ++round)
    EXPECT_EQ(messages[static_cast<std::size_t>(round)], "child " + std::to_string(round));
}

// The mutex of the file dies with the parent, so nobody is told that it was abandoned.
TEST_F(LogLifecycle, AForkedChildEndsTheLineThatItsParentDiedIn) {
  KillableProcess parent([this] {
    StartLog();
    g_DBGLog.Printf(0, u"parent");
    int gate[2];
    if (::pipe(gate) != 0) return 1;
    if (::fork() == 0) {
      ::close(gate[1]);
      char end;
      if (::read(gate[0], &end, 1) != 0) ::_exit(1);  // the parent is gone
      g_DBGLog.Printf(0, u"child");
      KillableProcess::Say();
      ::_exit(0);
    }
    ::close(gate[0]);
    std::ofstream(LogPath(), std::ios::app | std::ios::binary) << std::string("t\0o\0r\0n", 7);
    ::kill(::getpid(), SIGKILL);
    return 0;
  });
  ASSERT_TRUE(parent.Await());
  EXPECT_EQ(parent.Wait(), -1);
  EXPECT_EQ(Messages(), (std::vector<std::string>{"parent", "child"}));
}

// The first message opens everything and writes the summary, and needs the most stack.
TEST_F(LogLifecycle, ACallNeedsFarLessThan64KiBOfStack) {
  if (testing::kSanitized) GTEST_SKIP() << "instrumented code needs more";
  StartLog();
  platform::NamedEvent gate;
  ASSERT_TRUE(platform::IsOpened(gate.Create(kLogSwitchName, platform::EventReset::kManual)));
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 48 * 1024), 0);
  pthread_t thread;
  const auto work = [](void*) -> void* {
    g_DBGLog.Printf(0, u"little %s", u"room");
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, work, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  StopLog();
  EXPECT_EQ(Messages(), std::vector<std::string>{"little room"});
}

}  // namespace
}  // namespace sbx
