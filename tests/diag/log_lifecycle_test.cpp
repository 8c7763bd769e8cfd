#include "diag/log_lifecycle.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "diag/live_channel_format.h"
#include "log_lifecycle_fixture.h"
#include "support/killable_process.h"

namespace sbx {
namespace {

using testing::KillableProcess;

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
  platform::SharedBlock block;
  EXPECT_EQ(block.Open(Message(kLogConfigBlockName, platform::CurrentProcessId()).view()),
            platform::ObjectStatus::kNotFound);
  fs::remove_all(sandbox_.logs());  // nobody has the file open
  EXPECT_FALSE(fs::exists(sandbox_.logs()));
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
  const std::uint32_t pid = platform::CurrentProcessId();
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
  if (KillableProcess::IsParent()) StartLog();
  KillableProcess tool([] {
    platform::NamedEvent gate;
    gate.Create(kLogSwitchName, platform::EventReset::kManual);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(tool.Await());
  EXPECT_TRUE(g_DBGLog.IsWanted(4));
  tool.Kill();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_FALSE(g_DBGLog.IsWanted(4));
  StopLog();
}

}  // namespace
}  // namespace sbx
