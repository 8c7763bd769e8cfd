#include "rules/rule_item.h"

#include <utility>

namespace sbx {
namespace {

struct RuleKind {
  WideView type;
  std::unique_ptr<JSRuleItemDesc> (*make)(const xml::NodeRef& element);
};

constexpr RuleKind kRuleKinds[] = {
    {u"StructArrayPtr", MakeStructArrayPtr},
    {u"AlterType", MakeAlterType},
    {u"RelocateStructName", MakeRelocateStructName},
    {u"ConvertNameList", MakeConvertNameList},
};

// The rule that does nothing stands for every type that the table lacks.
std::unique_ptr<JSRuleItemDesc> MakeRuleItem(WideView type, const xml::NodeRef& element) {
  for (const RuleKind& kind : kRuleKinds) {
    if (kind.type == type) return kind.make(element);
  }
  return std::make_unique<JSRuleItemDesc>();
}

}  // namespace

WideString RuleAttribute(const xml::NodeRef& element, WideView name) {
  if (!element) {
    g_DBGLog.Printf(0, u"Invalid parameters for getting rule XML element attribute.");
    return {};
  }
  return WideString(element.document()->GetAttribute(element.get(), name).value_or(WideView()));
}

Status LoadRuleItemFromXML(JSRuleDesc* rule, const xml::NodeRef& node) {
  if (rule == nullptr || !node) {
    return LoadFailure(kParameter, u"Invalid parameters for loading rule item desc from XML.");
  }
  const xml::NodeRef element = node.document()->AsElement(node.get());
  if (!element) return LoadFailure(kDom, u"COM error for loading rule struct item desc from XML.");
  WideString name = RuleAttribute(element, u"name");
  WideString type = RuleAttribute(element, u"type");
  std::unique_ptr<JSRuleItemDesc> item = MakeRuleItem(type, element);
  if (name.empty() || type.empty()) {
    return LoadFailure(kContent, u"Invalid XML info for rule struct item(Name: %s, Type: %s).", name, type);
  }
  item->name = std::move(name);
  item->type = std::move(type);
  rule->items.push_back(std::move(item));
  return kOk;
}

}  // namespace sbx
