#include "diag/log_lifecycle.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>
#include <vector>

#include "diag/dbg_log_facade.h"
#include "diag/file_output.h"
#include "diag/live_channel_format.h"
#include "support/killable_process.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"
#include "support/sanitizers.h"

namespace sbx {
namespace {

using testing::KillableProcess;
using testing::ReadLogLines;
namespace fs = std::filesystem;

class LogLifecycle : public ::testing::Test {
 protected:
  fs::path LogPath() const { return sandbox_.logs() / "libsbxml.so.Log"; }
  // The messages of the log, without prefix and tail.
  std::vector<std::string> Messages() const { return testing::MessagesOf(LogPath()); }

  testing::LogSandbox sandbox_;
};

TEST_F(LogLifecycle, StartTouchesNoFile) {
  StartLog();
  EXPECT_NE(g_DBGLog.fileOutput, nullptr);
  EXPECT_NE(g_DBGLog.smOutput, nullptr);
  EXPECT_FALSE(fs::exists(sandbox_.logs()));
  StopLog();
}

TEST_F(LogLifecycle, TheFirstWantedMessageOpensTheFile) {
  StartLog();
  EXPECT_EQ(g_DBGLog.Printf(3, u"silent"), 1);
  EXPECT_FALSE(fs::exists(LogPath()));
  EXPECT_EQ(g_DBGLog.Printf(2, u"hello %s %d", u"world", 5), 1);
  StopLog();
  EXPECT_EQ(Messages(), std::vector<std::string>{"hello world 5"});
}

TEST_F(LogLifecycle, AfterStopNothingIsWrittenAndNothingIsLeft) {
  StartLog();
  g_DBGLog.Printf(0, u"before");
  StopLog();
  EXPECT_EQ(g_DBGLog.fileOutput, nullptr);
  EXPECT_EQ(g_DBGLog.smOutput, nullptr);
  EXPECT_EQ(g_DBGLog.Printf(0, u"after"), 1);
  EXPECT_EQ(Messages(), std::vector<std::string>{"before"});
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(sandbox_.runtime()))
    left.push_back(entry.path().filename());
  EXPECT_EQ(left, std::vector<std::string>{".generation"});
}

TEST_F(LogLifecycle, ItCanBeStartedAgain) {
  for (int i = 0; i < 3; ++i) {
    StartLog();
    StartLog();
    g_DBGLog.Printf(0, u"round %d", i);
    StopLog();
    StopLog();
  }
  EXPECT_EQ(Messages(), (std::vector<std::string>{"round 0", "round 1", "round 2"}));
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

TEST_F(LogLifecycle, StoppingWhileOthersLogIsSafe) {
  for (int round = 0; round < 30; ++round) {
    StartLog();
    std::atomic<bool> isDone = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        while (!isDone) {
          g_DBGLog.Printf(4, u"silent");
          g_DBGLog.Printf(0, u"loud");
        }
      });
    }
    std::this_thread::yield();
    StopLog();
    isDone = true;
    for (std::thread& thread : threads) thread.join();
  }
  for (const std::string& message : Messages()) EXPECT_EQ(message, "loud");
}

TEST_F(LogLifecycle, LevelsAndPathsChangedUnderLoadLoseNoLine) {
  StartLog();
  std::atomic<int> left = 3;
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 300; ++i) {
        g_DBGLog.Printf(0, u"%d-%d", t, i);
        g_DBGLog.Printf(4, u"detail");
      }
      --left;
    });
  }
  platform::SharedBlock tool;
  platform::NamedMutex mutex;
  const auto pid = static_cast<std::uint32_t>(::getpid());
  ASSERT_TRUE(platform::IsOpened(tool.Open(Message(kLogConfigBlockName, pid).view())));
  ASSERT_TRUE(platform::IsOpened(mutex.Open(Message(kLogConfigMutexName, pid).view())));
  auto& record = static_cast<LOGCFG_BLOCK*>(tool.Map(sizeof(LOGCFG_BLOCK)))->modules[0];
  fs::create_directories(sandbox_.logs());
  for (int round = 0; left > 0; ++round) {
    const platform::MutexScope scope(mutex, 5000);
    if (scope.result() != platform::WaitResult::kObtained) continue;
    std::atomic_ref(record.level).store(round % 5);
    const fs::path moved = sandbox_.logs() / (round % 2 == 0 ? "one.Log" : "two.Log");
    CopyTruncated(record.path, 512, moved.u16string());
  }
  for (std::thread& thread : threads) thread.join();
  StopLog();
  std::vector<std::string> messages;
  for (const auto& file : fs::directory_iterator(sandbox_.logs())) {
    for (std::string& message : testing::MessagesOf(file.path())) messages.push_back(std::move(message));
  }
  std::erase(messages, "detail");
  std::sort(messages.begin(), messages.end());
  EXPECT_EQ(messages.size(), 900u);
  EXPECT_EQ(std::unique(messages.begin(), messages.end()), messages.end());
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

TEST_F(LogLifecycle, TheSwitchIsSeenByTheNextMessage) {
  StartLog();
  EXPECT_FALSE(g_DBGLog.IsWanted(4));
  {
    platform::NamedEvent gate;
    ASSERT_EQ(gate.Create(kLogSwitchName, platform::EventReset::kManual), platform::ObjectStatus::kOk);
    EXPECT_TRUE(g_DBGLog.IsWanted(4));
    EXPECT_TRUE(g_DBGLog.IsWanted(9999));
    EXPECT_FALSE(g_DBGLog.IsWanted(10000));
  }
  EXPECT_FALSE(g_DBGLog.IsWanted(4));
  StopLog();
}

TEST_F(LogLifecycle, AKilledToolsSwitchIsGoneASecondLater) {
  StartLog();
  KillableProcess tool([] {
    platform::NamedEvent gate;
    gate.Create(kLogSwitchName, platform::EventReset::kManual);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(tool.Await());
  EXPECT_TRUE(g_DBGLog.IsWanted(4));
  tool.Kill();
  ::usleep(1'000'000);
  EXPECT_FALSE(g_DBGLog.IsWanted(4));
  StopLog();
}

}  // namespace
}  // namespace sbx
