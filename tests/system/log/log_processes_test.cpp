// Many processes with many threads in one log: every line whole, each once, whoever is killed.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <thread>

#include "base/format.h"
#include "diag/log_config_format.h"
#include "platform/named_objects.h"
#include "support/host_system.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"
#include "support/worker_lines.h"
#include "support/worker_process.h"
#include "workers.h"

namespace sbx {
namespace {

namespace fs = std::filesystem;
using testing::kIsWindows;
using testing::StartWorker;
using testing::WaitForWorker;
using testing::Worker;
using testing::WorkerLine;

constexpr char kFullSize[] = "104857600";

using Writer = std::pair<Worker, int>;  // and its thread

// All lines of a log and its siblings, by writer, and those that are no whole ones.
struct Found {
  std::map<Writer, std::multiset<long long>> numbers;
  std::vector<std::string> torn;
  std::size_t files = 0;
};
Found ReadAll(const fs::path& logs) {
  Found found;
  for (const auto& entry : fs::directory_iterator(logs)) {
    ++found.files;
    std::size_t summary = 0;
    for (const std::string& text : testing::ReadLogLines(entry.path())) {
      std::string message;
      WorkerLine line;
      if (testing::MessageOfLine(text, &message) && testing::ParseWorkerText(message, &line)) {
        found.numbers[{line.worker, line.thread}].insert(line.number);
      } else if (testing::IsSummaryLine(text, summary)) {
        ++summary;
      } else {
        found.torn.push_back(text);
      }
    }
  }
  return found;
}

void ExpectEachLineOnce(const fs::path& logs, std::size_t writers, long long lines) {
  const Found found = ReadAll(logs);
  EXPECT_TRUE(found.torn.empty()) << found.torn.front();
  EXPECT_EQ(found.numbers.size(), writers);
  for (const auto& [writer, numbers] : found.numbers) {
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(lines));
    EXPECT_EQ(std::set<long long>(numbers.begin(), numbers.end()).size(), static_cast<std::size_t>(lines));
    EXPECT_EQ(*numbers.begin(), 0);
    EXPECT_EQ(*numbers.rbegin(), lines - 1);
  }
}

// The log of the workers and its siblings are named after the module in which the log's code lies.
std::string WorkerModule() {
  return kIsWindows ? fs::path(testing::WorkerProgram()).string() : "libsbxml.so";
}

void RunEightWritersOfFourThreads(const fs::path& root, const std::string& lines, const std::string& full) {
  std::vector<Worker> writers;
  for (int i = 0; i < 8; ++i) writers.push_back(StartWorker("file", root, {"4", lines, full}));
  for (const Worker writer : writers) EXPECT_EQ(WaitForWorker(writer), 0);
}

TEST(LogProcesses, EightWritersOfFourThreadsLoseAndTearNothing) {
  const testing::LogSandbox sandbox;
  RunEightWritersOfFourThreads(sandbox.root(), "200", kFullSize);
  ExpectEachLineOnce(sandbox.logs(), 32, 200);
}

TEST(LogProcesses, NorWhenTheFileIsFullEveryMoment) {
  const testing::LogSandbox sandbox;
  RunEightWritersOfFourThreads(sandbox.root(), "200", "20000");
  ExpectEachLineOnce(sandbox.logs(), 32, 200);
  EXPECT_GT(ReadAll(sandbox.logs()).files, 20u);
}

// The real limit, reached in the middle of the run by a file that is sparse up to there.
TEST(LogProcesses, NorAtTheRealLimit) {
  constexpr std::uintmax_t kStart = 104'857'600 - 200'000;
  const testing::LogSandbox sandbox;
  fs::create_directories(sandbox.logs());
  const fs::path first = sandbox.logs() / (WorkerModule() + ".Log");
  std::ofstream(first, std::ios::binary) << "\xFF\xFE";
  testing::ResizeSparse(first, kStart - 4);
  std::ofstream(first, std::ios::binary | std::ios::app) << std::string("\r\0\n\0", 4);
  RunEightWritersOfFourThreads(sandbox.root(), "200", kFullSize);
  EXPECT_GE(fs::file_size(first), 104'857'600u);
  EXPECT_TRUE(fs::exists(sandbox.logs() / (WorkerModule() + ".00000001.log")));

  // The zeros in front are cut off before the lines are read.
  std::ifstream sparse(first, std::ios::binary);
  sparse.seekg(kStart);
  const std::string tail{std::istreambuf_iterator<char>(sparse), {}};
  sparse.close();
  std::ofstream(first, std::ios::binary) << "\xFF\xFE" << tail;
  ExpectEachLineOnce(sandbox.logs(), 32, 200);
}

// --- Levels ------------------------------------------------------------------------------------------------

// A tool turns the details of another process on and off: what is handed over behind a change obeys it.
TEST(LogProcesses, ALevelChangedFromOutsideIsObeyedByTheNextMessage) {
  const testing::LogSandbox sandbox;
  const Worker worker = StartWorker("detail", sandbox.root(), {"1", "-1", kFullSize});
  testing::ProgressPage* const page = testing::OpenProgress(sandbox.root().string(), worker);
  ASSERT_NE(page, nullptr);
  const auto done = [&] { return std::atomic_ref(page->done[0]).load(); };
  const auto awaitMore = [&] {
    const std::int64_t wanted = done() + 50;
    while (done() < wanted) std::this_thread::yield();
  };
  awaitMore();
  platform::SharedBlock tool;
  ASSERT_TRUE(platform::IsOpened(tool.Open(Message(kLogConfigBlockName, testing::ProcessOf(worker)).view())));
  auto& record = static_cast<LOGCFG_BLOCK*>(tool.Map(sizeof(LOGCFG_BLOCK)))->modules[0];
  const std::int64_t before = done();
  std::atomic_ref(record.level).store(3);
  const std::int64_t on = done();  // the line of this number may have been under way
  awaitMore();
  const std::int64_t still = done();
  std::atomic_ref(record.level).store(2);
  const std::int64_t off = done();
  awaitMore();
  std::ofstream(sandbox.root() / "stop");
  EXPECT_EQ(WaitForWorker(worker), 0);
  testing::CloseProgress(page);

  const Found found = ReadAll(sandbox.logs());
  EXPECT_TRUE(found.torn.empty()) << found.torn.front();
  ASSERT_EQ(found.numbers.size(), 1u);
  const std::multiset<long long>& numbers = found.numbers.begin()->second;
  EXPECT_GE(*numbers.begin(), before);
  EXPECT_LE(*numbers.begin(), on + 1);
  EXPECT_GE(*numbers.rbegin(), still - 1);
  EXPECT_LE(*numbers.rbegin(), off);
  EXPECT_EQ(static_cast<long long>(numbers.size()), *numbers.rbegin() - *numbers.begin() + 1);
}

// --- Killed writers ----------------------------------------------------------------------------------------

// Two writers that stay and four that are killed and replaced, all of four threads, in files that are full
// every moment.
class KilledWriters : public ::testing::Test {
 protected:
  struct Sums {
    int kills = 0;
    int abandoned = 0;       // kills of a thread that owned the mutex of a file
    long long lines = 0;     // handed over by all writers
    long long lost = 0;      // of these, not in the files
    long long inFlight = 0;  // in the files, though their writer was killed before it knew
    long long torn = 0;
  };

