// The second process as this program started once more, the one test in it, up to the piece that is meant.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <windows.h>

#include "support/child_process_win.h"

namespace sbx::testing {

// Runs `work` in a child, which ends with its result as exit code. What the test did before it does in the
// child again, so it must not wait there for what it holds in the parent.
class KillableProcess {
 public:
  explicit KillableProcess(const std::function<int()>& work) {
    const unsigned number = NextChild();
    if (const unsigned mine = ChildNumber(); mine != 0) {
      if (mine == number) std::_Exit(work());
      return;
    }
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE said = nullptr;
    if (!CreatePipe(&said_, &said, &inherited, 0)) std::abort();
    SetHandleInformation(said_, HANDLE_FLAG_INHERIT, 0);
    SetEnvironmentVariableW(L"SBXML_TEST_PIPE",
                            std::to_wstring(reinterpret_cast<std::uintptr_t>(said)).c_str());
    SetEnvironmentVariableW(L"SBXML_TEST_PARENT", std::to_wstring(GetCurrentProcessId()).c_str());
    process_ = StartChild(number);
    CloseHandle(said);
    if (process_ == nullptr) std::abort();
  }
  ~KillableProcess() {
    if (process_ != nullptr) Kill();
    if (said_ != nullptr) CloseHandle(said_);
  }
  KillableProcess(const KillableProcess&) = delete;
  KillableProcess& operator=(const KillableProcess&) = delete;

  // In the child: tells the parent that a point was reached.
  static void Say() {
    const auto pipe = static_cast<std::uintptr_t>(std::strtoull(std::getenv("SBXML_TEST_PIPE"), nullptr, 10));
    const char word = '.';
    DWORD written = 0;
    if (!WriteFile(reinterpret_cast<HANDLE>(pipe), &word, 1, &written, nullptr)) std::_Exit(99);
  }
  // In the child: waits for the end.
  [[noreturn]] static int Sleep() {
    for (;;) ::Sleep(INFINITE);
  }
  // Whether what stands before the child in a test is run for the parent, and not once more for the child.
  static bool IsParent() { return ChildNumber() == 0; }
  // In the child: the number of its parent.
  static std::uint32_t ParentId() {
    return static_cast<std::uint32_t>(std::strtoul(std::getenv("SBXML_TEST_PARENT"), nullptr, 10));
  }

  // In the parent: waits until the child has said one more word. False if it ended before.
  bool Await() {
    char word;
    DWORD got = 0;
    return said_ == nullptr || (ReadFile(said_, &word, 1, &got, nullptr) && got == 1);
  }
  void Kill() {
    if (process_ != nullptr) TerminateProcess(process_, kKilledCode);
    Wait();
  }
  // The exit code, or -1 after it was killed.
  int Wait() {
    if (process_ == nullptr) return 0;
    const DWORD code = EndOf(std::exchange(process_, nullptr));
    return code == kKilledCode ? -1 : static_cast<int>(code);
  }

 private:
  HANDLE said_ = nullptr;
  HANDLE process_ = nullptr;
};

}  // namespace sbx::testing
