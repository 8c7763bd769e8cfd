// A pointer item that in fact leads to an array of records, with the element count in another item. In memory
// the count is read; in XML it is counted, and the item that holds it is revised.
#include "diag/dbg_log_facade.h"
#include "rules/number_text.h"
#include "rules/rule_item.h"
#include "rules/rule_steps.h"
#include "rules/value_paths.h"

namespace sbx {
namespace {

class JSRuleItemDescStructArrayPtr final : public JSRuleItemDesc {
 public:
  explicit JSRuleItemDescStructArrayPtr(const xml::NodeRef& element)
      : typeHead_(RuleAttribute(element, u"structname") + u"["),
        num_(RuleAttribute(element, u"num")),
        ref_(RuleAttribute(element, u"ref")),
        refvalue_(RuleAttribute(element, u"refvalue")),
        refnumber_(ParseNumberText(refvalue_)) {}

  Status B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                      WideString& relocatedName) override;
  Status X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                      WideString& relocatedName) override;

 private:
  bool HasCondition() const noexcept { return !ref_.empty() && !refvalue_.empty(); }
  bool ConditionHoldsInMemory(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary);
  bool ConditionHoldsInXML(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element) const;
  // Makes the item a pointer to an array of that many records; false if there is no such item or the text is
  // too long.
  bool RewriteType(JSStructDesc& record, std::int32_t count) const;

  WideString typeHead_;  // the record's name and a bracket
  ValuePath num_;
  ValuePath ref_;
  WideString refvalue_;
  std::uint32_t refnumber_;  // what refvalue_ means in memory
};

bool JSRuleItemDescStructArrayPtr::ConditionHoldsInMemory(JSPDBMemDesc& set, JSStructDesc& record,
                                                          std::uintptr_t binary) {
  return GetValueFromBinary(set, &record, binary, ref_, value) == kOk && value == refnumber_;
}

bool JSRuleItemDescStructArrayPtr::ConditionHoldsInXML(JSPDBMemDesc& set, JSStructDesc& record,
                                                       const XMLElementRef& element) const {
  ValueText text;
  if (ReadValueText(set, record, element, ref_, text) != kOk || text.text() != refvalue_) return false;
  g_DBGLog.Printf(4, u"{StructArrayPtr: ref=%s refvalue=%s}", ref_.ref(), refvalue_);
  return true;
}

bool JSRuleItemDescStructArrayPtr::RewriteType(JSStructDesc& record, std::int32_t count) const {
  JSStructItemDesc* const item = record.FindItem(name);
  TypeText typeText;
  if (item == nullptr || !typeText.Compose(typeHead_, count, u"]*")) return false;
  g_DBGLog.Printf(4, u"{Convert type of %s from %s to %s}", name, item->type(), typeText.view());
  item->SetType(typeText.view());
  return true;
}

Status JSRuleItemDescStructArrayPtr::B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                                  std::uintptr_t binary, WideString& /*relocatedName*/) {
  if (HasCondition() && !ConditionHoldsInMemory(set, record, binary)) return kOk;
  if (GetValueFromBinary(set, &record, binary, num_, value) != kOk) return kOk;
  RewriteType(record, static_cast<std::int32_t>(value));
  return kOk;
}

Status JSRuleItemDescStructArrayPtr::X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                                  const XMLElementRef& element,
                                                  WideString& /*relocatedName*/) {
  XMLElementRef array = ChildByName(element, name);
  if (!array) return kOk;
  if (HasCondition() && !ConditionHoldsInXML(set, record, element)) return kOk;
  const std::int32_t count = CountChildren(array);
  array = {};  // the revision may rewrite what it stands in
  if (RewriteType(record, count)) ReviseCount(set, record, element, num_, count);
  return kOk;
}

}  // namespace

std::unique_ptr<JSRuleItemDesc> MakeStructArrayPtr(const xml::NodeRef& element) {
  return std::make_unique<JSRuleItemDescStructArrayPtr>(element);
}

}  // namespace sbx
