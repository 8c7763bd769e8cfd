// Processes that are killed at each step of making, using and dropping what they share: whoever is left goes
// on, and nothing is left lying about.
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "diag/file_output.h"
#include "diag/log_config.h"
#include "diag/log_share_memory.h"
#include "platform/named_objects.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"
#include "support/sanitizers.h"
#include "support/traced_process.h"
#include "workers.h"

namespace sbx {
namespace {

namespace fs = std::filesystem;
using platform::IsOpened;
using platform::NamedEvent;
using platform::NamedMutex;
using platform::SharedBlock;
using platform::WaitResult;
using testing::CountSteps;
using testing::KillAtStep;
using testing::Steps;

// Every step in a release run, some of them otherwise.
long Stride(long usual) {
  return testing::IsReleaseRun() ? 1 : usual;
}

class KilledHolders : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!testing::CanTrace()) GTEST_SKIP() << "no tracing here";
  }
  // Under a sanitizer most instructions are its own.
  static bool CanStepInstructions() { return !testing::kSanitized; }
  std::size_t FilesLeft() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(sandbox_.runtime()))
      if (entry.path().filename() != ".generation") ++count;
    return count;
  }
  testing::LogSandbox sandbox_{testing::LogSandbox::Place::kMemory};
};

// --- The three kinds of named objects
// ------------------------------------------------------------------------

constexpr std::size_t kBlockBytes = 9000;

int UseMutex() {
  CountSteps();
  NamedMutex mutex;
  if (!IsOpened(mutex.Create(u"o")) || mutex.Wait(1000) == WaitResult::kTimeout) return 1;
  mutex.Wait(0);
  mutex.Release();
  mutex.Release();
  NamedMutex second;
  return IsOpened(second.Open(u"o")) ? 0 : 2;
}
void CheckMutex(const char* why, long step) {
  NamedMutex mutex;
  ASSERT_TRUE(IsOpened(mutex.Create(u"o"))) << why << step;
  const WaitResult result = mutex.Wait(1000);
  EXPECT_TRUE(result == WaitResult::kObtained || result == WaitResult::kAbandoned) << why << step;
  mutex.Release();
  EXPECT_EQ(mutex.Wait(0), WaitResult::kObtained) << why << step;
  mutex.Release();
}

int UseEvent() {
  CountSteps();
  NamedEvent event;
  if (!IsOpened(event.Create(u"o", platform::EventReset::kAuto))) return 1;
  event.Set();
  if (event.Wait(1000) != WaitResult::kObtained) return 2;
  event.Wait(1);
  return platform::EventExists(u"o") ? 0 : 3;
}
void CheckEvent(const char* why, long step) {
  NamedEvent event;
  ASSERT_TRUE(IsOpened(event.Create(u"o", platform::EventReset::kAuto))) << why << step;
  event.Reset();
  EXPECT_EQ(event.Wait(0), WaitResult::kTimeout) << why << step;
  event.Set();
  EXPECT_EQ(event.Wait(0), WaitResult::kObtained) << why << step;
}

int UseBlock() {
  CountSteps();
  SharedBlock block;
  if (!IsOpened(block.Create(u"o", kBlockBytes))) return 1;
  auto* bytes = static_cast<char*>(block.Map(kBlockBytes));
  if (bytes == nullptr) return 2;
  bytes[kBlockBytes - 1] = 'x';
  SharedBlock second;
  return IsOpened(second.Open(u"o")) ? 0 : 3;
}
void CheckBlock(const char* why, long step) {
  SharedBlock block;
  ASSERT_TRUE(IsOpened(block.Create(u"o", kBlockBytes))) << why << step;
  const auto* bytes = static_cast<const char*>(block.Map(kBlockBytes));
  ASSERT_NE(bytes, nullptr) << why << step;
  EXPECT_EQ(std::count(bytes, bytes + kBlockBytes - 1, 0), static_cast<long>(kBlockBytes) - 1);
  EXPECT_TRUE(bytes[kBlockBytes - 1] == 0 || bytes[kBlockBytes - 1] == 'x');
}

