// A record whose layout depends on its content: under a condition it is read as a record of another name. The
// rule only names that record; the converters relocate.
#include "diag/dbg_log_facade.h"
#include "rules/number_text.h"
#include "rules/rule_item.h"
#include "rules/rule_steps.h"
#include "rules/value_paths.h"

namespace sbx {
namespace {

class JSRuleItemDescRelocateStructName final : public JSRuleItemDesc {
 public:
  explicit JSRuleItemDescRelocateStructName(const xml::NodeRef& element)
      : structname_(RuleAttribute(element, u"structname")),
        ref_(RuleAttribute(element, u"ref")),
        refvalue_(RuleAttribute(element, u"refvalue")),
        refnumber_(ParseNumberText(refvalue_)) {}

  Status B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                      WideString& relocatedName) override;
  Status X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                      WideString& relocatedName) override;

 private:
  bool HasCondition() const noexcept { return !ref_.empty() && !refvalue_.empty(); }
  void LogCondition() const noexcept;
  // The last rule of a pass wins; an empty name relocates nothing.
  void Relocate(WideString& relocatedName) const;

  WideString structname_;
  ValuePath ref_;
  WideString refvalue_;
  std::uint32_t refnumber_;  // what refvalue_ means in memory
};

void JSRuleItemDescRelocateStructName::LogCondition() const noexcept {
  g_DBGLog.Printf(4, u"{RelocateStructName: ref=%s refvalue=%s}.", ref_.ref(), refvalue_);
}

void JSRuleItemDescRelocateStructName::Relocate(WideString& relocatedName) const {
  g_DBGLog.Printf(4, u"{RelocateStructName: name=%s structname=%s}.", name, structname_);
  relocatedName = structname_;
}

Status JSRuleItemDescRelocateStructName::B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                                      std::uintptr_t binary, WideString& relocatedName) {
  if (HasCondition()) {
    if (GetValueFromBinary(set, &record, binary, ref_, value) != kOk || value != refnumber_) return kOk;
    LogCondition();
  }
  Relocate(relocatedName);
  return kOk;
}

Status JSRuleItemDescRelocateStructName::X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                                      const XMLElementRef& element,
                                                      WideString& relocatedName) {
  if (HasCondition()) {
    ValueText text;
    if (ReadValueText(set, record, element, ref_, text) != kOk || text.text() != refvalue_) return kOk;
    LogCondition();
  }
  Relocate(relocatedName);
  return kOk;
}

}  // namespace

std::unique_ptr<JSRuleItemDesc> MakeRelocateStructName(const xml::NodeRef& element) {
  return std::make_unique<JSRuleItemDescRelocateStructName>(element);
}

}  // namespace sbx
