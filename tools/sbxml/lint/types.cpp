#include "sbxml/lint/types.h"

#include <algorithm>
#include <limits>

#include "desc/primary_types.h"
#include "desc/type_strings.h"
#include "sbxml/log_capture.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

// The type under which the library reads a type text: a plain "char*" is wide text, unless a rule wrote it.
WideView AsRead(const LiveType& live) noexcept {
  return live.origin == nullptr && live.type == u"char*" ? WideView(u"wchar_t*") : live.type;
}

// Whether an item has one type at one time and another at another.
bool IsVariant(const std::vector<LiveType>& types) {
  return std::any_of(types.begin(), types.end(),
                     [&](const LiveType& other) { return other.type != types.front().type; });
}

// The record that a value path goes on to: it looks at what stands before the first bracket or star alone.
JSStructDesc* PathRecordOf(JSPDBMemDesc& set, WideView type) noexcept {
  return set.FindStruct(type.substr(0, type.find_first_of(u"[*")));
}

JSTypeSlots SlotsOf(JSPDBMemDesc& set) noexcept {
  JSTypeSlots slots;
  slots.descSet = &set;
  return slots;
}

// One type of one item, in both directions.
class TypeCheck {
 public:
  TypeCheck(Records& records, const JSStructDesc& record, const JSStructItemDesc& item, const LiveType& live,
            Findings& findings)
      : records_(records),
        item_(item),
        live_(live),
        findings_(findings),
        subject_{&record, &item},
        read_(item.name, WideString(AsRead(live)), item.size, item.offset, {}, {}),
        slots_(SlotsOf(records.set())),
        chain_(ParseItemType(slots_, read_)),
        isDecoded_(ResolveItemType(records.set(), read_, type_) == kOk) {}

  void Run(bool isVariant) {
    CheckBrackets();
    if (!isDecoded_) return Tell(Id::kBadType, "the type can't be read: " + BothWaysFail());
    const bool isPointer = type_.pointerLevel > 0;
    const bool isUntyped = type_.rawName == u"void";
    if (isUntyped && (!isPointer || type_.arraySize > 0)) {
      return Tell(Id::kBadType, "nothing can be of type void: " + BothWaysFail());
    }
    if (!isUntyped && !type_.isPrimary && type_.record == nullptr) return TellUnknownBase();
    if (IsOfBrokenRecord()) return;
    if (!CheckSize()) return;
    if (chain_ == nullptr) return TellOutOnly(isUntyped);
    if (isUntyped) {
      if (!isVariant)
        Tell(Id::kOutOnly, "shown as null or unknown; only null comes back, anything else fails");
      return;
    }
    if (IsNarrow()) TellNarrow();
  }

 private:
  SourcePosition Position() const {
    return live_.origin == nullptr ? records_.InfoOf(item_).position : live_.origin->position;
  }

  void Tell(Id id, const std::string& message) {
    const std::string whose = live_.origin == nullptr ? "" : "as " + Quoted(live_.type) + ": ";
    findings_.Add(id, Position(), whose + message, subject_);
  }

  static std::string BothWaysFail() {
    return "converting to XML fails there (-4), and the way back passes the item over";
  }

  bool IsOfBrokenRecord() const { return type_.record != nullptr && records_.InfoOf(*type_.record).isBroken; }

  // Empty brackets and the like fail by themselves.
  void CheckBrackets() {
    if (!isDecoded_ || type_.arraySize > 0 || read_.type().find(u'[') == WideString::npos) return;
    Tell(Id::kZeroCount, "the count in brackets is 0, which makes no array");
  }

  void TellUnknownBase() {
    const std::string base = Quoted(type_.rawName);
    if (chain_ == nullptr) {
      return Tell(Id::kUnknownType, base + " is no record and no type: " + BothWaysFail());
    }
    Tell(Id::kBackOnly, base + " can be read from XML but not written: converting to XML fails there (-4)");
  }

  // What the writer would have the item's size be; it drops the remainder of an array.
  bool FitsWriter() const noexcept {
    if (type_.pointerLevel > 0) return item_.size == 4 || item_.size == 8;
    if (type_.arraySize > 0) return item_.size / type_.arraySize == type_.typeSize;
    return item_.size == type_.typeSize;
  }

  std::int64_t NeededSize() const noexcept {
    if (type_.pointerLevel > 0) return 8;
    return std::int64_t{type_.typeSize} * std::max(type_.arraySize, 1);
  }

  bool CheckSize() {
    const bool fitsWriter = FitsWriter();
    const bool fitsReader = chain_ == nullptr || TypeChainSize(chain_) == item_.size;
    if (fitsWriter && fitsReader) return true;
    std::string what = "a size of " + std::to_string(item_.size) + " where the type has " +
                       std::to_string(NeededSize()) + ": ";
    if (!fitsWriter && !fitsReader) {
      what += "converting fails there in both directions (-4)";
    } else if (fitsReader) {
      what += "converting to XML fails there (-4)";
    } else {
      what += "the way to XML passes, the way back fails there (-4)";
    }
    Tell(Id::kTypeSize, what);
    return false;
  }

