#include "sbxlog/config_block.h"

#include "base/format.h"
#include "diag/live_channel_format.h"
#include "sbxlog/exit_codes.h"

namespace sbx::tool {
namespace {

// A logging process holds the mutex for microseconds.
constexpr std::uint32_t kMutexMilliseconds = 5000;

platform::ObjectStatus OpenBlock(platform::SharedBlock& mapping, std::uint32_t processId) noexcept {
  const platform::ObjectStatus status = mapping.Open(Message(kLogConfigBlockName, processId).view());
  if (platform::IsOpened(status)) return status;
  const platform::ObjectStatus second = mapping.Open(Message(kLogConfigLocalBlockName, processId).view());
  return platform::IsOpened(second) ? second : status;
}

[[noreturn]] void Fail(int exitCode, Id id, const std::string& message) {
  throw CommandFailure{exitCode, {.id = id, .message = message}};
}

[[noreturn]] void FailNoSuchProcess(std::uint32_t processId) {
  Fail(kExitNotFound, Id::kNoSuchProcess, "no process " + std::to_string(processId) + " that logs");
}

std::string BlockOf(std::uint32_t processId) {
  return "the configuration block of process " + std::to_string(processId);
}

}  // namespace

void RequireSharedObjects() {
  platform::NamedEvent probe;
  const platform::ObjectStatus status = probe.Open(kLogSwitchName);
  if (!platform::IsOpened(status) && status != platform::ObjectStatus::kNotFound) {
    Fail(kExitRefused, Id::kRefused, "the system refuses the use of shared objects");
  }
}

bool HasConfigBlock(std::uint32_t processId) noexcept {
  platform::SharedBlock mapping;
  return OpenBlock(mapping, processId) != platform::ObjectStatus::kNotFound;
}

ConfigBlock::ConfigBlock(std::uint32_t processId) : processId_(processId) {
  const platform::ObjectStatus block = OpenBlock(mapping_, processId);
  if (block == platform::ObjectStatus::kNotFound) FailNoSuchProcess(processId);
  const platform::ObjectStatus mutex = mutex_.Open(Message(kLogConfigMutexName, processId).view());
  if (platform::IsOpened(block) && platform::IsOpened(mutex)) return;
  if (mutex == platform::ObjectStatus::kNotFound) {  // it may have ended between the two
    mapping_.Close();
    if (!HasConfigBlock(processId)) FailNoSuchProcess(processId);
  }
  if (block == platform::ObjectStatus::kDenied || mutex == platform::ObjectStatus::kDenied) {
    Fail(kExitRefused, Id::kRefused, BlockOf(processId) + " can't be opened");
  }
  Fail(kExitBadInput, Id::kDamagedBlock, BlockOf(processId) + " or its mutex is none");
}

ConfigBlock::Lock::Lock(ConfigBlock& block) : scope_(block.mutex_, kMutexMilliseconds) {
  // A holder that died leaves levels and paths that are old or new; both can be read.
  if (scope_.result() != platform::WaitResult::kObtained &&
      scope_.result() != platform::WaitResult::kAbandoned) {
    Fail(kExitRefused, Id::kRefused, BlockOf(block.processId_) + " is held by someone");
  }
  view_ = static_cast<LOGCFG_BLOCK*>(block.mapping_.Map(sizeof(LOGCFG_BLOCK)));
  if (view_ == nullptr || view_->headMagic != kLogConfigMagic || view_->tailMagic != kLogConfigMagic) {
    Fail(kExitBadInput, Id::kDamagedBlock, BlockOf(block.processId_) + " is damaged");
  }
}

ConfigState ConfigBlock::Read() {
  const Lock block(*this);
  ConfigState state{WideString(BoundedView(block->globalPath)), block->globalLevel, {}};
  for (const LOGCFG_MODULE& record : block->modules) {
    if (record.name[0] == 0) break;
    state.modules.push_back({WideString(BoundedView(record.name)), WideString(BoundedView(record.path)),
                             record.level, record.flags});
  }
  return state;
}

LOGCFG_MODULE* FindModuleRecord(LOGCFG_BLOCK& block, WideView name) noexcept {
  for (LOGCFG_MODULE& record : block.modules) {
    if (record.name[0] == 0) break;
    if (EqualsIgnoringCase(BoundedView(record.name), name)) return &record;
  }
  return nullptr;
}

}  // namespace sbx::tool
