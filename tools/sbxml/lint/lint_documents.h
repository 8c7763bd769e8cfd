// All checks of a pair of documents.
#pragma once

#include <vector>

#include "sbxml/diagnostics.h"
#include "sbxml/documents.h"

namespace sbx::tool::lint {

struct Outcome {
  std::vector<Diagnostic> findings;  // in the order of their places, those in the descriptions first
  bool loads = false;                // whether the library would load both documents
};

// `root` is the root record's name; empty where it is not known. Any text may be given: the time is in
// proportion to its length.
Outcome LintDocuments(const SourceFile& descriptions, const SourceFile& rules, const WideString& root);

}  // namespace sbx::tool::lint
