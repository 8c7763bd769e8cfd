// The live channel between processes: many writers, one slow reader, and a tool with breakpoints.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "diag/breakpoints.h"
#include "diag/live_channel_format.h"
#include "diag/log_share_memory.h"
#include "platform/named_objects.h"
#include "support/killable_process.h"
#include "support/log_sandbox.h"
#include "support/worker_lines.h"
#include "support/worker_process.h"
#include "workers.h"

namespace sbx {
namespace {

using platform::IsOpened;
using platform::NamedEvent;
using testing::KillableProcess;
using testing::StartWorker;
using testing::WaitForWorker;

using testing::Worker;

WideString UpperCase(WideString text) {
  std::transform(text.begin(), text.end(), text.begin(), AsciiUpper);
  return text;
}

class LiveChannel : public ::testing::Test {
 protected:
  // The tool's order of work.
  void TurnOn() {
    ASSERT_TRUE(IsOpened(listener_.Create(kLiveEventName + workerName_, platform::EventReset::kAuto)));
    ASSERT_TRUE(IsOpened(switch_.Create(kLogSwitchName, platform::EventReset::kManual)));
  }
  void AttachAfterTheFirstSignal() {
    ASSERT_EQ(listener_.Wait(20'000), platform::WaitResult::kObtained);
    ring_.Attach();
    ASSERT_TRUE(ring_.IsAttached());
  }

  struct Reading {
    std::int64_t lost = 0;
    std::vector<testing::WorkerLine> lines;  // without doubled ones
  };
  // One reading. The doubled records of a reader that fell behind are dropped, and what is missing is told
  // from the index.
  void Read(Reading* reading) {
    std::vector<CLogMessage*> messages;
    ASSERT_EQ(ring_.Read(messages), 1);
    const std::size_t fresh = std::min(messages.size(), kLiveSlots);
    reading->lost = static_cast<std::int64_t>(messages.size() - fresh);
    for (std::size_t i = 0; i < messages.size(); ++i) {
      const WideString wide = messages[i]->GetText();
      EXPECT_EQ(messages[i]->GetProcessName(), workerName_);
      testing::WorkerLine line;
      EXPECT_TRUE(testing::ParseWorkerText(std::string(wide.begin(), wide.end()), &line));
      EXPECT_EQ(messages[i]->GetProcessId(), testing::ProcessOf(line.worker));
      if (i + fresh >= messages.size()) reading->lines.push_back(line);
      messages[i]->Release();
    }
  }

  testing::LogSandbox sandbox_;
  NamedEvent listener_;
  NamedEvent switch_;
  const WideString workerName_ = UpperCase(testing::WorkerProgram());
  CLogShareMemory ring_{workerName_};
};

TEST_F(LiveChannel, WrappedManyTimesUnderASlowReaderLosesOnlyWhatTheIndicesTell) {
  constexpr long long kLines = 500;
  TurnOn();
  std::vector<Worker> writers;
  for (int i = 0; i < 8; ++i)
    writers.push_back(StartWorker("channel", sandbox_.root(), {"4", std::to_string(kLines), "0"}));
  AttachAfterTheFirstSignal();

  std::int64_t lost = 0;
  std::int64_t taken = 0;
  std::map<std::pair<int, int>, long long> last;
  const auto take = [&] {
    Reading reading;
    Read(&reading);
    lost += reading.lost;
    taken += static_cast<std::int64_t>(reading.lines.size());
    for (const testing::WorkerLine& line : reading.lines) {
      const auto [known, isNew] = last.try_emplace({line.worker, line.thread}, line.number);
      EXPECT_TRUE(isNew || known->second < line.number) << "each thread's lines come in order and once";
      known->second = line.number;
    }
  };
  const std::int64_t all = 8 * 4 * kLines;
  std::int64_t readIndex = -1;
  std::int64_t writeIndex = -1;
  while (readIndex < all - 1) {
    // So slow that the ring is wrapped between two readings.
    const std::int64_t wanted = std::min(all - 1, readIndex + 2500);
    do {
      std::this_thread::yield();
      ASSERT_TRUE(ring_.ReadIndices(&readIndex, &writeIndex));
    } while (writeIndex < wanted);
    take();
    ASSERT_TRUE(ring_.ReadIndices(&readIndex, &writeIndex));
  }
  for (const Worker writer : writers) EXPECT_EQ(WaitForWorker(writer), 0);
  EXPECT_EQ(taken + lost, all);
  EXPECT_GT(lost, 5000);
  for (const auto& [writer, number] : last) EXPECT_LT(number, kLines);
}

// A writer that dies with the channel's mutex stops nobody, and every record that has a number is whole.
TEST_F(LiveChannel, KilledWritersTearNothingAndStopNobody) {
  const int kills = testing::KillsAsked(200) > 2000 ? 2000 : testing::KillsAsked(200);
  std::mt19937 random(7);
  TurnOn();
  const auto start = [&] { return StartWorker("trickle", sandbox_.root(), {"4", "-1", "0"}); };
  const Worker stayer = start();
  Worker victims[] = {start(), start()};
  AttachAfterTheFirstSignal();
  std::int64_t taken = 0;
  const auto take = [&] {
    Reading reading;
    Read(&reading);
    taken += static_cast<std::int64_t>(reading.lines.size());
  };
  for (int i = 0; i < kills && !HasFatalFailure(); ++i) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    take();
    Worker& victim = victims[i % 2];
    testing::KillWorker(victim);
    EXPECT_EQ(WaitForWorker(victim), testing::kWasKilled);
    take();
    victim = start();
  }
  std::ofstream(sandbox_.root() / "stop");
  EXPECT_EQ(WaitForWorker(stayer), 0);
  for (const Worker victim : victims) EXPECT_EQ(WaitForWorker(victim), 0);
  EXPECT_GT(taken, kills);
}

// --- Breakpoints -------------------------------------------------------------------------------------------

// A host is a worker; a tool is this process or a child.
class HeldHosts : public ::testing::Test {
 protected:
  // What a tool with breakpoints owns.
  struct Tool {
    platform::NamedMutex mutex;
    platform::SharedBlock mapping;
    NamedEvent signal, listener, gate;
    BREAKPOINT_BLOCK* block = nullptr;

