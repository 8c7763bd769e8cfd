// A piece of a test in a forked child.
#pragma once

#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "support/end_child.h"

namespace sbx {

// Ends the child with a code other than 0 and the place if the condition does not hold.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: the child's condition does not hold\n", file, line);
  _exit(1);
}

// How a child of this process ended: "exit <code>" or "signal <number>".
inline std::string WaitForChild(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) return "lost";
  if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
  return "exit " + std::to_string(WEXITSTATUS(status));
}

// Runs the body in a child and says how that ended; "exit 0" if it came to its end.
template <class Body>
std::string InChild(Body body) {
  const pid_t child = fork();
  if (child < 0) return "no child";
  if (child == 0) {
    body();
    testing::EndChild(0);
  }
  return WaitForChild(child);
}

}  // namespace sbx
