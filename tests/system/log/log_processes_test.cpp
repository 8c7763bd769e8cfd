// Many processes with many threads in one log: every line whole, each once, whoever is killed.
#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <signal.h>
#include <thread>

#include "support/log_files.h"
#include "support/log_sandbox.h"
#include "support/worker_lines.h"
#include "workers.h"

namespace sbx {
namespace {

namespace fs = std::filesystem;
using testing::StartWorker;
using testing::WaitForWorker;
using testing::WorkerLine;

constexpr char kFullSize[] = "104857600";

using Writer = std::pair<int, int>;  // process, thread

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
        found.numbers[{line.process, line.thread}].insert(line.number);
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

void RunEightWritersOfFourThreads(const fs::path& root, const std::string& lines, const std::string& full) {
  std::vector<pid_t> writers;
  for (int i = 0; i < 8; ++i) writers.push_back(StartWorker("file", root, {"4", lines, full}));
  for (const pid_t pid : writers) EXPECT_EQ(WaitForWorker(pid), 0);
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
  const fs::path first = sandbox.logs() / "libsbxml.so.Log";
  std::ofstream(first, std::ios::binary) << "\xFF\xFE";
  fs::resize_file(first, kStart - 4);
  std::ofstream(first, std::ios::binary | std::ios::app) << std::string("\r\0\n\0", 4);
  RunEightWritersOfFourThreads(sandbox.root(), "200", kFullSize);
  EXPECT_GE(fs::file_size(first), 104'857'600u);
  EXPECT_TRUE(fs::exists(sandbox.logs() / "libsbxml.so.00000001.log"));

  // The zeros in front are cut off before the lines are read.
  std::ifstream sparse(first, std::ios::binary);
  sparse.seekg(kStart);
  const std::string tail{std::istreambuf_iterator<char>(sparse), {}};
  std::ofstream(first, std::ios::binary) << "\xFF\xFE" << tail;
  ExpectEachLineOnce(sandbox.logs(), 32, 200);
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

  pid_t Start(const testing::LogSandbox& sandbox) {
    const pid_t pid = StartWorker("file", sandbox.root(), {"4", "-1", "1000000"});
    progress_[pid] = testing::OpenProgress(sandbox.root(), pid);
    return pid;
  }

  void RunRound(int kills, Sums& sums) {
    const testing::LogSandbox sandbox;
    fs::create_directories(sandbox.runtime());
    fs::permissions(sandbox.runtime(), fs::perms::owner_all);
    std::array<pid_t, 2> stayers;
    for (pid_t& pid : stayers) pid = Start(sandbox);
    std::array<pid_t, 4> victims;
    for (pid_t& pid : victims) pid = Start(sandbox);
    for (int i = 0; i < kills; ++i) {
      std::this_thread::sleep_for(std::chrono::microseconds(random_() % 4000));
      pid_t& victim = victims[random_() % victims.size()];
      sums.abandoned += testing::KillAndCountAbandoned(victim, sandbox.runtime());
      killed_.insert(victim);
      victim = Start(sandbox);
    }
    std::ofstream(sandbox.root() / "stop");
    for (const pid_t pid : stayers) EXPECT_EQ(WaitForWorker(pid), 0);
    for (const pid_t pid : victims) EXPECT_EQ(WaitForWorker(pid), 0);
    sums.kills += kills;
    Check(ReadAll(sandbox.logs()), sums);
    for (const auto& [pid, page] : progress_) ::munmap(page, sizeof *page);
    progress_.clear();
    killed_.clear();
  }

  void Check(const Found& found, Sums& sums) {
    for (const auto& [pid, page] : progress_) {
      ASSERT_NE(page, nullptr);
      for (int thread = 0; thread < 4; ++thread) {
        CheckWriter(found, {pid, thread}, page->done[thread], sums);
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
    EXPECT_LE(std::distance(first, std::sregex_iterator()), 1) << line;
    if (first != std::sregex_iterator()) {
      EXPECT_EQ(first->position(), 0) << line;
    }
    constexpr std::size_t kProcessAt = 1 + 23 + 3 + 2 + 3;
    if (const std::size_t end = line.find(' ', kProcessAt); end != std::string::npos) {
      EXPECT_TRUE(killed_.contains(std::atoi(line.substr(kProcessAt, end - kProcessAt).c_str()))) << line;
    }
  }

  std::mt19937 random_{20261120};
  std::map<pid_t, testing::ProgressPage*> progress_;
  std::set<int> killed_;
};

TEST_F(KilledWriters, LoseAtMostOneLineOfAnotherForEachMutexThatTheyLeaveAbandoned) {
  const int asked = testing::KillsAsked(500);
  Sums sums;
  for (int left = asked; left > 0 && !HasFatalFailure(); left -= 500) RunRound(std::min(left, 500), sums);
  std::printf(
      "kills %d, leaving a mutex abandoned %d; lines %lld, lost %lld, torn %lld, written though killed "
      "%lld\n",
      sums.kills, sums.abandoned, sums.lines, sums.lost, sums.torn, sums.inFlight);
  EXPECT_GE(sums.kills, asked);
  EXPECT_GT(sums.lines, asked);
  EXPECT_LE(sums.lost, sums.abandoned);
  EXPECT_LE(sums.torn, sums.abandoned);
  if (asked >= 100) {
    EXPECT_GT(sums.abandoned, 0) << "never hit where it hurts";
  }
}

}  // namespace
}  // namespace sbx
