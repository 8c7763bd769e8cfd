// What `level` and `path` have in common: a value of one module or of all, changed and shown with what it
// was.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sbxlog/commands.h"
#include "sbxlog/config_block.h"

namespace sbx::tool {

// The command line taken apart: whom it is for, and the new value; none clears.
struct SettingTarget {
  std::optional<WideString> module;
  std::optional<std::string> value;
};
// Throws CommandFailure with kExitUsage.
SettingTarget TargetOf(const SettingOptions& options, const std::string& what);

// Throws CommandFailure with kExitNotFound.
LOGCFG_MODULE& RequireModule(LOGCFG_BLOCK& block, std::uint32_t processId, const WideString& name);

struct Value {
  Json json;         // null: none
  std::string text;  // "-": none
  bool isFixed = false;
};
// "4711 libsbxml.so: level - -> 4 fixed", or a JSON object of kind `what`.
struct Change {
  std::string what;
  std::uint32_t processId;
  std::optional<WideString> module;
  Value before;
  Value after;
};
void PutChange(const Change& change, const OutputForm& form);

}  // namespace sbx::tool