  void TellOutOnly(bool isUntyped) {
    if (isUntyped) return Tell(Id::kOutOnly, "shown as null or unknown; the way back passes the item over");
    Tell(Id::kOutOnly, "goes to XML and never comes back: the way back passes an item of this type over");
    if (IsNarrow()) TellNarrow();
  }

  bool IsNarrow() const noexcept {
    return type_.pointerLevel > 0 && type_.arraySize < 1 && type_.rawName == u"char";
  }

  void TellNarrow() { Tell(Id::kNarrowText, "narrow text: 64 characters or more fail the way to XML (-9)"); }

  Records& records_;
  const JSStructItemDesc& item_;
  const LiveType& live_;
  Findings& findings_;
  Subject subject_;
  JSStructItemDesc read_;
  JSTypeSlots slots_;
  const JSTypeNode* chain_;  // null: the way back refuses the type
  ResolvedType type_;
  bool isDecoded_;
};

// A rule's structname is judged with the rule; a type made of it is looked at for its size alone.
bool IsToBeChecked(Records& records, const LiveType& live) {
  if (live.origin == nullptr) return true;
  if (live.origin->kind == RuleKind::kAlterType) return live.origin->alterto.find(u'%') == WideString::npos;
  if (live.origin->kind == RuleKind::kNameList) return true;
  return records.set().FindStruct(live.origin->structname) != nullptr;
}

void CheckItem(Records& records, const JSStructDesc& record, const JSStructItemDesc& item,
               Findings& descriptions, Findings& rules) {
  const std::vector<LiveType>& types = records.InfoOf(item).types;
  const bool isVariant = IsVariant(types);
  for (const LiveType& type : types) {
    if (!IsToBeChecked(records, type)) continue;
    Findings& findings = type.origin == nullptr ? descriptions : rules;
    TypeCheck(records, record, item, type, findings).Run(isVariant);
  }
}

}  // namespace

TypeMeaning MeaningOf(JSPDBMemDesc& set, WideView type) {
  const JSStructItemDesc item(u"item", WideString(type), 1, 0, {}, {});
  ResolvedType resolved;
  TypeMeaning meaning;
  if (ResolveItemType(set, item, resolved) != kOk) return meaning;
  meaning.pointerLevel = std::max(resolved.pointerLevel, 0);
  meaning.isPointer = meaning.pointerLevel > 0;
  meaning.isArray = resolved.arraySize > 0;
  meaning.record = resolved.record;
  meaning.isFloat = resolved.rawName == u"float";
  meaning.isUnsigned = resolved.rawName.find(u'u') != WideView::npos;
  meaning.width = std::max(resolved.typeSize, 0);
  const bool isCharacter = resolved.rawName == u"char" || resolved.rawName == u"wchar_t";
  if (resolved.record != nullptr) {
    meaning.shown = Shown::kElements;
  } else if (resolved.rawName == u"void") {
    meaning.shown = meaning.isPointer ? Shown::kNothing : Shown::kUnknown;
  } else if (!resolved.isPrimary) {
    meaning.shown = Shown::kUnknown;
  } else if (meaning.isArray) {
    meaning.shown = Shown::kNumbers;
  } else {
    meaning.shown = meaning.isPointer && isCharacter ? Shown::kText : Shown::kNumber;
  }
  return meaning;
}

void FindLiveTypes(Records& records) {
  const LogCapture quiet(-1);
  JSPDBMemDesc& set = records.set();
  for (JSStructDesc& record : set.structs()) {
    for (const JSStructItemDesc& item : record.items()) {
      ItemInfo& info = records.InfoOf(item);
      const auto add = [&](WideView type, const Rule* origin) {
        info.types.push_back({type, origin, MeaningOf(set, type), PathRecordOf(set, type)});
      };
      std::size_t first = 0;
      for (std::size_t at = 0; at < info.rules.size(); ++at) {
        if (info.rules[at]->alwaysRewrites()) first = at + 1;
      }
      if (first == 0) add(item.type(), nullptr);
      for (std::size_t at = first == 0 ? 0 : first - 1; at < info.rules.size(); ++at) {
        if (!info.rules[at]->newType.empty()) add(info.rules[at]->newType, info.rules[at]);
      }
    }
  }
}

void CheckTypes(Records& records, Findings& descriptions, Findings& rules) {
  const LogCapture quiet(-1);
  for (const JSStructDesc& record : records.set().structs()) {
    for (const JSStructItemDesc& item : record.items()) {
      if (!records.InfoOf(item).isBroken) CheckItem(records, record, item, descriptions, rules);
    }
  }
}

}  // namespace sbx::tool::lint
