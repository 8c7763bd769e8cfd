// The state of a thread as the system's list of processes shows it. Wine shows none.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>
#include <windows.h>
#include <winternl.h>

#include "support/host_system.h"

namespace sbx::testing {

inline bool IsAsleep(std::uint32_t thread) {
  using Question = NTSTATUS(WINAPI*)(SYSTEM_INFORMATION_CLASS, PVOID, ULONG, PULONG);
  constexpr NTSTATUS kTooSmall = static_cast<NTSTATUS>(0xC0000004);
  constexpr ULONG kWaiting = 5;
  const auto ask = reinterpret_cast<Question>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<SYSTEM_PROCESS_INFORMATION> answer(4096);  // each has the threads of a process behind it
  ULONG size = 0;
  NTSTATUS status = kTooSmall;
  while (status == kTooSmall) {
    answer.resize(answer.size() * 2);
    status = ask(SystemProcessInformation, answer.data(),
                 static_cast<ULONG>(answer.size() * sizeof answer.front()), &size);
  }
  if (status != 0) std::abort();
  const char* at = reinterpret_cast<const char*>(answer.data());
  for (;;) {
    const auto* process = reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(at);
    const auto* threads = reinterpret_cast<const SYSTEM_THREAD_INFORMATION*>(process + 1);
    for (ULONG i = 0; i < process->NumberOfThreads; ++i) {
      if (reinterpret_cast<std::uintptr_t>(threads[i].ClientId.UniqueThread) == thread)
        return threads[i].ThreadState == kWaiting;
    }
    if (process->NextEntryOffset == 0) return false;
    at += process->NextEntryOffset;
  }
}

// Under Wine the thread may still be on its way.
inline void AwaitSleep(std::uint32_t thread) {
  if (IsWine()) return;
  while (!IsAsleep(thread)) std::this_thread::yield();
}

}  // namespace sbx::testing