    bool Make(const WideString& executable) {
      const WideString ring = UpperCase(executable);
      if (!IsOpened(mutex.Create(kBreakpointMutexName)) ||
          !IsOpened(mapping.Create(kBreakpointBlockName, sizeof(BREAKPOINT_BLOCK))) ||
          !IsOpened(signal.Create(kBreakpointSignalName, platform::EventReset::kAuto)) ||
          !IsOpened(listener.Create(kLiveEventName + ring, platform::EventReset::kAuto)) ||
          !IsOpened(gate.Create(kLogSwitchName, platform::EventReset::kManual))) {
        return false;
      }
      block = static_cast<BREAKPOINT_BLOCK*>(mapping.Map(sizeof(BREAKPOINT_BLOCK)));
      if (block == nullptr) return false;
      const platform::MutexScope scope(mutex, 5000);
      block->entries[0].id.bytes.fill(1);
      block->entries[0].enabled = 1;
      CopyTruncated(block->entries[0].processName, 260, executable);
      CopyTruncated(block->entries[0].text, 1024, u"stop");
      block->count = 1;
      return true;
    }
    // Waits for a hit and empties its slot.
    BREAKPOINT_HIT TakeHit() {
      for (;;) {
        {
          const platform::MutexScope scope(mutex, 5000);
          for (BREAKPOINT_HIT& hit : block->hits) {
            if (!hit.breakpointId.IsNil()) return std::exchange(hit, {});
          }
        }
        if (signal.Wait(20'000) != platform::WaitResult::kObtained) return {};
      }
    }
    static bool Release(const BREAKPOINT_HIT& hit) {
      const WideString id = UpperCase(platform::UuidToText(hit.hitId));
      // A thread that wrote its hit makes the event before it gives the signal; the slot may be seen earlier.
      for (int i = 0; i < 2000; ++i) {
        NamedEvent release;
        if (IsOpened(release.Open(kBreakpointReleaseName + id))) {
          release.Set();
          return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      return false;
    }
  };

  // A worker that logs what holds it.
  class Host {
   public:
    Host(const testing::LogSandbox& sandbox, const char* command)
        : worker_(StartWorker(command, sandbox.root(), {})),
          page_(testing::OpenProgress(sandbox.root().string(), worker_)) {}
    ~Host() { testing::CloseProgress(page_); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    std::uint32_t process() const { return testing::ProcessOf(worker_); }
    std::uint32_t thread() const { return static_cast<std::uint32_t>(Told(1)); }
    // Whether its call is through, or that of the thread beside it.
    bool HasSaid() const { return Told(0) != 0; }
    bool Await() const {
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (!HasSaid() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
      return HasSaid();
    }
    void Kill() const {
      testing::KillWorker(worker_);
      Wait();
    }
    int Wait() const { return WaitForWorker(worker_); }

   private:
    std::int64_t Told(std::size_t place) const { return std::atomic_ref(page_->done[place]).load(); }
    Worker worker_;
    testing::ProgressPage* page_;
  };

  testing::LogSandbox sandbox_;
};

TEST_F(HeldHosts, AreReleasedOneByOne) {
  Tool tool;
  ASSERT_TRUE(tool.Make(testing::WorkerProgram()));
  const Host first(sandbox_, "stop");
  const BREAKPOINT_HIT firstHit = tool.TakeHit();
  EXPECT_EQ(firstHit.processId, first.process());
  EXPECT_EQ(firstHit.threadId, first.thread());
  const Host second(sandbox_, "stop");
  const BREAKPOINT_HIT secondHit = tool.TakeHit();
  EXPECT_EQ(secondHit.processId, second.process());
  EXPECT_FALSE(firstHit.hitId == secondHit.hitId);

  EXPECT_TRUE(Tool::Release(secondHit));
  EXPECT_EQ(second.Wait(), 0);
  EXPECT_FALSE(first.HasSaid());
  EXPECT_TRUE(Tool::Release(firstHit));
  EXPECT_EQ(first.Wait(), 0);
}

TEST_F(HeldHosts, HaveOtherThreadsThatLogOn) {
  Tool tool;
  ASSERT_TRUE(tool.Make(testing::WorkerProgram()));
  const Host host(sandbox_, "beside");
  const BREAKPOINT_HIT hit = tool.TakeHit();
  EXPECT_TRUE(host.Await());
  EXPECT_TRUE(Tool::Release(hit));
  EXPECT_EQ(host.Wait(), 0);
}

TEST_F(HeldHosts, GoOnWhenTheSwitchIsWithdrawn) {
  Tool tool;
  ASSERT_TRUE(tool.Make(testing::WorkerProgram()));
  const Host host(sandbox_, "stop");
  ASSERT_FALSE(tool.TakeHit().hitId.IsNil());
  tool.gate.Close();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << "about five";
}

TEST_F(HeldHosts, GoOnWhenTheToolIsKilled) {
  KillableProcess tool([] {
    Tool own;
    if (!own.Make(testing::WorkerProgram())) return 1;
    KillableProcess::Say();
    if (own.TakeHit().hitId.IsNil()) return 2;
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(tool.Await());
  const Host host(sandbox_, "stop");
  ASSERT_TRUE(tool.Await());
  EXPECT_FALSE(host.HasSaid());
  tool.Kill();
  EXPECT_EQ(host.Wait(), 0);
}

// The hit stays in its slot; a next thread and the tool go on.
TEST_F(HeldHosts, ThatAreKilledHarmNobody) {
  Tool tool;
  ASSERT_TRUE(tool.Make(testing::WorkerProgram()));
  const Host host(sandbox_, "stop");
  const BREAKPOINT_HIT hit = tool.TakeHit();
  host.Kill();
  const WideString id = UpperCase(platform::UuidToText(hit.hitId));
  EXPECT_FALSE(platform::EventExists(kBreakpointReleaseName + id)) << "gone with its only holder";
  const Host next(sandbox_, "stop");
  EXPECT_TRUE(Tool::Release(tool.TakeHit()));
  EXPECT_EQ(next.Wait(), 0);
}

}  // namespace
}  // namespace sbx
