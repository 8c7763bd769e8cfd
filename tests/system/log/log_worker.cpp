// A process that logs, for the system tests: <command> <folder> <threads> <lines> <full bytes>
//
//   file      each thread writes numbered lines into the log file
//   channel   the same into the live channel
//   trickle   the same with pauses, so that a reader can keep up
//
// <lines> of -1: until it is killed or the file <folder>/stop is there. What was done is told in a progress
// page.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "base/format.h"
#include "diag/file_output.h"
#include "diag/log_config.h"
#include "diag/sm_output.h"
#include "support/worker_lines.h"

namespace {

using namespace sbx;

void WriteLines(IDBGLogOutput& output, testing::ProgressPage& page, int thread, std::int64_t lines,
                const std::string& stop, std::chrono::microseconds pause) {
  auto& done = page.done[static_cast<std::size_t>(thread)];
  for (std::int64_t i = 0; lines < 0 || i < lines; ++i) {
    if (lines < 0 && i % 16 == 0 && ::access(stop.c_str(), F_OK) == 0) return;
    output.LogW(0, 0, testing::WorkerText(::getpid(), thread, i).c_str());
    std::atomic_ref(done).store(i + 1);
    if (pause.count() > 0) std::this_thread::sleep_for(pause);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  if (words.size() != 5) return 2;
  const std::string& folder = words[1];
  ::setenv("SBXML_LOG_DIR", (folder + "/logs").c_str(), 1);
  ::setenv("SBXML_RUNTIME_DIR", (folder + "/run").c_str(), 1);
  ::setenv("SBXML_REGISTRY", (folder + "/registry.reg").c_str(), 1);
  testing::ProgressPage* page = testing::OpenProgress(folder, ::getpid());
  if (page == nullptr) return 3;
  const int threads = std::atoi(words[2].c_str());
  const std::int64_t lines = std::atoll(words[3].c_str());
  const auto full = static_cast<std::uint32_t>(std::strtoul(words[4].c_str(), nullptr, 10));
  const std::string stop = folder + "/stop";
  const std::chrono::microseconds pause(words[0] == "trickle" ? 300 : 0);
  std::unique_ptr<IDBGLogOutput> output;
  if (words[0] != "file") {
    output = std::make_unique<NSDBG::CSMOutput>();
  } else {
    output = std::make_unique<NSDBG::CFileOutput>(CLogConfig::Instance(), full);
  }
  std::vector<std::thread> pool;
  for (int i = 0; i < threads; ++i)
    pool.emplace_back([&, i] { WriteLines(*output, *page, i, lines, stop, pause); });
  for (std::thread& thread : pool) thread.join();
  return 0;
}
