// By CreateProcessW, steered through pipes. The log's code is a part of the program, which names the module,
// and the log lies beside it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <windows.h>

#include "support/log_sandbox.h"
#include "support/start_process_win.h"

namespace sbx::testing {

// The file that a host of that name is started from.
inline std::string ProgramOf(const std::string& name) {
  return name + ".exe";
}

class LogHost {
 public:
  LogHost(const LogSandbox& sandbox, const std::string& name) : path_(sandbox.root() / ProgramOf(name)) {
    if (!std::filesystem::exists(path_)) std::filesystem::copy_file(SBXLOG_HOST, path_);
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    STARTUPINFOW start = {};
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    if (!CreatePipe(&start.hStdInput, &commands_, &inherited, 0) ||
        !CreatePipe(&answers_, &start.hStdOutput, &inherited, 0)) {
      std::abort();
    }
    SetHandleInformation(commands_, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(answers_, HANDLE_FLAG_INHERIT, 0);
    const StartedProcess process = StartProcess(path_.wstring(), L"\"" + path_.wstring() + L"\"",
                                                {.startup = start, .inheritsHandles = TRUE});
    CloseHandle(start.hStdInput);
    CloseHandle(start.hStdOutput);
    process_ = process.handle;
    id_ = process.id;
    EXPECT_EQ(Answer(), "ready");
  }
  ~LogHost() {
    if (process_ != nullptr) Kill();
  }
  LogHost(const LogHost&) = delete;
  LogHost& operator=(const LogHost&) = delete;

  DWORD pid() const { return id_; }
  std::string Id() const { return std::to_string(id_); }
  const std::filesystem::path& path() const { return path_; }
  // The module that logs, and its log.
  std::string Module() const { return path_.filename().string(); }
  std::filesystem::path LogPath() const { return path_.parent_path() / "Logs" / (Module() + ".Log"); }
  void Send(const std::string& command) const {
    const std::string line = command + "\n";
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(commands_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr));
  }
  std::string Answer() const {
    std::string line;
    char character = 0;
    DWORD got = 0;
    while (ReadFile(answers_, &character, 1, &got, nullptr) && got == 1 && character != '\n') {
      if (character != '\r') line += character;
    }
    return got == 1 ? line : "nothing";
  }
  void Log(int level, const std::string& text) const {
    Send("log " + std::to_string(level) + " " + text);
    EXPECT_EQ(Answer(), "ok");
  }
  // Closes its input, which ends it, and waits.
  void End() {
    if (process_ == nullptr) return;
    CloseHandle(commands_);
    WaitForSingleObject(process_, INFINITE);
    CloseHandle(std::exchange(process_, nullptr));
    CloseHandle(answers_);
  }
  void Kill() {
    TerminateProcess(process_, 1);
    End();
  }

 private:
  std::filesystem::path path_;
  HANDLE process_ = nullptr;
  HANDLE commands_ = nullptr;
  HANDLE answers_ = nullptr;
  DWORD id_ = 0;
};

}  // namespace sbx::testing
