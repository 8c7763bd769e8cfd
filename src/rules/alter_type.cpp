// An item whose type depends on the value of another item, as in a variant record.
#include "diag/dbg_log_facade.h"
#include "rules/number_text.h"
#include "rules/rule_item.h"
#include "rules/rule_steps.h"
#include "rules/value_paths.h"

namespace sbx {
namespace {

class JSRuleItemDescAlterType final : public JSRuleItemDesc {
 public:
  explicit JSRuleItemDescAlterType(const xml::NodeRef& element)
      : ref_(RuleAttribute(element, u"ref")),
        refmethod_(RuleAttribute(element, u"refmethod")),
        refvalue_(RuleAttribute(element, u"refvalue")),
        refnumber_(ParseNumberText(refvalue_)),
        // The text is a format without arguments: `%%` gives one per cent sign.
        alters_(typeText_.Compose(RuleAttribute(element, u"alterto")) && !typeText_.view().empty()) {}

  Status B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                      WideString& relocatedName) override;
  Status X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                      WideString& relocatedName) override;

 private:
  bool ConditionHoldsInMemory(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary);
  bool ConditionHoldsInXML(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element) const;
  void LogCondition() const noexcept;
  void RewriteType(JSStructDesc& record) const;

  ValuePath ref_;
  WideString refmethod_;
  WideString refvalue_;
  std::uint32_t refnumber_;
  TypeText typeText_;  // what an item's type becomes
  bool alters_;        // false for a text that is empty or too long: the rule then changes nothing
};

bool JSRuleItemDescAlterType::ConditionHoldsInMemory(JSPDBMemDesc& set, JSStructDesc& record,
                                                     std::uintptr_t binary) {
  if (GetValueFromBinary(set, &record, binary, ref_, value) != kOk) return false;
  if (refmethod_ == u"=") return value == refnumber_;
  if (refmethod_ == u"&") return (value & refnumber_) != 0;
  if (refmethod_ == u"|") return (value | refnumber_) != 0;
  return false;
}

bool JSRuleItemDescAlterType::ConditionHoldsInXML(JSPDBMemDesc& set, JSStructDesc& record,
                                                  const XMLElementRef& element) const {
  ValueText text;
  if (ReadValueText(set, record, element, ref_, text) != kOk) return false;
  if (refmethod_ == u"=") return text.text() == refvalue_;
  if (refmethod_ == u"&") return (text.Number() & refnumber_) != 0;
  if (refmethod_ == u"|") return (text.Number() | refnumber_) != 0;
  return false;
}

void JSRuleItemDescAlterType::LogCondition() const noexcept {
  g_DBGLog.Printf(4, u"{AlterType: ref=%s refmethod=%s refvalue=%s}", ref_.ref(), refmethod_, refvalue_);
}

void JSRuleItemDescAlterType::RewriteType(JSStructDesc& record) const {
  JSStructItemDesc* const item = record.FindItem(name);
  if (item == nullptr || !alters_) return;
  g_DBGLog.Printf(4, u"{AlterType:Convert type of %s from %s to %s}", name, item->type(), typeText_.view());
  item->SetType(typeText_.view());
}

Status JSRuleItemDescAlterType::B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                                             WideString& /*relocatedName*/) {
  if (!ref_.empty() && !refmethod_.empty() && !refvalue_.empty()) {
    if (!ConditionHoldsInMemory(set, record, binary)) return kOk;
    LogCondition();
  }
  RewriteType(record);
  return kOk;
}

Status JSRuleItemDescAlterType::X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                             const XMLElementRef& element, WideString& /*relocatedName*/) {
  // An empty method is no missing condition here, but one that never holds.
  if (!ref_.empty() && !refvalue_.empty()) {
    if (!ConditionHoldsInXML(set, record, element)) return kOk;
    LogCondition();
  }
  RewriteType(record);
  return kOk;
}

}  // namespace

std::unique_ptr<JSRuleItemDesc> MakeAlterType(const xml::NodeRef& element) {
  return std::make_unique<JSRuleItemDescAlterType>(element);
}

}  // namespace sbx
