// sbxml lint: what is wrong with a pair of descriptions and rules, before anyone converts by them.
#include "sbxml/commands.h"
#include "sbxml/lint/lint_documents.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

constexpr WideView kNoRules = u"<ConvertRuleDesc/>";

bool IsShown(const Diagnostic& finding, Severity least) noexcept {
  return static_cast<int>(InfoOf(finding.id).severity) <= static_cast<int>(least);
}

}  // namespace

int RunLint(const LintOptions& options, Diagnostics& diagnostics) {
  const SourceFile descriptions = ReadSource(options.set.descriptions);
  const SourceFile rules = options.set.rules.empty() ? SourceFile{"<no rules>", WideString(kNoRules), {}, {}}
                                                     : ReadSource(options.set.rules);
  const lint::Outcome outcome = lint::LintDocuments(descriptions, rules, ToWide(options.set.root));
  for (const Diagnostic& finding : outcome.findings) {
    if (IsShown(finding, options.least)) diagnostics.Report(finding);
  }
  diagnostics.TellHidden();
  if (!outcome.loads) return kExitBadSet;
  return diagnostics.told() == 0 ? kExitFine : kExitFindings;
}

}  // namespace sbx::tool
