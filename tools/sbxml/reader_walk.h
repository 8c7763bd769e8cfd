// The way that the library's reader takes through a document, walked once more to tell what it says nothing
// of.
//
// The walk goes over a document of its own, beside the source tree for places in the file, and runs the rules
// as the reader does; with the library's rebuilt graph at hand it goes through that in step. It makes no
// blocks and stores nothing. Listeners are told of each record, each item and whatever the reader passes
// over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/result_codes.h"
#include "desc/primary_types.h"
#include "desc/structure_description.h"
#include "desc/type_strings.h"
#include "sbxml/documents.h"
#include "sbxml/log_capture.h"
#include "sbxml/node_numbers.h"
#include "sbxml/source_tree.h"
#include "xml/document.h"
#include "xml/xml_element_ref.h"

namespace sbx::tool {

// A piece of the rebuilt graph.
struct Memory {
  const std::byte* address = nullptr;  // null where the graph is not at hand or has lost sight of it
  std::int64_t size = 0;
  std::size_t block = 0;    // in the order in which the library makes them
  std::int64_t offset = 0;  // into the block
};

// What an item's type means to the reader, taken from a chain of nodes, which the next decode overwrites.
struct ReadType {
  bool isPointer = false;
  bool isString = false;
  std::int32_t count = -1;               // entries of an array; -1 for no array
  const PrimaryType* primary = nullptr;  // null for a record
  JSStructDesc* record = nullptr;
  std::int64_t targetSize = 0;  // of the value, behind the pointer if there is one

  bool isArray() const noexcept { return count >= 0; }
  bool isRecordArray() const noexcept { return isArray() && record != nullptr; }
};

// What becomes of an element where its record has several for one item.
enum class Fate {
  kStands,
  kReplaced,        // a later one stores the item anew
  kPartlyReplaced,  // a later one stores some of the item's entries or items anew
  kWithoutEffect,   // it stores nothing, so an earlier one stands
};

struct RecordPlace {
  const JSStructDesc& record;  // the description that reads it
  std::size_t element;         // index in the source tree
  const std::string& path;
  Memory memory;
  bool isOnTop = false;  // an earlier element has filled it before
};

struct ItemPlace {
  const JSStructDesc& record;
  const JSStructItemDesc& item;
  std::size_t element;
  const std::string& path;
  Fate fate;
  bool isOnTop;      // an earlier element of the record has stored the item before
  WideView flag;     // of the element, as it stands
  WideString text;   // of the element, as the rules have left it; not set for records
  ReadType type;     // not set where the type is refused
  Memory slot;       // where the item lies in its record
  Memory value;      // where its value lies: the slot, or the block that a pointer leads to
  bool isRewritten;  // a name list, whose text a rule has turned into numbers
};

class WalkListener {
 public:
  virtual ~WalkListener() = default;
  virtual void EnterDocument(std::size_t /*element*/) {}
  virtual void EnterRecord(const RecordPlace&) {}
  // `missing`: the items that no element was for.
  virtual void LeaveRecord(const RecordPlace&, std::span<const JSStructItemDesc* const> /*missing*/) {}
  // An item without a value: flagged null.
  virtual void NullItem(const ItemPlace&) {}
  // An item whose type the reader refuses.
  virtual void RefusedItem(const ItemPlace&) {}
  // Any other item, before its content.
  virtual void EnterItem(const ItemPlace&) {}
  // `entries`: the elements for entries of an array of records; those from the count on are passed over.
  virtual void LeaveItem(const ItemPlace&, std::span<const std::size_t> /*entries*/) {}
  // An element that names no item of the record around it.
  virtual void UnknownElement(const RecordPlace&, std::size_t /*element*/) {}
  // A child of the document element that is not the root record.
  virtual void IgnoredRoot(std::size_t /*element*/) {}
  // What a rule logged about its own work.
  virtual void RuleTrouble(const RecordPlace&, const WideString& /*line*/) {}
  // A rule has changed the text of an element for an item: before the item was read, or too late.
  virtual void RevisedText(std::size_t /*element*/, const WideString& /*before*/, const WideString& /*after*/,
                           bool /*isLate*/) {}
};

// Where the reader fails.
struct WalkFailure {
  Status code = kOk;
  std::size_t element = 0;
  std::string path;
  std::string message;
};

class ReaderWalk {
 public:
  // All must outlive the walk. `text` is the one that the tree was made from.
  ReaderWalk(const DocumentSet& set, const SourceTree& source, WalkListener& listener);
  ReaderWalk(const ReaderWalk&) = delete;
  ReaderWalk& operator=(const ReaderWalk&) = delete;

  // `graph`: the root record of the rebuilt graph, or null. Nothing if the reader gets to the end.
  std::optional<WalkFailure> Run(WideView text, const std::byte* graph);

 private:
  // The progress through an array of records, as the reader has it.
  struct ArrayWalk {
    JSStructDesc* inHand;
    std::int64_t offset = 0;
    std::int32_t done = 0;
  };
  // The element of a scalar, to be looked at once more at the end.
  struct ReadText {
    xml::NodeRef node;
    std::size_t element;
    WideString text;
  };

  void NumberElements();
  std::size_t IndexOf(const xml::NodeRef& node) const;
  bool WalkRoot();
  bool WalkRecord(const XMLElementRef& element, JSStructDesc& record, const Memory& memory,
                  bool isOnTop = false);
  bool WalkChildren(const RecordPlace& place, const XMLElementRef& element, JSStructDesc& record);
  // How much of its item an element stores.
  enum class Effect { kNone, kPart, kWhole };
  // One child of a record, with what others for the same item make of it.
  struct Child {
    const XMLElementRef* element;
    JSStructItemDesc* item;  // null for none
    Fate fate = Fate::kStands;
    bool isOnTop = false;
  };
  std::vector<Child> MatchChildren(const std::vector<XMLElementRef>& children, JSStructDesc& record);
  void SettleFates(std::vector<Child>& children, const std::vector<std::size_t>& rivals);
  Effect EffectOf(const Child& child);
  bool WalkItem(const RecordPlace& place, JSStructDesc& record, const Child& child);
  bool WalkValue(ItemPlace& place, const XMLElementRef& element);
  bool WalkArray(const ItemPlace& place, const XMLElementRef& element);
  bool WalkEntry(ArrayWalk& walk, const XMLElementRef& child, const Memory& array);
  bool Follow(ItemPlace& place);
  bool CheckItem(const ItemPlace& place, const JSTypeNode& head);
  bool Relocate(const XMLElementRef& element, JSStructDesc*& record);
  void TellRevisions(const ItemPlace& place, const xml::NodeRef& node);
  void TellLateRevisions();
  bool IsNameList(const JSStructDesc& record, const JSStructItemDesc& item) const;
  bool Fail(Status code, const xml::NodeRef& node, std::string message);

  const DocumentSet& set_;
  const SourceTree& source_;
  WalkListener& listener_;
  std::unique_ptr<JSPDBMemDesc> descriptions_;
  JSTypeSlots slots_;
  std::unique_ptr<xml::Document> document_;
  NodeNumbers numbers_;
  LogCapture log_;
  std::string path_;
  std::size_t blocks_ = 0;
  std::vector<ReadText> read_;
  std::optional<WalkFailure> failure_;
  std::uintptr_t stackLimit_ = 0;
};

}  // namespace sbx::tool
