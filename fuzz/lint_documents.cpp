// Descriptions, rules and a root name for lint: it must end, and agree with the loaders.
#include "sbxml/lint/lint_documents.h"

#include "desc/structure_description.h"
#include "fuzz_case.h"
#include "rules/rule_set.h"

using namespace sbx;
using namespace sbx::fuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  QuietLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<Bytes> parts = Split({data, size}, 3);
  const auto source = [](Bytes text) {
    const WideString wide = Widen(text);
    return tool::SourceFile{"file", wide.substr(0, wide.find(u'\0')), {}, {}};
  };
  const tool::SourceFile descriptions = source(parts[1]);
  const tool::SourceFile rules = source(parts[2]);
  const tool::lint::Outcome outcome = tool::lint::LintDocuments(descriptions, rules, Widen(parts[0]));
  JSPDBMemDesc records;
  JSConvertRulesDesc ruleSet;
  const bool loads =
      records.LoadFromXML(descriptions.text.c_str()) == kOk && ruleSet.LoadFromXML(rules.text.c_str()) == kOk;
  if (loads != outcome.loads) Finding("lint and the loaders do not agree");
  return 0;
}
