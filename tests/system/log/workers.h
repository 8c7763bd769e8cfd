// Starting, watching and killing worker processes.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace sbx::testing {

// Starts log_worker with <command> <folder> <arguments>...
pid_t StartWorker(const std::string& command, const std::string& folder,
                  const std::vector<std::string>& arguments);
// The exit code, or the negative number of the signal.
int WaitForWorker(pid_t pid);

// Stops all threads of a process, looks which of its threads own a mutex of a log file, and kills it. Returns
// how many mutexes that left abandoned.
int KillAndCountAbandoned(pid_t pid, const std::string& runtimeFolder);

// How often a test kills: $SBXML_LOG_KILLS, else `usual`, and a fifth of that in instrumented builds.
int KillsAsked(int usual);
// Whether tests run at the size of a release.
bool IsReleaseRun();

}  // namespace sbx::testing
