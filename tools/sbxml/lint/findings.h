// What lint has found so far, by document.
#pragma once

#include <string>
#include <vector>

#include "desc/structure_description.h"
#include "sbxml/diagnostics.h"
#include "sbxml/documents.h"

namespace sbx::tool::lint {

// What a finding is about, beside its place. Null where it is about no record or item.
struct Subject {
  const JSStructDesc* record = nullptr;
  const JSStructItemDesc* item = nullptr;
  WideView itemName = {};  // where there is no item to show more of
};

// The findings in one document, in any order.
class Findings {
 public:
  explicit Findings(const SourceFile& source) noexcept : source_(source) {}
  Findings(const Findings&) = delete;
  Findings& operator=(const Findings&) = delete;

  void Add(Id id, SourcePosition position, std::string message, const Subject& subject = {});
  void Add(Diagnostic diagnostic) { found_.push_back(std::move(diagnostic)); }
  // In the order of their places.
  std::vector<Diagnostic> Take();

 private:
  const SourceFile& source_;
  std::vector<Diagnostic> found_;
};

}  // namespace sbx::tool::lint
