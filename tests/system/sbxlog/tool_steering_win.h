// By the console that the process has for itself, and by force.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>
// What needs the types of the one before.
#include <tlhelp32.h>

#include "sbxml/tool_process.h"
#include "support/start_process_win.h"

namespace sbx::testing {

inline const std::string kKilledTool = "exit " + std::to_string(kKilledCode);

inline std::uint32_t IdOfTool(ToolProcess process) {
  return GetProcessId(process);
}

// A helper joins the console and presses Ctrl-C: whoever does so leaves its own console, and is reached too.
inline void InterruptTool(ToolProcess process) {
  const std::wstring program = WideOf(SBXLOG_INTERRUPT);
  const std::wstring line = L"\"" + program + L"\" " + std::to_wstring(GetProcessId(process));
  const std::string pressed = EndOfTool(StartProcess(program, line, {.flags = DETACHED_PROCESS}).handle);
  EXPECT_EQ(pressed, "exit 0");
  if (pressed != "exit 0") TerminateProcess(process, kKilledCode);  // its end is waited for
}

// Ends it with the test's process, which may be killed while it waits: the names that it holds are
// everybody's.
inline void EndWithTest(ToolProcess process) {
  static const HANDLE job = [] {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    const HANDLE made = CreateJobObjectW(nullptr, nullptr);
    SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return made;
  }();
  AssignProcessToJobObject(job, process);  // refused for one that has ended already
}

inline void KillTool(ToolProcess process) {
  TerminateProcess(process, kKilledCode);
}

inline void ForEachThread(ToolProcess process, const std::function<void(HANDLE)>& use) {
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (all == INVALID_HANDLE_VALUE) std::abort();
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL isThere = Thread32First(all, &entry); isThere != FALSE; isThere = Thread32Next(all, &entry)) {
    if (entry.th32OwnerProcessID != GetProcessId(process)) continue;
    const HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, entry.th32ThreadID);
    if (thread == nullptr) continue;
    use(thread);
    CloseHandle(thread);
  }
  CloseHandle(all);
}

// Stops all of its threads; they have stopped when this returns: a context can be read of no other.
inline void StopTool(ToolProcess process) {
  ForEachThread(process, [](HANDLE thread) {
    alignas(16) CONTEXT context = {};
    context.ContextFlags = CONTEXT_CONTROL;
    EXPECT_NE(SuspendThread(thread), static_cast<DWORD>(-1));
    EXPECT_NE(GetThreadContext(thread, &context), FALSE);
  });
}

inline void ContinueTool(ToolProcess process) {
  ForEachThread(process, [](HANDLE thread) { ResumeThread(thread); });
}

}  // namespace sbx::testing
