// What log_worker writes, and how it is told from what was damaged. Off Windows only.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "base/wide_text.h"

namespace sbx::testing {

inline constexpr std::size_t kMostWorkerThreads = 16;

// How many lines each thread of a worker has handed over, in memory that outlives the worker.
struct ProgressPage {
  std::int64_t done[kMostWorkerThreads];
};

inline ProgressPage* OpenProgress(const std::string& folder, int process) {
  const std::string path = folder + "/progress-" + std::to_string(process);
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0 || ::ftruncate(file, sizeof(ProgressPage)) != 0) return nullptr;
  void* page = ::mmap(nullptr, sizeof(ProgressPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  return page == MAP_FAILED ? nullptr : static_cast<ProgressPage*>(page);
}

// A line tells process, thread and number; the rest is a function of these, so that a torn or a mixed line is
// recognised.
struct WorkerLine {
  int process = 0;
  int thread = 0;
  long long number = 0;
};

inline std::string WorkerTextOf(const WorkerLine& line) {
  const auto length = static_cast<std::size_t>((line.number * 7 + line.thread) % 50);
  return "<" + std::to_string(line.process) + "." + std::to_string(line.thread) + "." +
         std::to_string(line.number) + "." + std::string(length, 'x') + ">";
}

inline WideString WorkerText(int process, int thread, long long number) {
  const std::string text = WorkerTextOf({process, thread, number});
  return {text.begin(), text.end()};
}

// False for anything but a whole line.
inline bool ParseWorkerText(const std::string& text, WorkerLine* line) {
  return std::sscanf(text.c_str(), "<%d.%d.%lld.", &line->process, &line->thread, &line->number) == 3 &&
         text == WorkerTextOf(*line);
}

}  // namespace sbx::testing
