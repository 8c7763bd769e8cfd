// By fork and exec.
#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "sbxml/tool_process.h"
#include "support/child_process.h"

namespace sbx::testing {

using ToolProcess = pid_t;

inline void Redirect(const std::filesystem::path& path, int stream, int flags) {
  const int file = open(path.c_str(), flags, 0600);
  Require(file >= 0 && dup2(file, stream) == stream);
}

[[noreturn]] inline void BecomeTool(const ToolStart& start) {
  Redirect(start.input, STDIN_FILENO, O_RDONLY);
  Redirect(start.output, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
  Redirect(start.errors, STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
  Require(chdir(start.folder.c_str()) == 0);
  for (const auto& [name, value] : start.variables) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> argv = {const_cast<char*>(start.program.c_str())};
  for (const std::string& argument : start.arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execv(start.program.c_str(), argv.data());
  _exit(127);
}

inline ToolProcess StartTool(const ToolStart& start) {
  const pid_t child = fork();
  if (child == 0) BecomeTool(start);
  return child;
}

// Waits for it: "exit <code>" or "signal <number>".
inline std::string EndOfTool(ToolProcess process) {
  return WaitForChild(process);
}

}  // namespace sbx::testing
