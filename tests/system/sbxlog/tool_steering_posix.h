// By signals.
#pragma once

#include <cstdint>
#include <signal.h>
#include <sys/wait.h>

#include "sbxml/tool_process.h"
#include "support/child_process.h"

namespace sbx::testing {

inline constexpr char kKilledTool[] = "signal 9";

inline std::uint32_t IdOfTool(ToolProcess process) {
  return static_cast<std::uint32_t>(process);
}

inline void InterruptTool(ToolProcess process) {
  kill(process, SIGINT);
}

// Should the test be killed, what is left meets nobody: its names are those of a folder of the test's.
inline void EndWithTest(ToolProcess) {}

inline void KillTool(ToolProcess process) {
  kill(process, SIGKILL);
}

// Stops all of its threads; they have stopped when this returns.
inline void StopTool(ToolProcess process) {
  int status = 0;
  Require(kill(process, SIGSTOP) == 0 && waitpid(process, &status, WUNTRACED) == process &&
          WIFSTOPPED(status));
}

inline void ContinueTool(ToolProcess process) {
  kill(process, SIGCONT);
}

}  // namespace sbx::testing
