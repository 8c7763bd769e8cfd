// The two documents as lint sees them: everything that could be read, with its place, whatever was wrong
// beside it. The loaders of the library give up at the first fault; here the fault is told and the rest kept.
//
// All names are looked up through hashed indexes, and what a document can multiply by nesting is bounded, so
// that any document takes time in proportion to its length.
#pragma once

#include <deque>
#include <unordered_map>
#include <vector>

#include "base/name_hash.h"
#include "desc/structure_description.h"
#include "sbxml/lint/findings.h"
#include "sbxml/source_tree.h"

namespace sbx::tool::lint {

struct Rule;

// For the standard's hashed containers: documents can't make their names meet.
struct KeyedHash {
  std::size_t operator()(WideView text) const noexcept { return HashName(text); }
};

// What stands in the element of an item.
enum class Shown {
  kNothing,   // a pointer that is not followed
  kNumber,    // one number
  kNumbers,   // several, with blanks between
  kText,      // a string
  kElements,  // the items of a record, or records
  kUnknown,   // the type is refused
};

struct TypeMeaning {
  Shown shown = Shown::kUnknown;
  bool isFloat = false;
  bool isUnsigned = false;
  std::int32_t width = 0;  // bytes of one number
  bool isPointer = false;
  bool isArray = false;
  std::int32_t pointerLevel = 0;
  JSStructDesc* record = nullptr;  // what it leads to, as the way to XML sees it
};

// A type that an item may have when it is converted, and where it is given.
struct LiveType {
  WideView type;             // lives as long as the model
  const Rule* origin;        // null for the description's own
  TypeMeaning meaning;       // on the way to XML
  JSStructDesc* pathRecord;  // what a value path goes on to; null for none
};

struct ItemInfo {
  SourcePosition position;
  bool isBroken = false;           // faults of its own make its type, size and offset meaningless
  std::vector<const Rule*> rules;  // those that act on it, in document order
  // Those that can be in place when the item is converted: without those that a later rule without a
  // condition always overwrites. Set by FindLiveTypes.
  std::vector<LiveType> types;
};

struct RecordInfo {
  SourcePosition position;
  bool isBroken = false;           // its size is not known
  std::vector<const Rule*> rules;  // all of its rules, in document order
  const Rule* firstRelocation = nullptr;
};

// The structure descriptions.
class Records {
 public:
  Records(const SourceTree& tree, Findings& findings);

  JSPDBMemDesc& set() const noexcept { return *set_; }
  // Of records and items of the set.
  RecordInfo& InfoOf(const JSStructDesc& record) { return records_.at(&record); }
  const RecordInfo& InfoOf(const JSStructDesc& record) const { return records_.at(&record); }
  ItemInfo& InfoOf(const JSStructItemDesc& item) { return items_.at(&item); }
  const ItemInfo& InfoOf(const JSStructItemDesc& item) const { return items_.at(&item); }
  bool loads() const noexcept { return loads_; }

 private:
  friend class RecordsReader;

  std::unique_ptr<JSPDBMemDesc> set_ = std::make_unique<JSPDBMemDesc>();
  std::unordered_map<const JSStructDesc*, RecordInfo> records_;
  std::unordered_map<const JSStructItemDesc*, ItemInfo> items_;
  bool loads_ = true;
};

enum class RuleKind { kStructArrayPtr, kAlterType, kRelocate, kNameList, kUnknown };

struct Rule {
  RuleKind kind = RuleKind::kUnknown;
  SourcePosition position;
  JSStructDesc* record = nullptr;    // not null: rules of unknown records are left out
  JSStructItemDesc* item = nullptr;  // null for no such item, and for relocations

  WideString name;
  WideString type;
  WideString structname;
  WideString num;
  WideString ref;
  WideString refmethod;
  WideString refvalue;
  WideString alterto;

  // What the item's type becomes where the rule fires, with a count of 1; empty for none.
  WideString newType;

  bool hasCondition() const noexcept { return !ref.empty() && !refvalue.empty(); }
  // Whether the rule gives the item a type of its own whatever the record holds.
  bool alwaysRewrites() const noexcept { return !newType.empty() && !hasCondition(); }
};

// The conversion rules of the records that exist.
class Rules {
 public:
  Rules(const SourceTree& tree, Records& records, Findings& findings);

  const std::deque<Rule>& all() const noexcept { return rules_; }
  bool loads() const noexcept { return loads_; }

 private:
  friend class RulesReader;

  std::deque<Rule> rules_;
  bool loads_ = true;
};

TypeMeaning MeaningOf(JSPDBMemDesc& set, WideView type);

// Once both documents have been read.
void FindLiveTypes(Records& records);

}  // namespace sbx::tool::lint
