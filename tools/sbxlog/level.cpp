// sbxlog level: changes how much a running process logs.
#include <atomic>
#include <charconv>

#include "sbxlog/exit_codes.h"
#include "sbxlog/setting.h"

namespace sbx::tool {
namespace {

std::int32_t LevelOf(const std::string& text) {
  std::int32_t level = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), level);
  if (error == std::errc() && end == text.data() + text.size() && level >= 0) return level;
  throw CommandFailure{kExitUsage, {.id = Id::kUsage, .message = "not a level: " + text}};
}

Value ValueOf(std::int32_t level, bool isFixed) {
  if (level == kNoLogLevel) return {Json(), "-", isFixed};
  return {Json(level), std::to_string(level), isFixed};
}

// Levels and flags are read by the process without the mutex, so each is written in one piece, and a level
// before the flag that makes it count.
template <class Number>
void StoreShared(Number& field, Number value) noexcept {
  std::atomic_ref(field).store(value);
}

void FixLevel(LOGCFG_MODULE& record, std::int32_t level) noexcept {
  StoreShared(record.level, level);
  StoreShared(record.flags, record.flags & ~kLogLevelNotFixed);
}
void ClearLevel(LOGCFG_MODULE& record) noexcept {
  StoreShared(record.flags, record.flags | kLogLevelNotFixed);
  StoreShared(record.level, kNoLogLevel);
}

Value ValueOf(const LOGCFG_MODULE& record) {
  return ValueOf(record.level, (record.flags & kLogLevelNotFixed) == 0);
}

void SetModule(LOGCFG_MODULE& record, const std::optional<std::int32_t>& level, Change& change) {
  change.before = ValueOf(record);
  level ? FixLevel(record, *level) : ClearLevel(record);
  change.after = ValueOf(record);
  change.module = WideString(BoundedView(record.name));
}

}  // namespace

int RunLevel(const SettingOptions& options, const OutputForm& form) {
  const SettingTarget target = TargetOf(options, "level");
  std::optional<std::int32_t> level;
  if (target.value) level = LevelOf(*target.value);
  Change change = {.what = "level", .processId = options.processId, .module = {}, .before = {}, .after = {}};
  {
    ConfigBlock config(options.processId);
    const ConfigBlock::Lock block(config);
    if (target.module) {
      SetModule(RequireModule(*block, options.processId, *target.module), level, change);
    } else {
      change.before = ValueOf(block->globalLevel, false);
      StoreShared(block->globalLevel, level.value_or(kNoLogLevel));
      change.after = ValueOf(block->globalLevel, false);
    }
  }
  PutChange(change, form);
  return kExitFine;
}

}  // namespace sbx::tool
