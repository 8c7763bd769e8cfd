// The structure description set: what is known of the caller's records, read from a document at run time.
//
// One master set belongs to the conversion state; each conversion works on a Clone, since rules rewrite item
// types and `restrict` texts while it runs. Records and items keep document order. A set belongs to one
// thread at a time.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/name_index.h"
#include "desc/resolved_type.h"

namespace sbx {

struct JSRuleDesc;  // rules/rule_set.h

// What a higher floor made of an item's `restrict` text and keeps beside it.
struct RestrictNote {
  RestrictNote() = default;
  RestrictNote(const RestrictNote&) = delete;
  RestrictNote& operator=(const RestrictNote&) = delete;
  virtual ~RestrictNote() = default;
};

// An item of a record. Name, sizes and description never change; type and restrict are rewritten by rules.
class JSStructItemDesc {
 public:
  JSStructItemDesc(WideString name, WideString type, std::int32_t size, std::int32_t offset,
                   WideString description, WideString restrictText);

  std::int32_t size;    // bytes; at least 1
  std::int32_t offset;  // bytes into the record; at least 0
  WideString name;      // not empty; unique in its record
  WideString description;

  const WideString& type() const noexcept { return type_; }
  const WideString& restrictText() const noexcept { return restrict_; }
  void SetType(WideView type);
  void SetRestrict(WideView restrictText);
  // Grows with each SetType or SetRestrict that changed the text: what is derived from them and kept beside
  // is valid for one revision.
  std::uint32_t revision() const noexcept { return revision_; }

  // Answers kept for the current revision by those who read the two texts; Clone leaves them behind.
  mutable TypeNote<ResolvedType> memoryNote;           // desc/type_strings.cpp alone
  mutable TypeNote<ParsedType> xmlNote;                // desc/type_strings.cpp alone
  mutable std::unique_ptr<RestrictNote> restrictNote;  // src/present alone

 private:
  friend class JSStructDesc;

  WideString type_;
  WideString restrict_;
  std::uint32_t revision_ = 0;
  std::uint32_t* recordRevision_ =
      nullptr;  // plainTextRevision of the record that holds it; null outside one
};

// What the rule passes remember of a record from one instance to the next; src/rules alone uses it, and a
// copy made by Clone starts without it.
struct RulePassNotes {
  std::uint64_t ruleSetStamp = 0;       // the state of a rule set that `rules` was looked up in; 0 for none
  JSRuleDesc* rules = nullptr;          // not owned; null if that set has none for the record
  std::uint32_t plainTextRevision = 0;  // of the record when its "char*" items were last rewritten
};

class JSStructDesc {
 public:
  JSStructDesc(WideView name, std::int32_t size, WideView description, WideView restrictText);
  JSStructDesc(const JSStructDesc&) = delete;
  JSStructDesc& operator=(const JSStructDesc&) = delete;

  std::int32_t size;  // bytes; at least 1
  WideString name;    // not empty; unique in the set
  WideString description;
  WideString restrictText;

  // In document order; addresses are stable.
  std::deque<JSStructItemDesc>& items() noexcept { return items_; }
  const std::deque<JSStructItemDesc>& items() const noexcept { return items_; }

  // The first item of that name, or null.
  JSStructItemDesc* FindItem(WideView name) noexcept;
  const JSStructItemDesc* FindItem(WideView name) const noexcept;
  // Appends an item; null when refused (empty name or type, size below 1, negative offset, name taken).
  JSStructItemDesc* AddItem(WideView name, WideView type, std::int32_t size, std::int32_t offset,
                            WideView description, WideView restrictText);
  // The same for an item at hand, which is left alone when refused.
  JSStructItemDesc* AddItem(JSStructItemDesc&& item);
  // Appends copies of all items of a record that has none of their names.
  void CopyItemsFrom(const JSStructDesc& source);

  // Grows each time that an item comes to have the type "char*", which the rule passes rewrite.
  std::uint32_t plainTextRevision() const noexcept { return plainTextRevision_; }

  RulePassNotes ruleNotes;

 private:
  std::deque<JSStructItemDesc> items_;
  NameIndex<JSStructItemDesc> index_;
  std::uint32_t plainTextRevision_ = 0;
};

class JSPDBMemDesc {
 public:
  JSPDBMemDesc() = default;
  JSPDBMemDesc(const JSPDBMemDesc&) = delete;
  JSPDBMemDesc& operator=(const JSPDBMemDesc&) = delete;
  virtual ~JSPDBMemDesc() = default;

  // Replaces the whole content from zero-terminated text without a byte-order mark. 0 or -2, -4, -6, -9; a
  // failed load leaves the set empty, but for a null text, which leaves it as it was.
  Status LoadFromXML(const char16_t* text);
  std::unique_ptr<JSPDBMemDesc> Clone() const;

  // The first record of that name, or null.
  JSStructDesc* FindStruct(WideView name) noexcept;
  const JSStructDesc* FindStruct(WideView name) const noexcept;
  // In document order; addresses are stable.
  std::deque<JSStructDesc>& structs() noexcept { return structs_; }
  const std::deque<JSStructDesc>& structs() const noexcept { return structs_; }

  // Appends a record, for the loader, Clone and tests. The name must be free.
  JSStructDesc& AddStruct(WideView name, std::int32_t size, WideView description, WideView restrictText);
  void Clear() noexcept;

 private:
  std::deque<JSStructDesc> structs_;
  NameIndex<JSStructDesc> index_;
};

}  // namespace sbx
