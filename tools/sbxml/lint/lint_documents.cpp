#include "sbxml/lint/lint_documents.h"

#include <optional>

#include "sbxml/lint/layout.h"
#include "sbxml/lint/model.h"
#include "sbxml/lint/presentation.h"
#include "sbxml/lint/relocations.h"
#include "sbxml/lint/rule_checks.h"
#include "sbxml/lint/types.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

// One document with what was found in it.
struct Document {
  const SourceFile& source;
  Findings findings;
  SourceTree tree;

  Document(const SourceFile& file, Id notWellFormed)
      : source(file), findings(file), tree(file.text, file.start) {
    for (const Diagnostic& finding : file.findings) findings.Add(finding);
    if (!isXml()) findings.Add(notWellFormed, tree.failure()->position, tree.failure()->message);
  }
  bool isXml() const noexcept { return !tree.failure(); }
};

class Lint {
 public:
  Lint(const SourceFile& descriptions, const SourceFile& rules, const WideString& root)
      : root_(root), descriptions_(descriptions, Id::kBadDescriptions), rules_(rules, Id::kBadRules) {}

  Outcome Run() {
    Outcome outcome;
    outcome.loads = descriptions_.isXml() && RunChecks();
    outcome.findings = descriptions_.findings.Take();
    for (Diagnostic& finding : rules_.findings.Take()) outcome.findings.push_back(std::move(finding));
    return outcome;
  }

 private:
  bool RunChecks() {
    Records records(descriptions_.tree, descriptions_.findings);
    const JSStructDesc* const root = FindRoot(records);
    const SourceTree noRules(u"<ConvertRuleDesc/>", {});
    const Rules rules(rules_.isXml() ? rules_.tree : noRules, records, rules_.findings);
    FindLiveTypes(records);
    CheckLayout(records, descriptions_.findings);
    CheckTypes(records, descriptions_.findings, rules_.findings);
    CheckPresentation(records, descriptions_.findings);
    const Usage usage(records, root);
    CheckRules(records, rules, Paths(records, root_), usage, rules_.findings);
    CheckRelocations(records, usage, root, descriptions_.findings, rules_.findings);
    return records.loads() && rules.loads() && rules_.isXml();
  }

  const JSStructDesc* FindRoot(Records& records) {
    if (root_.empty()) return nullptr;
    const JSStructDesc* const root = records.set().FindStruct(root_);
    if (root == nullptr) {
      descriptions_.findings.Add(Id::kUnknownRoot, descriptions_.source.start,
                                 "there is no root record " + Quoted(root_));
    }
    return root;
  }

  const WideString& root_;
  Document descriptions_;
  Document rules_;
};

}  // namespace

Outcome LintDocuments(const SourceFile& descriptions, const SourceFile& rules, const WideString& root) {
  return Lint(descriptions, rules, root).Run();
}

}  // namespace sbx::tool::lint
