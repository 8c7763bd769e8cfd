#include "diag/log_lifecycle.h"

#include <atomic>
#include <chrono>
#include <new>
#include <thread>

#include "diag/dbg_log_facade.h"
#include "diag/file_output.h"
#include "diag/log_config.h"
#include "diag/sm_output.h"
#include "platform/fork_hooks.h"

namespace sbx {
namespace {

constexpr std::chrono::milliseconds kPatience{1000};

// The outputs that StartLog made; the facade may meanwhile hold others, in tests.
constinit NSDBG::CFileOutput* g_file = nullptr;
constinit NSDBG::CSMOutput* g_live = nullptr;
constinit std::atomic<bool> g_areHooksSet = false;

constinit bool g_hasStopped = false;

// Which locks the forking thread holds over the fork.
constinit bool g_isFileHeld = false;
constinit bool g_isLiveHeld = false;

void BeforeFork() noexcept {
  g_isFileHeld = g_file != nullptr && g_file->LockForFork();
  g_isLiveHeld = g_live != nullptr && g_live->LockForFork();
}

void InParent() noexcept {
  if (g_isLiveHeld && g_live != nullptr) g_live->UnlockAfterFork();
  if (g_isFileHeld && g_file != nullptr) g_file->UnlockAfterFork();
}

void InChild() noexcept {
  LogCallUnderWay::ForgetAll();
  FreeTablesInChild();
  if (g_live != nullptr) g_live->StartOverInChild(!g_isLiveHeld);
  if (g_file != nullptr) {
    g_file->StartOverInChild(!g_isFileHeld);
    CLogConfig::Instance().StartOverInChild();
  }
  InParent();
}

bool WaitForCallsUnderWay() noexcept {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!LogCallUnderWay::IsNone()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Takes an output out of the facade, unless another one stands there.
void TakeAway(IDBGLogOutput*& place, IDBGLogOutput* own) noexcept {
  std::atomic_ref(place).compare_exchange_strong(own, nullptr);
}

}  // namespace

void StartLog() noexcept {
  if (g_file != nullptr) return;
  try {
    CLogConfig& config = CLogConfig::Instance();
    if (g_hasStopped) config.DetectAgain();
    g_file = new NSDBG::CFileOutput(config);
    g_live = new NSDBG::CSMOutput;
  } catch (const std::bad_alloc&) {
    delete g_file;
    g_file = nullptr;
    return;
  }
  // After the outputs opened their first named objects: their hooks then lie around ours.
  if (!g_areHooksSet.exchange(true)) platform::RegisterForkHooks({&BeforeFork, &InParent, &InChild});
  std::atomic_ref(g_DBGLog.fileOutput).store(g_file);
  std::atomic_ref(g_DBGLog.smOutput).store(g_live);
}

void StopLog() noexcept {
  if (g_file == nullptr) return;
  TakeAway(g_DBGLog.fileOutput, g_file);
  TakeAway(g_DBGLog.smOutput, g_live);
  NSDBG::CFileOutput* file = g_file;
  NSDBG::CSMOutput* live = g_live;
  g_file = nullptr;
  g_live = nullptr;
  if (!WaitForCallsUnderWay()) return;
  g_hasStopped = true;
  delete file;
  delete live;
  ForgetRegistryLevels();
  ForgetGlobalOptions();
  CLogConfig::Instance().Shutdown();
  platform::ReleaseNamedObjects();
}

}  // namespace sbx
