// The log file of a module: one line for each message, written by any number of threads, modules and
// processes at once, moved on to a numbered sibling when it is full.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "base/format.h"
#include "diag/dbg_log_facade.h"
#include "diag/fork_lock.h"
#include "diag/host_discovery.h"
#include "diag/log_config.h"
#include "platform/critical_section.h"
#include "platform/log_files.h"
#include "platform/named_objects.h"

namespace sbx {

// A path without its number and suffix, and the number; 0 for a path that is no numbered file of a log.
struct RotatedName {
  WideString base;
  std::int32_t number;
};
RotatedName SplitRotatedName(WideView path);
// Whether two paths are the same log: a file and its numbered siblings are.
bool SameLogFile(WideView a, WideView b);

namespace NSDBG {

// A file of this many bytes is full.
inline constexpr std::uint32_t kFullLogBytes = 0x6400000;

class CFileOutput : public IDBGLogOutput {
 public:
  // `fullBytes` is smaller in tests only. May throw std::bad_alloc.
  explicit CFileOutput(CLogConfig& config = CLogConfig::Instance(), std::uint32_t fullBytes = kFullLogBytes);
  ~CFileOutput() override;

  void LogA(std::int32_t level, std::int32_t errorCode, const char* text) override;
  void LogW(std::int32_t level, std::int32_t errorCode, const char16_t* text) override;
  std::int32_t GetLogLevel() override;

  // Around a fork: the lock is taken if that takes no long wait, so that the child finds a file between two
  // lines.
  bool LockForFork() noexcept { return NSDBG::LockForFork(lock_); }
  void UnlockAfterFork() noexcept { lock_.unlock(); }
  // In the child: the next message opens the file anew. `isLockLost` tells of a lock that a vanished thread
  // holds.
  void StartOverInChild(bool isLockLost) noexcept;

 private:
  template <class WriteLine>
  void Log(std::int32_t level, WriteLine writeLine) noexcept;
  void RefreshLevel();
  bool EnsureOpen();
  bool ResolveFile();
  bool RollForward();
  bool OpenFile(bool isFirst);
  bool OpenMutex();
  void CloseFile() noexcept;
  void CloseAll() noexcept;
  bool IsFirstOpening();
  void ReadFileVersion() noexcept;
  void PrepareLogFolder(WideView path);

  void CheckEncoding() noexcept;
  void MendTail() noexcept;
  void WriteSummary();
  void WriteLineW(WideView header, WideView text, bool withTail);
  void WriteLineA(std::string_view header, std::string_view text, bool withTail);
  Message Tail() const noexcept;
  void WritePieces(std::span<platform::LogFile::Piece> pieces) noexcept;

  CLogConfig& config_;
  const std::uint32_t fullBytes_;
  char16_t logPath_[kLogPathUnits] = {};
  char16_t moduleName_[64] = {};     // as the module stands in the configuration
  char16_t ownModule_[64] = {};      // as it is printed
  char16_t hostProcess_[64] = {};    // the executable's file name
  std::uint32_t fileVersionLS_ = 0;  // of this module
  bool isFileVersionRead_ = false;
  bool isWideFile_ = true;       // the file's own first bytes decide
  bool isTailDoubtful_ = false;  // a writer may have died in the middle of the file's last line
  std::atomic<std::int32_t> level_ = 2;
  platform::LogFile file_;
  platform::NamedMutex fileMutex_;
  platform::CriticalSection lock_;
  bool disableGlobal_ = false;
  std::vector<WideString> openedFiles_;
};

}  // namespace NSDBG
}  // namespace sbx
