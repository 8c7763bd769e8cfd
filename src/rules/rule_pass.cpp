#include "api/conversion_state.h"
#include "rules/rule_set.h"

namespace sbx {
namespace {

// Plain narrow strings are converted as wide ones in both directions: exactly these five characters, no array
// and no other spelling. Types change only through rules, so most passes find nothing new to look at.
void WidenPlainStrings(JSStructDesc& record) {
  if (record.ruleNotes.plainTextRevision == record.plainTextRevision()) return;
  for (JSStructItemDesc& item : record.items()) {
    if (item.type() == u"char*") item.SetType(u"wchar_t*");
  }
  record.ruleNotes.plainTextRevision = record.plainTextRevision();
}

// The record's entry in the cached rule set, or null; looked up by name once for each state of the set.
JSRuleDesc* RulesOf(JSStructDesc& record) noexcept {
  JSConvertRulesDesc* const set = g_conversion.cachedRuleSet;
  if (set == nullptr) return nullptr;
  RulePassNotes& notes = record.ruleNotes;
  if (notes.ruleSetStamp != set->stamp()) {
    notes.rules = set->FindRule(record.name);
    notes.ruleSetStamp = set->stamp();
  }
  return notes.rules;
}

// Runs `apply` on each rule of the record in document order. What a rule returns is not looked at: none can
// fail a conversion, nor stop a later one.
template <class Apply>
Status RunPass(JSStructDesc& record, Apply apply) {
  WidenPlainStrings(record);
  if (JSRuleDesc* const rules = RulesOf(record)) {
    for (const std::unique_ptr<JSRuleItemDesc>& rule : rules->items) apply(*rule);
  }
  return kOk;
}

}  // namespace

Status B2XApplyRuleForJSStruct(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                               WideString& relocatedName) {
  return RunPass(record,
                 [&](JSRuleItemDesc& rule) { rule.B2XApplyRule(set, record, binary, relocatedName); });
}

Status X2BApplyRuleForJSStruct(const XMLElementRef& element, JSPDBMemDesc& set, JSStructDesc& record,
                               WideString& relocatedName) {
  return RunPass(record,
                 [&](JSRuleItemDesc& rule) { rule.X2BApplyRule(set, record, element, relocatedName); });
}

}  // namespace sbx
