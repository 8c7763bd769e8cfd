// sbxlog path: moves the log of a running process.
#include <filesystem>

#include "diag/host_discovery.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/setting.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void FailUsage(const std::string& message) {
  throw CommandFailure{kExitUsage, {.id = Id::kUsage, .message = message}};
}

// The file from the root on: the process has a current folder of its own.
WideString FullPathOf(const std::string& text) {
  if (text.empty()) FailUsage("an empty path: give --clear");
  std::error_code error;
  const fs::path path = fs::absolute(ToPath(text), error).make_preferred();
  if (error || !path.has_filename() || fs::is_directory(path, error))
    FailUsage("not the path of a file: " + text);
  if (!fs::is_directory(path.parent_path(), error)) {
    // A process that has its log open makes no folder for the new one, and would lose its messages.
    throw CommandFailure{kExitNotFound,
                         {.id = Id::kFileUnreadable, .message = "its folder is not there", .file = text}};
  }
  WideString wide = path.u16string();
  if (wide.size() >= kLogPathUnits) FailUsage("the path has more than 511 characters: " + text);
  return wide;
}

Value ValueOf(const WideString& path, bool isFixed) {
  if (path.empty()) return {Json(), "-", isFixed};
  return {Json(ToUtf8(path)), PlainText(path), isFixed};
}
Value ValueOf(const LOGCFG_MODULE& record) {
  return ValueOf(WideString(BoundedView(record.path)), (record.flags & kLogPathNotFixed) == 0);
}

void FixPath(LOGCFG_MODULE& record, const WideString& path) {
  StoreText(record.path, path);
  record.flags &= ~kLogPathNotFixed;
}

// A process that is given an empty path puts its default one there, at the price of a message.
void ClearPath(LOGCFG_MODULE& record) {
  if ((record.flags & kLogPathNotFixed) == 0) StoreText(record.path, u"");
  record.flags |= kLogPathNotFixed;
}

void SetModule(LOGCFG_MODULE& record, const std::optional<WideString>& path, Change& change) {
  change.before = ValueOf(record);
  path ? FixPath(record, *path) : ClearPath(record);
  change.after = ValueOf(record);
  change.module = WideString(BoundedView(record.name));
}

}  // namespace

int RunPath(const SettingOptions& options, const OutputForm& form) {
  const SettingTarget target = TargetOf(options, "path");
  std::optional<WideString> path;
  if (target.value) path = FullPathOf(*target.value);
  Change change = {.what = "path", .processId = options.processId, .module = {}, .before = {}, .after = {}};
  {
    ConfigBlock config(options.processId);
    const ConfigBlock::Lock block(config);
    if (target.module) {
      SetModule(RequireModule(*block, options.processId, *target.module), path, change);
    } else {
      change.before = ValueOf(WideString(BoundedView(block->globalPath)), false);
      StoreText(block->globalPath, path.value_or(WideString()));
      change.after = ValueOf(WideString(BoundedView(block->globalPath)), false);
    }
  }
  PutChange(change, form);
  return kExitFine;
}

}  // namespace sbx::tool