  Worker Start(const testing::LogSandbox& sandbox) {
    const Worker worker = StartWorker("file", sandbox.root(), {"4", "-1", "1000000"});
    progress_[worker] = testing::OpenProgress(sandbox.root().string(), worker);
    return worker;
  }

  void RunRound(int kills, Sums& sums) {
    const testing::LogSandbox sandbox;
    std::array<Worker, 2> stayers;
    for (Worker& worker : stayers) worker = Start(sandbox);
    std::array<Worker, 4> victims;
    for (Worker& worker : victims) worker = Start(sandbox);
    for (int i = 0; i < kills; ++i) {
      std::this_thread::sleep_for(std::chrono::microseconds(random_() % 4000));
      Worker& victim = victims[random_() % victims.size()];
      sums.abandoned += testing::KillAndCountAbandoned(victim, sandbox);
      killed_.insert(victim);
      killedProcesses_.insert(testing::ProcessOf(victim));
      victim = Start(sandbox);
    }
    std::ofstream(sandbox.root() / "stop");
    for (const Worker worker : stayers) EXPECT_EQ(WaitForWorker(worker), 0);
    for (const Worker worker : victims) EXPECT_EQ(WaitForWorker(worker), 0);
    sums.kills += kills;
    Check(ReadAll(sandbox.logs()), sums);
    for (const auto& [worker, page] : progress_) testing::CloseProgress(page);
    progress_.clear();
    killed_.clear();
    killedProcesses_.clear();
  }

