// A child that is killed at a chosen step of its work. Off Windows only.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sbx::testing {

enum class Steps {
  kSystemCalls,   // two for each: before and behind it
  kInstructions,  // of the processor
};

// In the child: from here on its steps are counted.
inline void CountSteps() {
  ::raise(SIGSTOP);
}

// Whether the system lets a process trace its child.
inline bool CanTrace() {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Runs `work`, which calls CountSteps once, in a child, and kills it there as soon as `isTime` says so. It is
// asked before the first step with 0, and so on. False if the work ended before, which has to be with 0.
inline bool KillWhen(const std::function<int()>& work, Steps steps, const std::function<bool(long)>& isTime) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(98);
    ::_exit(work());
  }
  const auto request = steps == Steps::kSystemCalls ? PTRACE_SYSCALL : PTRACE_SINGLESTEP;
  int status = 0;
  bool isCounting = false;
  long signal = 0;
  for (long step = 0;;) {
    if (::waitpid(pid, &status, 0) != pid) std::abort();
    if (!WIFSTOPPED(status)) break;
    signal = WSTOPSIG(status);
    if (signal == SIGSTOP) isCounting = true;
    if (signal == SIGSTOP || signal == SIGTRAP) signal = 0;
    if (isCounting && isTime(step++)) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      return true;
    }
    ::ptrace(isCounting ? request : PTRACE_CONT, pid, nullptr, signal);
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) std::abort();
  return false;
}

// Kills at the n-th step.
inline bool KillAtStep(const std::function<int()>& work, Steps steps, long n) {
  return KillWhen(work, steps, [n](long step) { return step == n; });
}

}  // namespace sbx::testing
