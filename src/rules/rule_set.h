// The conversion rules: what static descriptions can't say, read from a document at run time.
//
// The set is shared by all conversions and not copied; rule objects keep scratch values from one call to the
// next, which is safe only under the conversion lock. A rule changes item types, `restrict` texts and record
// names of the conversion's own description copy, and on the XML side element text; it never fails a
// conversion.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/name_index.h"
#include "desc/structure_description.h"
#include "xml/document.h"
#include "xml/xml_element_ref.h"

namespace sbx {

// A rule, and the base class of the four kinds. The base does nothing: it stands for every unknown kind.
//
// Both operations return 0 whatever happens; a step that can't be done ends the rule. `set` and `record` are
// the conversion's copy of the descriptions; `relocatedName` is empty at the start of a pass, and a record
// name in it afterwards asks that the record be read as that other one.
class JSRuleItemDesc {
 public:
  JSRuleItemDesc() = default;
  JSRuleItemDesc(const JSRuleItemDesc&) = delete;
  JSRuleItemDesc& operator=(const JSRuleItemDesc&) = delete;
  virtual ~JSRuleItemDesc() = default;

  // The memory-to-XML side: reads values from the record at the address `binary` in the caller's memory.
  virtual Status B2XApplyRule(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                              WideString& relocatedName);
  // The XML-to-memory side: reads values from the record's element.
  virtual Status X2BApplyRule(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                              WideString& relocatedName);

  WideString name;  // the item that the rule acts on
  WideString type;  // the rule kind

 protected:
  std::uint32_t value = 0;  // fetched from binary data; keeps its content when a later fetch leaves it alone
};

struct JSRuleDesc {
  explicit JSRuleDesc(WideString recordName) : name(std::move(recordName)) {}

  WideString name;  // the record that the rules apply to; not empty; unique in the set
  std::vector<std::unique_ptr<JSRuleItemDesc>> items;  // in document order; names may repeat
};

class JSConvertRulesDesc {
 public:
  JSConvertRulesDesc();
  JSConvertRulesDesc(const JSConvertRulesDesc&) = delete;
  JSConvertRulesDesc& operator=(const JSConvertRulesDesc&) = delete;
  virtual ~JSConvertRulesDesc() = default;

  // Replaces the whole content from zero-terminated text without a byte-order mark. 0 or -2, -6, -9, logged
  // at level 0; a failed load leaves the set empty, but for a null text, which leaves it as it was.
  Status LoadFromXML(const char16_t* text);
  // The rules of that record name, or null.
  JSRuleDesc* FindRule(WideView name) noexcept;
  // A new, empty entry at the end; null for an empty name or one already there.
  JSRuleDesc* AddRule(WideView name);
  // In document order; addresses are stable until the next load.
  const std::deque<JSRuleDesc>& rules() const noexcept { return rules_; }

  // Names one state of the entries, in this set and among all sets of the process: a pointer to an entry, or
  // the knowledge that there is none, holds as long as the stamp is the same. Never 0.
  std::uint64_t stamp() const noexcept { return stamp_; }

 private:
  void Clear() noexcept;
  Status LoadDocument(WideView text);
  Status LoadRulesFromXML(const xml::NodeRef& node);

  std::deque<JSRuleDesc> rules_;
  NameIndex<JSRuleDesc> index_;
  std::uint64_t stamp_;
};

// The rule passes, run when a conversion reaches a record and before its items: first items of the type
// "char*" become "wchar_t*", then the record's rules run in document order. Both use the cached rule set of
// the conversion state, where null stands for a set without rules, and always return 0.
//
// A pass over a record without rules costs a few comparisons, however many records and rules there are.
Status B2XApplyRuleForJSStruct(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t binary,
                               WideString& relocatedName);
Status X2BApplyRuleForJSStruct(const XMLElementRef& element, JSPDBMemDesc& set, JSStructDesc& record,
                               WideString& relocatedName);

}  // namespace sbx
