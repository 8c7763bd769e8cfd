// How tests start and kill processes on Windows: all but the outsider to the log, which knows nothing of this
// project.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <windows.h>

namespace sbx::testing {

// What CreateProcessW takes beside the program and its command line.
struct ProcessStart {
  STARTUPINFOW startup = {};
  BOOL inheritsHandles = FALSE;
  DWORD flags = 0;
  const wchar_t* folder = nullptr;  // that of this process
};

// The exit code of a process that a test killed: the system has no other mark for it.
inline constexpr UINT kKilledCode = 0xFF00FF;

struct StartedProcess {
  HANDLE handle;  // the caller's to close
  DWORD id;
};

// Ends the test's process where the system refuses, and says what it said.
inline StartedProcess StartProcess(const std::wstring& program, std::wstring commandLine,
                                   ProcessStart start = {}) {
  start.startup.cb = sizeof start.startup;
  PROCESS_INFORMATION process = {};
  if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, start.inheritsHandles,
                     start.flags, nullptr, start.folder, &start.startup, &process) == FALSE) {
    std::fprintf(stderr, "a process can't be started: error %lu\n", GetLastError());
    std::abort();
  }
  CloseHandle(process.hThread);
  return {process.hProcess, process.dwProcessId};
}

}  // namespace sbx::testing