struct Kind {
  const char* name;
  int (*use)();
  void (*check)(const char* why, long step);
};
constexpr Kind kKinds[] = {{"mutex, step ", &UseMutex, &CheckMutex},
                           {"event, step ", &UseEvent, &CheckEvent},
                           {"block, step ", &UseBlock, &CheckBlock}};

TEST_F(KilledHolders, AtEachSystemCallOfAnObjectsLife) {
  for (const Kind& kind : kKinds) {
    long step = 0;
    for (; KillAtStep(kind.use, Steps::kSystemCalls, step); ++step) {
      kind.check(kind.name, step);
      SharedBlock sweeper;
      EXPECT_TRUE(IsOpened(sweeper.Create(u"sweeper", 1)));
      sweeper.Close();
      EXPECT_EQ(FilesLeft(), 0u) << kind.name << step;
    }
    EXPECT_GT(step, 30) << kind.name;
  }
}

// The same while another process, this one, has the object open.
TEST_F(KilledHolders, AtEachSystemCallBesideAnotherHolder) {
  NamedMutex mutex;
  NamedEvent event;
  SharedBlock block;
  const auto hold = [&](const Kind& kind) {
    if (kind.use == &UseMutex) return mutex.Create(u"o");
    if (kind.use == &UseEvent) return event.Create(u"o", platform::EventReset::kAuto);
    return block.Create(u"o", kBlockBytes);
  };
  for (const Kind& kind : kKinds) {
    ASSERT_EQ(hold(kind), platform::ObjectStatus::kOk);
    for (long step = 0; KillAtStep(kind.use, Steps::kSystemCalls, step); ++step) {
      kind.check(kind.name, step);
      EXPECT_EQ(FilesLeft(), 1u) << kind.name << step;
    }
    mutex.Close();
    event.Close();
    block.Close();
    EXPECT_EQ(FilesLeft(), 0u) << kind.name;
  }
}

// Between system calls a mutex changes hands in shared memory alone.
TEST_F(KilledHolders, AtEachInstructionOfTakingAndReleasingAMutex) {
  if (!CanStepInstructions()) GTEST_SKIP();
  NamedMutex holder;
  ASSERT_TRUE(IsOpened(holder.Create(u"o")));
  const auto use = [] {
    NamedMutex mutex;
    if (!IsOpened(mutex.Open(u"o"))) return 1;
    CountSteps();
    const WaitResult result = mutex.Wait(1000);
    mutex.Release();
    return result == WaitResult::kTimeout ? 2 : 0;
  };
  long abandoned = 0;
  for (long step = 0; KillAtStep(use, Steps::kInstructions, step); step += Stride(11)) {
    const WaitResult result = holder.Wait(1000);
    ASSERT_TRUE(result == WaitResult::kObtained || result == WaitResult::kAbandoned) << step;
    if (result == WaitResult::kAbandoned) ++abandoned;
    holder.Release();
  }
  EXPECT_GT(abandoned, 0);
}

TEST_F(KilledHolders, AtEachInstructionOfSettingAndTakingAnEvent) {
  if (!CanStepInstructions()) GTEST_SKIP();
  NamedEvent holder;
  ASSERT_TRUE(IsOpened(holder.Create(u"o", platform::EventReset::kAuto)));
  const auto use = [] {
    NamedEvent event;
    if (!IsOpened(event.Open(u"o"))) return 1;
    CountSteps();
    event.Set();
    event.Wait(0);
    return 0;
  };
  for (long step = 0; KillAtStep(use, Steps::kInstructions, step); step += Stride(17)) {
    holder.Wait(0);
    EXPECT_EQ(holder.Wait(0), WaitResult::kTimeout) << step;
    holder.Set();
    EXPECT_EQ(holder.Wait(1000), WaitResult::kObtained) << step;
  }
}

// --- The ring ----------------------------------------------------------------------------------------------

