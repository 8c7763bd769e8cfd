// By fork and exec, steered through pipes.
#pragma once

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <signal.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "support/child_process.h"
#include "support/log_sandbox.h"

namespace sbx::testing {

// The file that a host of that name is started from.
inline std::string ProgramOf(const std::string& name) {
  return name;
}

class LogHost {
 public:
  LogHost(const LogSandbox& sandbox, const std::string& name)
      : path_(sandbox.root() / name), log_(sandbox.logs() / (Module() + ".Log")) {
    if (!std::filesystem::exists(path_)) std::filesystem::copy_file(SBXLOG_HOST, path_);
    std::array<int, 2> in;
    std::array<int, 2> out;
    Require(pipe2(in.data(), O_CLOEXEC) == 0 && pipe2(out.data(), O_CLOEXEC) == 0);
    pid_ = fork();
    if (pid_ == 0) {
      Require(dup2(in[0], STDIN_FILENO) >= 0 && dup2(out[1], STDOUT_FILENO) >= 0);
      execl(path_.c_str(), path_.c_str(), nullptr);
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    commands_ = fdopen(in[1], "w");
    answers_ = fdopen(out[0], "r");
    EXPECT_EQ(Answer(), "ready");
  }
  ~LogHost() {
    if (pid_ > 0) kill(pid_, SIGKILL);
    End();
  }
  LogHost(const LogHost&) = delete;
  LogHost& operator=(const LogHost&) = delete;

  pid_t pid() const { return pid_; }
  std::string Id() const { return std::to_string(pid_); }
  const std::filesystem::path& path() const { return path_; }
  // The module that logs, and its log.
  static std::string Module() { return "libsbxml.so"; }
  std::filesystem::path LogPath() const { return log_; }
  void Send(const std::string& command) const {
    std::fprintf(commands_, "%s\n", command.c_str());
    std::fflush(commands_);
  }
  std::string Answer() const {
    std::array<char, 128> line = {};
    if (std::fgets(line.data(), line.size(), answers_) == nullptr) return "nothing";
    const std::string text = line.data();
    return text.substr(0, text.find('\n'));
  }
  void Log(int level, const std::string& text) const {
    Send("log " + std::to_string(level) + " " + text);
    EXPECT_EQ(Answer(), "ok");
  }
  // Closes its input, which ends it, and waits.
  void End() {
    if (pid_ < 0) return;
    std::fclose(commands_);
    WaitForChild(std::exchange(pid_, -1));
    std::fclose(answers_);
  }
  void Kill() {
    kill(pid_, SIGKILL);
    End();
  }

 private:
  std::filesystem::path path_;
  std::filesystem::path log_;
  pid_t pid_ = -1;
  std::FILE* commands_ = nullptr;
  std::FILE* answers_ = nullptr;
};

}  // namespace sbx::testing
