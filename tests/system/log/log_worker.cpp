// A process that logs, for the system tests: <command> <folder> <its number> <threads> <lines> <full bytes>
//
//   file      each thread writes numbered lines into the log file
//   detail    the same at level 3, with pauses
//   channel   the same as the first into the live channel
//   trickle   the same with pauses, so that a reader can keep up
//   stop      logs "now stop here" into the live channel, once
//   beside    the same, while another thread logs "go on"
//
// <lines> of -1: until it is killed or the file <folder>/stop is there. What was done is told in a progress
// page; `stop` tells its thread's number in the second place.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "diag/file_output.h"
#include "diag/log_config.h"
#include "diag/sm_output.h"
#include "platform/module_identity.h"
#include "support/worker_lines.h"
#include "support/worker_process.h"

namespace {

using namespace sbx;

void Tell(testing::ProgressPage& page, std::size_t place, std::int64_t value) {
  std::atomic_ref(page.done[place]).store(value);
}

struct Work {
  int worker = 0;
  std::int32_t level = 0;
  std::int64_t lines = 0;
  std::filesystem::path stop;
  std::chrono::microseconds pause{0};
};

void WriteLines(IDBGLogOutput& output, testing::ProgressPage& page, int thread, const Work& work) {
  std::error_code ignored;
  for (std::int64_t i = 0; work.lines < 0 || i < work.lines; ++i) {
    if (work.lines < 0 && i % 16 == 0 && std::filesystem::exists(work.stop, ignored)) return;
    output.LogW(work.level, 0, testing::WorkerText(work.worker, thread, i).c_str());
    Tell(page, static_cast<std::size_t>(thread), i + 1);
    if (work.pause.count() > 0) std::this_thread::sleep_for(work.pause);
  }
}

int Stop(testing::ProgressPage& page, bool isBeside) {
  NSDBG::CSMOutput output;
  std::thread held([&] {
    Tell(page, 1, platform::CurrentThreadId());
    output.LogW(4, 0, u"now stop here");
    if (!isBeside) Tell(page, 0, 1);
  });
  if (isBeside) {
    for (int i = 0; i < 100; ++i) output.LogW(4, 0, u"go on");
    Tell(page, 0, 1);
  }
  held.join();
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  if (words.size() < 3) return 2;
  const std::string& command = words[0];
  const std::string& folder = words[1];
  testing::LogBelow(folder);
  Work work;
  work.worker = std::atoi(words[2].c_str());
  testing::ProgressPage* page = testing::OpenProgress(folder, work.worker);
  if (page == nullptr) return 3;
  if (command == "stop" || command == "beside") return Stop(*page, command == "beside");
  if (words.size() != 6) return 2;
  const int threads = std::atoi(words[3].c_str());
  const auto full = static_cast<std::uint32_t>(std::strtoul(words[5].c_str(), nullptr, 10));
  work.lines = std::atoll(words[4].c_str());
  work.stop = std::filesystem::path(folder) / "stop";
  if (command == "detail") work.level = 3;
  if (command == "detail" || command == "trickle") work.pause = std::chrono::microseconds(300);
  std::unique_ptr<IDBGLogOutput> output;
  if (command == "file" || command == "detail") {
    output = std::make_unique<NSDBG::CFileOutput>(CLogConfig::Instance(), full);
  } else {
    output = std::make_unique<NSDBG::CSMOutput>();
  }
  std::vector<std::thread> pool;
  for (int i = 0; i < threads; ++i) pool.emplace_back([&, i] { WriteLines(*output, *page, i, work); });
  for (std::thread& thread : pool) thread.join();
  return 0;
}
