// Starting, watching and killing worker processes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "support/log_sandbox.h"

namespace sbx::testing {

// A worker's own number, from 1: the system may give the number of an ended process again.
using Worker = int;

// The file name of the worker's program.
WideString WorkerProgram();
// Starts log_worker with <command> <folder> <its number> <arguments>...
Worker StartWorker(const std::string& command, const std::filesystem::path& folder,
                   const std::vector<std::string>& arguments);
// The number of its process, also after its end.
std::uint32_t ProcessOf(Worker worker);
// The exit code, or kWasKilled.
inline constexpr int kWasKilled = -9;
int WaitForWorker(Worker worker);
void KillWorker(Worker worker);

// Kills at whatever all threads are doing. Returns how many mutexes of log files that left abandoned, or at
// most left so, where a system doesn't tell who owns a mutex.
int KillAndCountAbandoned(Worker worker, const LogSandbox& sandbox);

// How often a test kills: $SBXML_LOG_KILLS, else `usual`, and a fifth of that in instrumented builds.
int KillsAsked(int usual);
// Whether tests run at the size of a release.
bool IsReleaseRun();

}  // namespace sbx::testing
