// The second process as a forked child.
#pragma once

#include <cstdint>
#include <functional>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/end_child.h"

namespace sbx::testing {

// Runs `work` in a child, which ends with its result as exit code, without the test framework's clean-up.
class KillableProcess {
 public:
  explicit KillableProcess(const std::function<int()>& work) {
    if (::pipe(said_) != 0) ::abort();
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(said_[0]);
      current_ = said_[1];
      EndChild(work());
    }
    ::close(said_[1]);
  }
  ~KillableProcess() {
    if (pid_ > 0) Kill();
    ::close(said_[0]);
  }
  KillableProcess(const KillableProcess&) = delete;
  KillableProcess& operator=(const KillableProcess&) = delete;

  // In the child: tells the parent that a point was reached.
  static void Say() {
    const char word = '.';
    if (::write(current_, &word, 1) != 1) ::_exit(99);
  }
  // In the child: waits for the end.
  [[noreturn]] static int Sleep() {
    for (;;) ::pause();
  }

  // Whether what stands before the child in a test is run for the parent. Where a child is forked it is.
  static constexpr bool IsParent() { return true; }
  // In the child: the number of its parent.
  static std::uint32_t ParentId() { return static_cast<std::uint32_t>(::getppid()); }

  // In the parent: waits until the child has said one more word. False if it ended before.
  bool Await() {
    char word;
    return ::read(said_[0], &word, 1) == 1;
  }
  // Whether there is a word to be awaited, or the child has ended.
  bool HasSaid() const {
    pollfd said = {said_[0], POLLIN, 0};
    return ::poll(&said, 1, 0) > 0;
  }
  pid_t pid() const { return pid_; }
  void Kill() {
    ::kill(pid_, SIGKILL);
    Wait();
  }
  // The exit code, or -1 after a signal.
  int Wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  inline static int current_ = -1;
  int said_[2];
  pid_t pid_ = -1;
};

}  // namespace sbx::testing
