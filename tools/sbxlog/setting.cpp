#include "sbxlog/setting.h"

#include <iostream>

#include "sbxlog/exit_codes.h"
#include "sbxml/text.h"

namespace sbx::tool {

SettingTarget TargetOf(const SettingOptions& options, const std::string& what) {
  SettingTarget target;
  std::vector<std::string> words = options.words;
  if (!options.isClearing && !words.empty()) {
    target.value = words.back();
    words.pop_back();
  }
  if (options.isClearing == target.value.has_value() || words.size() > 1) {
    throw CommandFailure{
        kExitUsage, {.id = Id::kUsage, .message = "give a module or none, and a " + what + " or --clear"}};
  }
  if (!words.empty()) target.module = ToWide(words.front());
  return target;
}

LOGCFG_MODULE& RequireModule(LOGCFG_BLOCK& block, std::uint32_t processId, const WideString& name) {
  if (LOGCFG_MODULE* const record = FindModuleRecord(block, name)) return *record;
  throw CommandFailure{
      kExitNotFound,
      {.id = Id::kNoSuchModule,
       .message = "process " + std::to_string(processId) + " has no module " + PlainText(name)}};
}

void PutChange(const Change& change, const OutputForm& form) {
  if (form.json) {
    return PutJson({{"kind", change.what},
                    {"pid", change.processId},
                    {"module", change.module ? Json(PlainText(*change.module)) : Json()},
                    {"old", change.before.json},
                    {"old_fixed", change.before.isFixed},
                    {"new", change.after.json},
                    {"new_fixed", change.after.isFixed}});
  }
  const auto shown = [](const Value& value) { return value.text + (value.isFixed ? " fixed" : ""); };
  std::cout << change.processId << ' ' << (change.module ? PlainText(*change.module) : "*") << ": "
            << change.what << ' ' << shown(change.before) << " -> " << shown(change.after) << '\n';
}

}  // namespace sbx::tool
