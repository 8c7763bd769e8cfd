// The configuration block of a logging process, seen from outside: opened if it is there, never made.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "diag/log_config_format.h"
#include "platform/named_objects.h"
#include "sbxlog/diagnostics.h"

namespace sbx::tool {

struct ModuleState {
  WideString name;
  WideString path;
  std::int32_t level;
  std::uint32_t flags;

  bool IsLevelFixed() const noexcept { return (flags & kLogLevelNotFixed) == 0; }
  bool IsPathFixed() const noexcept { return (flags & kLogPathNotFixed) == 0; }
};

struct ConfigState {
  WideString globalPath;
  std::int32_t globalLevel;
  std::vector<ModuleState> modules;
};

// Throws CommandFailure where the system lets nobody use shared objects at all: the folder of them is
// somebody else's, as a rule.
void RequireSharedObjects();

// Whether the process has a block, whatever is in it.
bool HasConfigBlock(std::uint32_t processId) noexcept;

// Open from construction on.
class ConfigBlock {
 public:
  // Throws CommandFailure if there is no such block.
  explicit ConfigBlock(std::uint32_t processId);
  ConfigBlock(const ConfigBlock&) = delete;
  ConfigBlock& operator=(const ConfigBlock&) = delete;

  // A view of the block for as long as its mutex is held. Throws CommandFailure if the mutex isn't given in
  // time or the block is damaged.
  class Lock {
   public:
    explicit Lock(ConfigBlock& block);
    LOGCFG_BLOCK& operator*() const noexcept { return *view_; }
    LOGCFG_BLOCK* operator->() const noexcept { return view_; }

   private:
    platform::MutexScope scope_;
    LOGCFG_BLOCK* view_ = nullptr;
  };

  ConfigState Read();

 private:
  std::uint32_t processId_;
  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
};

// The record of a module, ignoring case; null if there is none.
LOGCFG_MODULE* FindModuleRecord(LOGCFG_BLOCK& block, WideView name) noexcept;

// Text in the block need not have an end.
template <std::size_t Units>
WideView BoundedView(const char16_t (&text)[Units]) noexcept {
  std::size_t length = 0;
  while (length < Units && text[length] != 0) ++length;
  return {text, length};
}
// Fills the rest with zeros; cuts what doesn't fit.
template <std::size_t Units>
void StoreText(char16_t (&field)[Units], WideView text) noexcept {
  for (char16_t& unit : field) unit = 0;
  CopyTruncated(field, Units, text);
}

}  // namespace sbx::tool
