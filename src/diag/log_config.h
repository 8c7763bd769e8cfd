// The process-wide log configuration: live levels and paths in the LOGCFG block, start values from the
// registry.
//
// Any thread may call. Text parameters are never null; an empty name means none. Nothing here fails its
// caller: what can't be told comes back as -1 or leaves the buffer as it was. May throw std::bad_alloc.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "base/wide_text.h"
#include "diag/host_discovery.h"
#include "diag/log_config_format.h"
#include "platform/named_objects.h"

namespace sbx {

class CLogConfig {
 public:
  // Detects the installed products and decides the log folder.
  CLogConfig();
  ~CLogConfig() { Shutdown(); }
  CLogConfig(const CLogConfig&) = delete;
  CLogConfig& operator=(const CLogConfig&) = delete;

  // The process's own. Never destroyed; closed by Shutdown.
  static CLogConfig& Instance();

  // What the constructor found out, found out anew: for a log that starts again. No other thread may be
  // inside a call.
  void DetectAgain();

  // Opens the block of this process, or makes it. True on success, and then the block may still be unusable.
  bool Attach(std::uint32_t processId);

  // The live level of a module, or -1. Takes the mutex only to find a record that it doesn't know yet.
  std::int32_t GetModuleLevel(WideView name);
  // The same for the module whose name lies at this address since it was registered, and only if that takes
  // neither mutex nor look-up: asked with every message. False if it does.
  bool ReadLevel(const char16_t* registeredName, std::int32_t* level) const noexcept;
  // Claims a record for the module and writes its default path there, unless the path is fixed.
  void RegisterModule(WideView name);
  // Writes the path to log to into `path`, or leaves it.
  void GetLogPath(WideView name, bool disableGlobal, char16_t (&path)[kLogPathUnits]);
  // Moves the log of a module, or of all that follow the global path while there is one. An empty path stands
  // for the default one.
  void SetLogPath(WideView name, WideView path);
  // The default path of a name; a name with a separator in it already is a path.
  WideString ResolveLogPath(WideView name);
  // Decides the folder of default paths, if that wasn't done yet.
  void BuildLogFolder();
  // The folder with its final separator; built if it is still empty.
  WideView LogFolder();
  std::uint32_t installFlags() const noexcept { return installFlags_; }

  // Clears the current record, and closes the view, the block and the mutex. No other thread may be inside a
  // call. The next call attaches anew.
  void Shutdown() noexcept;

  // In a forked child, whose handles are closed already: the next call makes the child's own block and
  // registers the modules in it that this object registered before.
  void StartOverInChild() noexcept;

 private:
  class Guard;

  std::optional<std::int32_t> LevelWithoutMutex(WideView name) noexcept;
  std::int32_t LevelOf(const LOGCFG_MODULE* record, bool hasName) const noexcept;
  void FindModule(WideView name) noexcept;
  LOGCFG_MODULE* ClaimRecord(WideView name) noexcept;
  void RegisterUnderGuard(WideView name);
  bool MapBlock(bool isNew) noexcept;

  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
  std::atomic<LOGCFG_BLOCK*> view_ = nullptr;
  std::atomic<LOGCFG_MODULE*> current_ = nullptr;      // the last module found; changed under the mutex
  std::atomic<LOGCFG_MODULE*> registered_ = nullptr;   // the record of the module that registered last
  std::atomic<const char16_t*> registrant_ = nullptr;  // where its caller keeps its name
  std::atomic<bool> isForked_ = false;
  std::uint32_t installFlags_ = 0;
  char16_t ownRecord_[64] = {};  // the module that registered last, for a forked child
  char16_t logFolder_[kLogPathUnits] = {};
};

// The level that the registry holds for a name, exactly as spelled, or -1. Read once for each name.
std::int32_t GetRegistryLevel(WideView name);

// 1 if the executable of this name keeps its own log path although a global one is set, else 0.
int IsGlobalOptionDisabled(WideView name);

// Frees the two tables behind these functions. No other thread may be inside them.
void ForgetRegistryLevels() noexcept;
void ForgetGlobalOptions() noexcept;
// In a forked child: a table whose lock was held by a thread that is gone is started over.
void FreeTablesInChild() noexcept;

}  // namespace sbx
