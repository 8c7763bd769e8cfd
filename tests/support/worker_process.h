// What a log_worker and the test that started it share.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::testing {

inline constexpr std::size_t kMostWorkerThreads = 16;

// How many lines each thread of a worker has handed over, in memory that outlives the worker.
struct ProgressPage {
  std::int64_t done[kMostWorkerThreads];
};

}  // namespace sbx::testing

#if defined(_WIN32)
#include "support/worker_process_win.h"
#else
#include "support/worker_process_posix.h"
#endif
