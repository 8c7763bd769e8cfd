// Documents given as files: reading them in any of the four encodings, and the pair of descriptions and rules
// as the table that the library takes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "sbxml/diagnostics.h"
#include "sbxml/exit_codes.h"
#include "sbxml/source_tree.h"
#include "sbxml/system.h"

namespace sbx {
class JSConvertRulesDesc;
class JSPDBMemDesc;
}  // namespace sbx

namespace sbx::tool {

// The name of standard input and output on the command line.
inline constexpr std::string_view kStandardStream = "-";

struct SourceFile {
  std::string name;                  // as diagnostics show it
  WideString text;                   // without mark and declaration
  SourcePosition start;              // where the text begins in the file
  std::vector<Diagnostic> findings;  // what reading it lost without a word

  Place At(SourcePosition position) const { return {name, position.line, position.column}; }
};

// Reads a file, or standard input, through SBXReadXML. Throws CommandFailure with kExitNoFile.
SourceFile ReadSource(const std::string& path);

// A file that holds all of standard input: the library reads files. Made at the first call, gone at the end
// of the process. Throws CommandFailure with kExitNoFile.
const std::string& StandardInputFile();
// What a parent has copied of it already.
void SetStandardInputFile(std::string path);

// The tree of a source. Throws CommandFailure with the given code and id where it is not well formed.
SourceTree ParseSource(const SourceFile& source, int exitCode = kExitBadInput, Id id = Id::kNotWellFormed);

// Where descriptions, rules and the root record come from; empty where not given.
struct SetOptions {
  std::string descriptions;
  std::string rules;
  std::string root;
};

// Both documents, loaded by the core's own loaders and held ready for the library.
class DocumentSet {
 public:
  // Throws CommandFailure with kExitNoFile or kExitBadSet.
  explicit DocumentSet(const SetOptions& options);
  ~DocumentSet();
  DocumentSet(const DocumentSet&) = delete;
  DocumentSet& operator=(const DocumentSet&) = delete;

  static constexpr std::uint32_t kDescriptionsId = 1;
  static constexpr std::uint32_t kRulesId = 2;

  SBXModule module() const noexcept { return module_->get(); }
  const WideString& root() const noexcept { return root_; }

  JSPDBMemDesc& descriptions() const noexcept { return *descriptions_; }
  JSConvertRulesDesc& rules() const noexcept { return *rules_; }
  const SourceFile& ruleSource() const noexcept { return ruleSource_; }
  const SourceFile& descriptionSource() const noexcept { return descriptionSource_; }

 private:
  SourceFile descriptionSource_;
  SourceFile ruleSource_;
  WideString root_;
  std::unique_ptr<JSPDBMemDesc> descriptions_;
  std::unique_ptr<JSConvertRulesDesc> rules_;
  std::unique_ptr<system::DocumentModule> module_;
};

// Tells what reading the two documents lost; returns kExitFindings if there is anything.
int TellOfSet(const DocumentSet& set, Diagnostics& diagnostics);

}  // namespace sbx::tool
