#include <gtest/gtest.h>
#include <map>
#include <windows.h>

#include "platform/module_identity.h"
#include "support/start_process_win.h"
#include "workers.h"

namespace sbx::testing {
namespace {

std::map<Worker, StartedProcess>& Workers() {
  static std::map<Worker, StartedProcess> workers;
  return workers;
}

std::filesystem::path ProgramPath() {
  return std::filesystem::path(platform::ExecutablePath()).parent_path() / "log_worker.exe";
}

}  // namespace

WideString WorkerProgram() {
  return ProgramPath().filename().u16string();
}

Worker StartWorker(const std::string& command, const std::filesystem::path& folder,
                   const std::vector<std::string>& arguments) {
  static Worker last = 0;
  const Worker worker = ++last;
  const std::wstring program = ProgramPath().wstring();
  std::wstring line = L"\"" + program + L"\" " + std::wstring(command.begin(), command.end()) + L" \"" +
                      folder.wstring() + L"\" " + std::to_wstring(worker);
  for (const std::string& word : arguments) line += L" " + std::wstring(word.begin(), word.end());
  Workers()[worker] = StartProcess(program, line);
  return worker;
}

std::uint32_t ProcessOf(Worker worker) {
  return Workers().at(worker).id;
}

int WaitForWorker(Worker worker) {
  StartedProcess& started = Workers().at(worker);
  DWORD code = 0;
  EXPECT_EQ(WaitForSingleObject(started.handle, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(GetExitCodeProcess(started.handle, &code));
  CloseHandle(started.handle);
  return code == kKilledCode ? kWasKilled : static_cast<int>(code);
}

void KillWorker(Worker worker) {
  EXPECT_TRUE(TerminateProcess(Workers().at(worker).handle, kKilledCode));
}

int KillAndCountAbandoned(Worker worker, const LogSandbox&) {
  KillWorker(worker);
  EXPECT_EQ(WaitForWorker(worker), kWasKilled);
  return 1;  // a process writes into one file at a time
}

}  // namespace sbx::testing
