#include <algorithm>
#include <atomic>
#include <windows.h>
// What needs the types of the one before.
#include <psapi.h>

#include "sbxlog/system.h"

namespace sbx::tool::system {
namespace {

std::atomic<bool> g_isStopRequested = false;

// Runs in a thread of its own. Once the console is closed or the user logs off, the system ends the process
// as soon as this returns, so it doesn't: the end of main takes this thread along.
BOOL WINAPI NoteStop(DWORD event) {
  g_isStopRequested.store(true);
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

// Closes a process's handle.
class ProcessHandle {
 public:
  ProcessHandle(DWORD access, std::uint32_t processId) noexcept
      : handle_(OpenProcess(access, FALSE, processId)) {}
  ~ProcessHandle() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }
  ProcessHandle(const ProcessHandle&) = delete;
  ProcessHandle& operator=(const ProcessHandle&) = delete;
  HANDLE get() const noexcept { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace

void CatchStopRequests() noexcept {
  SetConsoleCtrlHandler(&NoteStop, TRUE);
}

bool IsStopRequested() noexcept {
  return g_isStopRequested.load();
}

std::vector<std::uint32_t> ProcessIds() {
  std::vector<DWORD> found(1024);
  DWORD bytes = 0;
  for (;;) {
    const auto room = static_cast<DWORD>(found.size() * sizeof(DWORD));
    if (EnumProcesses(found.data(), room, &bytes) == FALSE) return {};
    if (bytes < room) break;
    found.resize(found.size() * 2);
  }
  found.resize(bytes / sizeof(DWORD));
  std::vector<std::uint32_t> ids(found.begin(), found.end());
  std::erase(ids, 0u);
  std::sort(ids.begin(), ids.end());
  return ids;
}

bool IsProcessAlive(std::uint32_t processId) noexcept {
  const ProcessHandle process(SYNCHRONIZE, processId);
  if (process.get() == nullptr) return GetLastError() == ERROR_ACCESS_DENIED;
  return WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

WideString ExecutableOf(std::uint32_t processId) {
  const ProcessHandle process(PROCESS_QUERY_LIMITED_INFORMATION, processId);
  std::wstring path(32768, L'\0');
  auto length = static_cast<DWORD>(path.size());
  if (process.get() == nullptr ||
      QueryFullProcessImageNameW(process.get(), 0, path.data(), &length) == FALSE) {
    return {};
  }
  return {path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length)};
}

}  // namespace sbx::tool::system
