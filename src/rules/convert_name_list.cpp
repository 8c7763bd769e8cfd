// An item that leads to a list of names. For the conversion it becomes an array of characters, shown in XML
// as decimal numbers; towards XML a command in `restrict` then makes the presentation show the names, and on
// the way back the names become numbers again before the item is read.
#include <algorithm>
#include <limits>
#include <optional>

#include "api/conversion_state.h"
#include "base/numbers.h"
#include "diag/dbg_log_facade.h"
#include "platform/caller_memory.h"
#include "rules/rule_item.h"
#include "rules/rule_steps.h"
#include "rules/value_paths.h"

namespace sbx {
namespace {

// Appends the decimal list of a name: each unit as a number and a blank, then "0 ". Adds the numbers to
// `count`.
void NamesToCodes(WideView text, WideString& codes, std::size_t& count) {
  for (const char16_t unit : text) {
    AppendUint(codes, unit);
    codes.push_back(u' ');
  }
  codes.append(u"0 ");
  count += text.size() + 1;
}

// The units of a run of at most that many names, with their terminators. An empty name ends it, and so does
// one that memory does not hold whole.
std::int32_t UnitsOfRun(std::uintptr_t run, std::uint32_t names) {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  platform::CallerMemory& memory = *g_conversion.callerMemory;
  std::size_t total = 0;
  for (; names > 0; --names) {
    const std::optional<WideView> name = memory.WideText(run, kMost);
    if (!name || name->empty()) break;
    const std::size_t units = name->size() + 1;
    if (total + units > kMost) break;
    total += units;
    run += units * sizeof(char16_t);
  }
  return static_cast<std::int32_t>(total);
}

// The numbers and names of a decimal list that stands in the document already. A blank at its end makes each
// count one too high, which readers rely on.
void CountFlatList(WideView list, std::size_t& count, std::size_t& names) {
  if (list.empty()) return;
  count = 1 + static_cast<std::size_t>(std::count(list.begin(), list.end(), u' '));
  names = 1;
  constexpr WideView kNameEnd = u" 0 ";
  for (std::size_t at = list.find(kNameEnd); at != WideView::npos; at = list.find(kNameEnd, at + 1)) ++names;
}

class JSRuleItemDescConvertNameList final : public JSRuleItemDesc {
 public:
  explicit JSRuleItemDescConvertNameList(const xml::NodeRef& element)
      : num_(RuleAttribute(element, u"num")) {}

  Status B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                      WideString& relocatedName) override;
  Status X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                      WideString& relocatedName) override;

 private:
  void LogRule() const noexcept;
  static void SetCountedType(JSStructItemDesc& item, std::int32_t units);
  void FlattenName(JSStructDesc& record, const XMLElementRef& element) const;
  void FlattenNames(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                    XMLElementRef list) const;

  ValuePath num_;
};

void JSRuleItemDescConvertNameList::LogRule() const noexcept {
  if (num_.empty()) {
    g_DBGLog.Printf(4, u"{ConvertNameList: name=%s}.", name);
  } else {
    g_DBGLog.Printf(4, u"{ConvertNameList: name=%s num=%s}.", name, num_.ref());
  }
}

void JSRuleItemDescConvertNameList::SetCountedType(JSStructItemDesc& item, std::int32_t units) {
  TypeText typeText;
  if (typeText.Compose(u"wchar_t[", units, u"]*")) item.SetType(typeText.view());
}

Status JSRuleItemDescConvertNameList::B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                                   std::uintptr_t binary, WideString& /*relocatedName*/) {
  TypeText command;
  JSStructItemDesc* const item = record.FindItem(name);
  bool fits = false;
  if (num_.empty()) {
    fits = command.Compose(u"[namelist]");
  } else {
    // A failed walk leaves the type alone, but not the command, which then shows the number last read.
    if (GetValueFromBinary(set, &record, binary, num_, value) == kOk && item != nullptr) {
      const std::uintptr_t slot = binary + static_cast<std::uintptr_t>(item->offset);
      const std::uint64_t list = g_conversion.callerMemory->Load<std::uint64_t>(slot).value_or(0);
      SetCountedType(*item, list == 0 ? 0 : UnitsOfRun(static_cast<std::uintptr_t>(list), value));
    }
    fits = command.Compose(u"[namelist:", static_cast<std::int32_t>(value), u"]");
  }
  if (item == nullptr || !fits) return kOk;
  LogRule();
  item->SetRestrict(command.view());
  return kOk;
}

Status JSRuleItemDescConvertNameList::X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record,
                                                   const XMLElementRef& element,
                                                   WideString& /*relocatedName*/) {
  XMLElementRef list = ChildByName(element, name);
  if (!list) return kOk;
  if (num_.empty()) {
    FlattenName(record, list);
  } else {
    FlattenNames(set, record, element, std::move(list));
  }
  return kOk;
}

// One name: its text becomes numbers, filled up with zeros. The item's size counts bytes and the list counts
// characters, and the two are compared as they are, so that the array is always filled.
void JSRuleItemDescConvertNameList::FlattenName(JSStructDesc& record, const XMLElementRef& element) const {
  WideString text;
  ReadContent(element, text);
  ReplaceContent(element, u"");
  WideString codes;
  std::size_t count = 0;
  NamesToCodes(text, codes, count);
  if (const JSStructItemDesc* const item = record.FindItem(name); item != nullptr) {
    const std::size_t size = static_cast<std::size_t>(item->size);
    if (count < size) codes.reserve(codes.size() + 2 * (size - count));
    for (; count < size; ++count) codes.append(u"0 ");
  }
  ReplaceContent(element, codes);
  LogRule();
}

// Several names: one child element each, or a decimal list that stands there already.
void JSRuleItemDescConvertNameList::FlattenNames(JSPDBMemDesc& set, JSStructDesc& record,
                                                 const XMLElementRef& element, XMLElementRef list) const {
  std::optional<XMLChildEnum> children = EnumChildren(list);
  if (!children) return;
  std::size_t names = children->Length();
  std::size_t count = 0;
  WideString codes;
  WideString text;
  while (children->Next()) {
    ReadContent(children->current(), text);
    ReplaceContent(children->current(), u"");
    NamesToCodes(text, codes, count);
  }
  children.reset();  // before their parent's content is replaced

  if (codes.empty() && names == 0) {
    ReadContent(list, text);
    CountFlatList(text, count, names);
  } else {
    ReplaceContent(list, codes);
  }
  list = {};

  JSStructItemDesc* const item = record.FindItem(name);
  if (item == nullptr) return;
  LogRule();
  SetCountedType(*item, CountOf(count));
  ReviseCount(set, record, element, num_, CountOf(names));
}

}  // namespace

std::unique_ptr<JSRuleItemDesc> MakeConvertNameList(const xml::NodeRef& element) {
  return std::make_unique<JSRuleItemDescConvertNameList>(element);
}

}  // namespace sbx
