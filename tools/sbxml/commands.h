// The commands: one file each. They return an exit code, or throw CommandFailure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sbxml/diagnostics.h"
#include "sbxml/documents.h"
#include "sbxml/output_file.h"
#include "sbxml/system.h"

namespace sbx::tool {

// A check that another one started for some of its files.
struct ChildOptions {
  system::Channel channel = 0;
  std::uint32_t told = 0;  // diagnostics that were told before
  std::string inputCopy;   // of the parent's standard input; empty for none
};

struct CheckOptions {
  SetOptions set;
  std::vector<std::string> files;
  std::vector<std::string> manners;   // of diagnostics, as arguments for a child
  std::optional<ChildOptions> child;  // set in a child
};
int RunCheck(const CheckOptions& options, Diagnostics& diagnostics);

struct InspectOptions {
  SetOptions set;
  std::string file;
  bool json = false;
  bool blocks = false;
  bool hex = false;
};
int RunInspect(const InspectOptions& options, Diagnostics& diagnostics);

struct ConvertOptions {
  std::string file;
  std::string output;
  Encoding encoding = Encoding::kUtf8;
  bool pretty = false;
};
int RunConvert(const ConvertOptions& options, Diagnostics& diagnostics);

struct DescribeOptions {
  SetOptions set;
  std::string record;  // empty for all
  bool json = false;
};
int RunDescribe(const DescribeOptions& options, Diagnostics& diagnostics);

struct LintOptions {
  SetOptions set;
  Severity least = Severity::kNote;  // what is less than this is not told
};
int RunLint(const LintOptions& options, Diagnostics& diagnostics);

}  // namespace sbx::tool
