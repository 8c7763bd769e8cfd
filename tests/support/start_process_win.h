// How tests start processes on Windows: all but the outsider to the log, which knows nothing of this project.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <windows.h>

#include "support/host_system.h"

namespace sbx::testing {

// What CreateProcessW takes beside the program and its command line.
struct ProcessStart {
  STARTUPINFOW startup = {};
  BOOL inheritsHandles = FALSE;
  DWORD flags = 0;
  const wchar_t* folder = nullptr;  // that of this process
};

struct StartedProcess {
  HANDLE handle;  // the caller's to close
  DWORD id;
};

// Ends the test's process where the system refuses, and says what it said. A busy Wine now and then answers
// with an internal error, and with a process to the same question asked again.
inline StartedProcess StartProcess(const std::wstring& program, const std::wstring& commandLine,
                                   ProcessStart start = {}) {
  constexpr int kTries = 10;
  start.startup.cb = sizeof start.startup;
  for (int tries = 1;; ++tries) {
    std::wstring line = commandLine;  // the system may write into it
    PROCESS_INFORMATION process = {};
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, start.inheritsHandles, start.flags,
                       nullptr, start.folder, &start.startup, &process) != FALSE) {
      CloseHandle(process.hThread);
      return {process.hProcess, process.dwProcessId};
    }
    const DWORD error = GetLastError();
    if (IsWine() && error == ERROR_INTERNAL_ERROR && tries < kTries) continue;
    std::fprintf(stderr, "a process can't be started: error %lu\n", error);
    std::abort();
  }
}

}  // namespace sbx::testing
