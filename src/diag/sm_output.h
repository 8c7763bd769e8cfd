// The live channel's output: while a tool has turned it on, every message goes into the ring of the
// executable, whatever its level, and is compared with the tool's breakpoints.
#pragma once

#include <cstdint>
#include <memory>

#include "diag/breakpoints.h"
#include "diag/cached_answer.h"
#include "diag/dbg_log_facade.h"
#include "diag/fork_lock.h"
#include "diag/host_discovery.h"
#include "diag/log_share_memory.h"
#include "platform/critical_section.h"

namespace sbx::NSDBG {

class CSMOutput : public IDBGLogOutput {
 public:
  static constexpr std::int32_t kAllLevels = 9999;

  CSMOutput() noexcept = default;
  ~CSMOutput() override;

  void LogA(std::int32_t level, std::int32_t errorCode, const char* text) override;
  void LogW(std::int32_t level, std::int32_t errorCode, const char16_t* text) override;
  // 9999 while the switch exists, else 0.
  std::int32_t GetLogLevel() override;

  virtual void Nop();
  virtual void Close();
  virtual int Open();
  virtual int CheckSwitch();
  virtual int OpenLogShareMemory();
  virtual int OpenBreakpoints();
  virtual void Post(std::int32_t level, std::int32_t errorCode, WideView text);

  // As for the file output.
  bool LockForFork() noexcept { return NSDBG::LockForFork(lock_); }
  void UnlockAfterFork() noexcept { lock_.unlock(); }
  void StartOverInChild(bool isLockLost) noexcept;

 private:
  bool IsSwitchOn() noexcept;
  void Deliver(std::int32_t level, std::int32_t errorCode, WideView text) noexcept;
  void HoldWithOwnSignal(const platform::Uuid& hitId);

  platform::CriticalSection lock_;
  char16_t processName_[kLogPathUnits] = {};  // the executable's file name; empty until first needed
  char16_t moduleName_[kLogPathUnits] = {};
  std::unique_ptr<CLogShareMemory> channel_;  // null while the channel is closed
  std::unique_ptr<BreakpointHandles> breakpoints_;
  CachedAnswer switch_;
  CachedAnswer missingBreakpoints_;  // true: the tool's objects were looked for and are not there
};

}  // namespace sbx::NSDBG
