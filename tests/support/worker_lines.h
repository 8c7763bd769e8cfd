// What log_worker writes, and how it is told from what was damaged.
#pragma once

#include <cstdio>
#include <string>

#include "base/wide_text.h"

namespace sbx::testing {

// A line tells worker, thread and number; the rest is a function of these, so that a torn or a mixed line is
// recognised.
struct WorkerLine {
  int worker = 0;
  int thread = 0;
  long long number = 0;
};

inline std::string WorkerTextOf(const WorkerLine& line) {
  const auto length = static_cast<std::size_t>((line.number * 7 + line.thread) % 50);
  return "<" + std::to_string(line.worker) + "." + std::to_string(line.thread) + "." +
         std::to_string(line.number) + "." + std::string(length, 'x') + ">";
}

inline WideString WorkerText(int worker, int thread, long long number) {
  const std::string text = WorkerTextOf({worker, thread, number});
  return {text.begin(), text.end()};
}

// False for anything but a whole line.
inline bool ParseWorkerText(const std::string& text, WorkerLine* line) {
  return std::sscanf(text.c_str(), "<%d.%d.%lld.", &line->worker, &line->thread, &line->number) == 3 &&
         text == WorkerTextOf(*line);
}

}  // namespace sbx::testing