// What is numbered is whole, whenever the writer dies, and the ring goes on.
TEST_F(KilledHolders, AtTheStepsOfPuttingAMessageIntoTheRing) {
  if (!CanStepInstructions()) GTEST_SKIP();
  NamedEvent listener;
  ASSERT_TRUE(IsOpened(listener.Create(WideString(kLiveEventName) + u"HOST", platform::EventReset::kAuto)));
  CLogShareMemory ring(u"host");
  ASSERT_EQ(ring.Create(), 1);
  const WideString text(1000, u'w');
  const auto use = [&] {
    CLogShareMemory writer(u"host");
    if (writer.Create() == 0) return 1;
    CountSteps();
    return writer.Write(0, 0, u"m", text) == 1 ? 0 : 2;
  };
  long step = 0;
  for (; KillAtStep(use, Steps::kInstructions, step); step += Stride(397)) {
    ASSERT_EQ(ring.Write(0, 0, u"m", text), 1) << step;
    std::vector<CLogMessage*> messages;
    ASSERT_EQ(ring.Read(messages), 1);
    EXPECT_GE(messages.size(), 1u) << step;
    EXPECT_LE(messages.size(), 2u) << step << ": the killed writer's, if it came so far";
    for (CLogMessage* message : messages) {
      EXPECT_EQ(message->GetText(), text) << step;
      EXPECT_EQ(message->GetProcessName(), u"HOST");
      message->Release();
    }
  }
  EXPECT_GT(step, 1000);
}

// --- The log file ------------------------------------------------------------------------------------------

using Lines = std::vector<std::string>;

class KilledFileWriters : public KilledHolders {
 protected:
  fs::path Log(const char* name = "libsbxml.so.Log") const { return sandbox_.logs() / name; }

  // A next process, which logs twice: the first message may find the mutex abandoned.
  static int LogTwice() {
    CLogConfig config;
    NSDBG::CFileOutput output(config);
    output.LogW(0, 0, u"next one");
    output.LogW(0, 0, u"next two");
    return 0;
  }
  static void RunNext() {
    EXPECT_FALSE(KillAtStep(
        [] {
          CountSteps();
          return LogTwice();
        },
        Steps::kSystemCalls, -1));
  }

  // The messages in the file; what is neither message nor summary goes to `torn`.
  Lines Messages(const fs::path& log, Lines* torn) const {
    Lines messages;
    std::size_t summary = 0;
    for (const std::string& line : testing::ReadLogLines(log)) {
      std::string message;
      if (testing::MessageOfLine(line, &message)) {
        messages.push_back(message);
      } else if (testing::IsSummaryLine(line, summary)) {
        ++summary;
      } else {
        torn->push_back(line);
      }
    }
    return messages;
  }
};

TEST_F(KilledFileWriters, AtEachSystemCallFromTheFirstMessageToTheEnd) {
  const auto use = [] {
    CLogConfig config;
    CountSteps();
    NSDBG::CFileOutput output(config);
    output.LogW(0, 0, u"one");
    output.LogW(0, 0, u"two");
    return 0;
  };
  long step = 0;
  for (; KillAtStep(use, Steps::kSystemCalls, step); ++step) {
    RunNext();
    Lines torn;
    Lines messages = Messages(Log(), &torn);
    EXPECT_EQ(torn, Lines{}) << step;  // a line is one system call
    ASSERT_GE(messages.size(), 2u) << step;
    EXPECT_EQ(Lines(messages.end() - 2, messages.end()), (Lines{"next one", "next two"}))
        << "nobody else held the mutex, so it was not abandoned, at step " << step;
    messages.resize(messages.size() - 2);
    EXPECT_TRUE(messages == Lines{} || messages == Lines{"one"} || messages == (Lines{"one", "two"})) << step;
    fs::remove_all(sandbox_.logs());
  }
  EXPECT_GT(step, 100);
}