  void Check(const Found& found, Sums& sums) {
    for (const auto& [worker, page] : progress_) {
      ASSERT_NE(page, nullptr);
      for (int thread = 0; thread < 4; ++thread) {
        CheckWriter(found, {worker, thread}, page->done[thread], sums);
      }
    }
    for (const std::string& line : found.torn) CheckTorn(line);
    sums.torn += static_cast<long long>(found.torn.size());
  }

  // Of a writer's lines each that it had handed over is there once or lost, and of a killed one perhaps the
  // line that it had under way.
  void CheckWriter(const Found& found, const Writer& writer, long long done, Sums& sums) {
    sums.lines += done;
    const auto entry = found.numbers.find(writer);
    long long present = 0;
    if (entry != found.numbers.end()) {
      const auto& numbers = entry->second;
      const std::set<long long> once(numbers.begin(), numbers.end());
      EXPECT_EQ(once.size(), numbers.size()) << "doubled";
      const bool hasOneMore = *once.rbegin() == done && killed_.contains(writer.first);
      EXPECT_TRUE(*once.rbegin() < done || hasOneMore);
      present = static_cast<long long>(once.size()) - (hasOneMore ? 1 : 0);
      sums.inFlight += hasOneMore ? 1 : 0;
    }
    sums.lost += done - present;
  }

  // A torn line stands by itself: it is the beginning of a line of a killed writer.
  void CheckTorn(const std::string& line) {
    static const std::regex stamp(R"(\[\d{4}/\d\d/\d\d \d\d:)");
    const auto first = std::sregex_iterator(line.begin(), line.end(), stamp);
    // Wine hands a killed writer's mutex on while its last write still goes on, behind the next one's back.
    if (!testing::IsWine()) {
      EXPECT_LE(std::distance(first, std::sregex_iterator()), 1) << line;
    }
    if (first != std::sregex_iterator()) {
      EXPECT_EQ(first->position(), 0) << line;
    }
    constexpr std::size_t kProcessAt = 1 + 23 + 3 + 2 + 3;
    if (const std::size_t end = line.find(' ', kProcessAt); end != std::string::npos) {
      const unsigned long process =
          std::strtoul(line.substr(kProcessAt, end - kProcessAt).c_str(), nullptr, 10);
      EXPECT_TRUE(killedProcesses_.contains(static_cast<std::uint32_t>(process))) << line;
    }
  }

  std::mt19937 random_{20261120};
  std::map<Worker, testing::ProgressPage*> progress_;
  std::set<Worker> killed_;
  std::set<std::uint32_t> killedProcesses_;
};

TEST_F(KilledWriters, LoseAtMostOneLineOfAnotherForEachMutexThatTheyLeaveAbandoned) {
  // Rounds go on until one has hit: where threads rarely own the mutex, a hundred kills may all miss it.
  constexpr int kTries = 20;
  const int asked = testing::KillsAsked(500);
  Sums sums;
  // Where nobody is told who owns a mutex, a lost line shows that one was left.
  const auto hasHit = [&] { return (kIsWindows ? sums.lost : sums.abandoned) > 0; };
  while ((sums.kills < asked || (!hasHit() && sums.kills < kTries * asked)) && !HasFatalFailure()) {
    RunRound(std::clamp(asked - sums.kills, 100, 500), sums);
  }
  std::printf(
      "kills %d, leaving a mutex abandoned %s%d; lines %lld, lost %lld, torn %lld, written though killed "
      "%lld\n",
      sums.kills, kIsWindows ? "at most " : "", sums.abandoned, sums.lines, sums.lost, sums.torn,
      sums.inFlight);
  EXPECT_GE(sums.kills, asked);
  EXPECT_GT(sums.lines, asked);
  EXPECT_LE(sums.lost, sums.abandoned);
  EXPECT_LE(sums.torn, sums.abandoned);
  EXPECT_TRUE(hasHit()) << "never hit where it hurts";
}

}  // namespace
}  // namespace sbx
