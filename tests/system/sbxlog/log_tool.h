// Runs sbxlog beside the test, and logging processes, over a folder of their own. POSIX only.
#pragma once

#include <array>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "sbxlog/host_process.h"
#include "sbxlog/tool_run.h"
#include "support/child_process.h"
#include "support/log_sandbox.h"
#include "support/scratch_folder.h"

namespace sbx::testing {

// Asks until it holds, for as long as a loaded machine may need.
inline bool Eventually(const std::function<bool()>& holds,
                       std::chrono::seconds limit = std::chrono::seconds(30)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// A run of the command, which may go on while the test does other things.
class Sbxlog {
 public:
  explicit Sbxlog(const std::vector<std::string>& arguments) : pid_(fork()) {
    if (pid_ == 0) Become(arguments);
  }
  ~Sbxlog() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    WaitForChild(pid_);
  }
  Sbxlog(const Sbxlog&) = delete;
  Sbxlog& operator=(const Sbxlog&) = delete;

  pid_t pid() const { return pid_; }
  std::string output() const { return streams_.Read("output"); }
  std::string errors() const { return streams_.Read("errors"); }
  // Stops all of its threads; they have stopped when this returns.
  void Stop() const {
    int status = 0;
    Require(kill(pid_, SIGSTOP) == 0 && waitpid(pid_, &status, WUNTRACED) == pid_ && WIFSTOPPED(status));
  }
  void Continue() const { kill(pid_, SIGCONT); }
  bool Says(const std::string& text) const {
    return Eventually([&] { return output().find(text) != std::string::npos; });
  }
  // Waits for its end, which a signal may bring about.
  Said End(int signal = 0) {
    if (signal != 0) kill(pid_, signal);
    Said said;
    said.ended = WaitForChild(std::exchange(pid_, -1));
    said.output = output();
    said.errors = errors();
    return said;
  }

 private:
  void Redirect(const char* name, int stream) const {
    const int file = open((streams_.path() / name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    Require(file >= 0 && dup2(file, stream) == stream);
  }
  [[noreturn]] void Become(const std::vector<std::string>& arguments) const {
    Redirect("output", STDOUT_FILENO);
    Redirect("errors", STDERR_FILENO);
    std::vector<char*> argv = {const_cast<char*>(SBXLOG_TOOL)};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(SBXLOG_TOOL, argv.data());
    _exit(127);
  }

  ScratchFolder streams_;
  pid_t pid_;
};

}  // namespace sbx::testing