// A writer that stops after each byte of what it writes, by a limit of the file's size, and is killed there,
// holding the mutex. `isHeldByOthers` decides between the two ways in which the next one notices.
class TornFiles : public KilledFileWriters {
 protected:
  void RunWith(std::uintmax_t bytes, bool isHeldByOthers, bool isNarrow) {
    // A writer that has the file open already and waits for its mutex.
    CLogConfig ownConfig;
    NSDBG::CFileOutput other(ownConfig);
    if (isHeldByOthers) {
      other.LogW(0, 0, u"zero");
      fs::resize_file(Log(), 0);
    }
    if (isNarrow) {
      fs::create_directories(sandbox_.logs());
      std::ofstream(Log(), std::ios::binary) << "old\r\n";
    }
    const auto use = [&] {
      NamedMutex mutex;  // made before the limit, which would hit it too
      if (!IsOpened(mutex.Create(MutexName()))) return 1;
      CLogConfig config;
      NSDBG::CFileOutput output(config);
      const rlimit limit = {bytes, bytes};
      ::setrlimit(RLIMIT_FSIZE, &limit);
      CountSteps();
      output.LogW(0, 0, u"a\nb\u010A");
      return 0;
    };
    const auto isTorn = [&](long) {
      std::error_code missing;
      const std::uintmax_t size = fs::file_size(Log(), missing);
      return !missing && size >= bytes;
    };
    EXPECT_TRUE(testing::KillWhen(use, Steps::kSystemCalls, isTorn)) << bytes;
    ASSERT_EQ(fs::file_size(Log()), bytes);
    if (isHeldByOthers) {
      other.LogW(0, 0, u"next one");
      other.LogW(0, 0, u"next two");
    } else {
      RunNext();
    }
    // The writer was killed in its first call that reached the size: behind a whole line nothing is torn.
    Lines torn;
    const Lines messages = Messages(Log(), &torn);
    ASSERT_GE(messages.size(), 1u) << bytes;
    EXPECT_EQ(messages.back(), "next two") << bytes;
    const bool hasFirst = messages.size() > 1 && messages[messages.size() - 2] == "next one";
    EXPECT_EQ(hasFirst, !isHeldByOthers) << bytes;
    EXPECT_LE(torn.size(), isNarrow ? 2u : 1u) << bytes << ": " << testing::JoinLines(torn);
    for (const std::string& line : torn) EXPECT_EQ(line.find("next"), std::string::npos) << line;
    fs::remove_all(sandbox_.logs());
  }

  WideString MutexName() const {
    WideString name = Log().u16string();
    std::transform(name.begin(), name.end(), name.begin(), AsciiUpper);
    return u"Global\\" + name;
  }

  // The size of the file with its one line.
  std::uintmax_t WholeSize() {
    {
      CLogConfig config;
      NSDBG::CFileOutput(config).LogW(0, 0, u"a\nb\u010A");
    }
    const std::uintmax_t size = fs::file_size(Log());
    fs::remove_all(sandbox_.logs());
    return size;
  }
};

TEST_F(TornFiles, AfterEachByteOfANewFile) {
  const std::uintmax_t whole = WholeSize();
  for (const bool isHeldByOthers : {true, false}) {
    for (std::uintmax_t bytes = 1; bytes <= whole;) {
      RunWith(bytes, isHeldByOthers, false);
      // The summary's lines are like one another.
      const bool isInside = bytes > 40 && bytes + 260 < whole;
      bytes += isInside ? static_cast<std::uintmax_t>(Stride(31)) : 1;
    }
  }
}

TEST_F(TornFiles, AfterEachByteOfANarrowLine) {
  fs::create_directories(sandbox_.logs());
  std::ofstream(Log(), std::ios::binary) << "old\r\n";
  const std::uintmax_t whole = WholeSize();
  for (const bool isHeldByOthers : {true, false}) {
    for (std::uintmax_t bytes = 6; bytes <= whole; ++bytes) RunWith(bytes, isHeldByOthers, true);
  }
}

}  // namespace
}  // namespace sbx
