// The commands: one file each. They return an exit code, or throw CommandFailure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sbxlog/diagnostics.h"
#include "sbxlog/message_filter.h"
#include "sbxlog/output.h"

namespace sbx::tool {

int RunPs(const OutputForm& form, Diagnostics& diagnostics);

struct CatOptions {
  std::string file;
  FilterOptions filter;
  std::string from;  // as on the command line; empty for none
  std::string to;
  bool isAlone = false;  // without the siblings
};
int RunCat(const CatOptions& options, const OutputForm& form, Diagnostics& diagnostics);

struct TailOptions {
  std::vector<std::string> names;  // of executables; none: all that log
  FilterOptions filter;
  std::optional<std::string> until = {};  // ends with a shown message that holds this
  std::optional<double> timeout = {};     // seconds
};
int RunTail(const TailOptions& options, const OutputForm& form, Diagnostics& diagnostics);

// Of `level` and `path`.
struct SettingOptions {
  std::uint32_t processId = 0;
  std::vector<std::string> words;  // module and value, as far as given
  bool isClearing = false;
};
int RunLevel(const SettingOptions& options, const OutputForm& form);
int RunPath(const SettingOptions& options, const OutputForm& form);

struct BreakAddOptions {
  std::string process;          // an executable's file name
  std::uint32_t processId = 0;  // 0: any
  std::uint32_t threadId = 0;   // 0: any
  std::string text;
  double hold = 30;                    // seconds
  std::optional<double> timeout = {};  // seconds
};
int RunBreakAdd(const BreakAddOptions& options, const OutputForm& form);

int RunBreakList(const OutputForm& form);
int RunBreakHits(const OutputForm& form);

// Of a hit or a breakpoint.
struct BreakIdOptions {
  std::string id;  // or the front of one
  bool isAll = false;
};
int RunBreakRelease(const BreakIdOptions& options, const OutputForm& form);
int RunBreakRemove(const BreakIdOptions& options, const OutputForm& form);

}  // namespace sbx::tool
