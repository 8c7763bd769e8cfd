// sbxlog ps: which processes log, where to and at which levels?
#include "diag/host_discovery.h"
#include "sbxlog/commands.h"
#include "sbxlog/config_block.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/system.h"

namespace sbx::tool {
namespace {

using Rows = std::vector<std::vector<std::string>>;

struct LoggingProcess {
  std::uint32_t id;
  WideString executable;  // full path; empty if it can't be told
  ConfigState config;
};

std::string LevelText(std::int32_t level) {
  return level == kNoLogLevel ? "-" : std::to_string(level);
}

std::string PathText(const WideString& path) {
  return path.empty() ? "-" : PlainText(path);
}

std::string FixedText(const ModuleState& module) {
  if (module.IsLevelFixed() && module.IsPathFixed()) return "level,path";
  if (module.IsLevelFixed()) return "level";
  return module.IsPathFixed() ? "path" : "-";
}

void AddRows(Rows& rows, const LoggingProcess& process) {
  const std::string id = std::to_string(process.id);
  const std::string name = PathText(WideString(FileNameOf(process.executable)));
  const ConfigState& config = process.config;
  const bool hasGlobal = config.globalLevel != kNoLogLevel || !config.globalPath.empty();
  if (hasGlobal || config.modules.empty()) {
    rows.push_back({id, name, "*", LevelText(config.globalLevel), "-", PathText(config.globalPath)});
  }
  for (const ModuleState& module : config.modules) {
    rows.push_back({id, name, PlainText(module.name), LevelText(module.level), FixedText(module),
                    PathText(module.path)});
  }
}

Json LevelJson(std::int32_t level) {
  return level == kNoLogLevel ? Json() : Json(level);
}
Json TextJson(const WideString& text) {
  return text.empty() ? Json() : Json(PlainText(text));
}

Json JsonOf(const LoggingProcess& process) {
  Json modules = Json::array();
  for (const ModuleState& module : process.config.modules) {
    modules.push_back({{"module", PlainText(module.name)},
                       {"level", LevelJson(module.level)},
                       {"level_fixed", module.IsLevelFixed()},
                       {"path", TextJson(module.path)},
                       {"path_fixed", module.IsPathFixed()},
                       {"flags", module.flags}});
  }
  return {{"kind", "process"},
          {"pid", process.id},
          {"executable", TextJson(process.executable)},
          {"global_level", LevelJson(process.config.globalLevel)},
          {"global_path", TextJson(process.config.globalPath)},
          {"modules", std::move(modules)}};
}

void Put(const std::vector<LoggingProcess>& processes, const OutputForm& form) {
  if (form.json) {
    for (const LoggingProcess& process : processes) PutJson(JsonOf(process));
    return;
  }
  if (processes.empty()) return;
  Rows rows = {{"PID", "EXECUTABLE", "MODULE", "LEVEL", "FIXED", "PATH"}};
  for (const LoggingProcess& process : processes) AddRows(rows, process);
  PutTable(rows);
}

}  // namespace

int RunPs(const OutputForm& form, Diagnostics& diagnostics) {
  RequireSharedObjects();
  int exitCode = kExitFine;
  std::vector<LoggingProcess> processes;
  for (const std::uint32_t id : system::ProcessIds()) {
    try {
      if (!HasConfigBlock(id)) continue;
      ConfigBlock block(id);
      processes.push_back({id, system::ExecutableOf(id), block.Read()});
    } catch (const CommandFailure& failure) {
      if (failure.exitCode == kExitNotFound) continue;  // ended meanwhile
      diagnostics.Report({.id = Id::kProcessSkipped, .message = failure.diagnostic.message});
      exitCode = kExitFindings;
    }
  }
  Put(processes, form);
  return exitCode;
}

}  // namespace sbx::tool
