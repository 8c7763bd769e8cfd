#include "rules/rule_set.h"

#include <atomic>
#include <utility>

#include "rules/rule_item.h"

namespace sbx {
namespace {

constexpr WideView kRootName = u"ConvertRuleDesc";
constexpr WideView kRulesName = u"Rules";
constexpr WideView kRuleItemName = u"RuleItem";

// The stamps of all states of all sets: an address may be used again, a stamp is not.
std::uint64_t NextStamp() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

// The document element, or null after a log line.
xml::NodeRef CheckedRoot(xml::Document& document) {
  xml::NodeRef root = document.DocumentElement();
  if (!root) {
    LoadFailure(kContent, u"Invalid XML info for getting root element from rule XML.");
    return root;
  }
  const WideView tag = document.TagName(root.get()).value_or(WideView());
  if (tag == kRootName) return root;
  LoadFailure(
      kContent,
      u"Invalid XML info for getting root element from rule XML(Root name: %s, Root name specified: %s).",
      tag, kRootName);
  return {};
}

}  // namespace

Status JSRuleItemDesc::B2XApplyRule(JSPDBMemDesc& /*set*/, JSStructDesc& /*record*/,
                                    std::uintptr_t /*binary*/, WideString& /*relocatedName*/) {
  return kOk;
}

Status JSRuleItemDesc::X2BApplyRule(JSPDBMemDesc& /*set*/, JSStructDesc& /*record*/,
                                    const XMLElementRef& /*element*/, WideString& /*relocatedName*/) {
  return kOk;
}

JSConvertRulesDesc::JSConvertRulesDesc() : stamp_(NextStamp()) {}

void JSConvertRulesDesc::Clear() noexcept {
  index_.Clear();
  rules_.clear();
  stamp_ = NextStamp();
}

JSRuleDesc* JSConvertRulesDesc::FindRule(WideView name) noexcept {
  return index_.Find(name);
}

JSRuleDesc* JSConvertRulesDesc::AddRule(WideView name) {
  if (name.empty() || FindRule(name) != nullptr) return nullptr;
  index_.Reserve(rules_.size() + 1);  // nothing may fail once the entry stands in the list
  JSRuleDesc& rule = rules_.emplace_back(WideString(name));
  index_.Add(rule);
  stamp_ = NextStamp();
  return &rule;
}

Status JSConvertRulesDesc::LoadFromXML(const char16_t* text) {
  if (text == nullptr) return LoadFailure(kParameter, u"Invalid parameters for loading rule from XML.");
  Clear();
  // Loaded beside and then taken over, so that the set is empty however a load ends early.
  JSConvertRulesDesc loaded;
  const Status status = loaded.LoadDocument(text);
  if (status != kOk) return status;
  rules_.swap(loaded.rules_);
  std::swap(index_, loaded.index_);
  return kOk;
}

Status JSConvertRulesDesc::LoadDocument(WideView text) {
  const std::unique_ptr<xml::Document> document = xml::Document::New();
  if (document == nullptr) return LoadFailure(kDom, u"COM error for loading rule XML.");
  if (!document->LoadXml(text)) return LoadFailure(kContent, u"Invalid XML info for loading rule.");
  const xml::NodeRef root = CheckedRoot(*document);
  if (!root) return kContent;

  xml::NodeList list = document->GetElementsByTagName(root.get(), kRulesName);
  if (!list) {
    return LoadFailure(kContent, u"Invalid XML info for getting struct from rule XML(Struct name: %s).",
                       kRulesName);
  }
  Status status = kOk;
  for (xml::NodeRef node = list.Next(); node && status == kOk; node = list.Next()) {
    status = LoadRulesFromXML(node);
  }
  return status;
}

Status JSConvertRulesDesc::LoadRulesFromXML(const xml::NodeRef& node) {
  xml::Document& document = *node.document();
  const xml::NodeRef element = document.AsElement(node.get());
  if (!element) return LoadFailure(kDom, u"COM error for getting struct from rule XML.");
  const xml::NodeList list = document.GetElementsByTagName(element.get(), kRuleItemName);
  if (!list) {
    return LoadFailure(kContent, u"Invalid XML info for getting struct from rule XML(Struct name: %s).",
                       kRuleItemName);
  }
  const std::size_t count = list.Length();

  const WideString name = RuleAttribute(element, u"name");
  JSRuleDesc* const rule = AddRule(name);
  if (rule == nullptr) {
    return LoadFailure(kContent, u"Invalid XML info for rule struct(Name: %s, NumOfItems: %d).", name, count);
  }

  Status status = kOk;
  for (std::size_t index = 0; index < count && status == kOk; ++index) {
    const xml::NodeRef item = list.Item(index);
    if (!item) break;  // a node that can't be had ends the list
    status = LoadRuleItemFromXML(rule, item);
  }
  return status;
}

}  // namespace sbx
