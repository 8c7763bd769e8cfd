// A piece of a test in a process of its own: this program runs once more, the one test in it, and there the
// piece alone. What the test did before the piece it does in that process again; earlier pieces are passed
// over there.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include "support/start_process_win.h"

namespace sbx {

// Ends the child with a code other than 0 and the place if the condition does not hold.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: the child's condition does not hold\n", file, line);
  std::_Exit(1);
}

namespace testing {

// Which piece of the test runs in this process: counted from 1; 0 in the tests' own process.
inline unsigned ChildNumber() {
  const char* const number = std::getenv("SBXML_TEST_CHILD");
  return number == nullptr ? 0 : static_cast<unsigned>(std::atoi(number));
}

// The number of the next piece of the test that runs.
inline unsigned NextChild() {
  static unsigned count = 0;
  static const void* ofTest = nullptr;
  const void* const test = ::testing::UnitTest::GetInstance()->current_test_info();
  if (test != std::exchange(ofTest, test)) count = 0;
  return ++count;
}

// Starts this program again for one piece of the test that runs. Null if it can't be started.
inline HANDLE StartChild(unsigned number) {
  wchar_t program[MAX_PATH];
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::string name = std::string(test->test_suite_name()) + "." + test->name();
  const std::wstring line =
      L"\"" + std::wstring(program) + L"\" --gtest_filter=" + std::wstring(name.begin(), name.end());
  SetEnvironmentVariableW(L"SBXML_TEST_CHILD", std::to_wstring(number).c_str());
  SetEnvironmentVariableW(L"GTEST_TOTAL_SHARDS", nullptr);  // or the one test might be another shard's
  const HANDLE process = StartProcess(program, line, {.inheritsHandles = TRUE}).handle;
  SetEnvironmentVariableW(L"SBXML_TEST_CHILD", nullptr);
  return process;
}

// Waits for its end and closes the handle.
inline DWORD EndOf(HANDLE process) {
  DWORD code = 0xFFFFFFFF;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return code;
}

}  // namespace testing

// Runs the body in a child and says how that ended; "exit 0" if it came to its end. The faults of the
// processor have the names that they have elsewhere.
template <class Body>
std::string InChild(Body body) {
  const unsigned number = testing::NextChild();
  if (const unsigned mine = testing::ChildNumber(); mine != 0) {
    if (mine != number) return "exit 0";
    body();
    std::fflush(nullptr);
    std::_Exit(0);
  }
  const HANDLE process = testing::StartChild(number);
  if (process == nullptr) return "no child";
  const DWORD code = testing::EndOf(process);
  if (code == static_cast<DWORD>(STATUS_ILLEGAL_INSTRUCTION)) return "signal 4";
  if (code == static_cast<DWORD>(STATUS_ACCESS_VIOLATION)) return "signal 11";
  return "exit " + std::to_string(code);
}

}  // namespace sbx
