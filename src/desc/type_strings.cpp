#include "desc/type_strings.h"

#include <cstddef>

#include "base/numbers.h"
#include "desc/primary_types.h"
#include "diag/dbg_log_facade.h"

namespace sbx {
namespace {

constexpr std::size_t kNone = WideView::npos;

// The product of bracket counts, in 32 bits. It may wrap; a product of 0 never becomes anything else.
class CountProduct {
 public:
  void MultiplyBy(std::int32_t count) noexcept {
    product_ =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(product_) * static_cast<std::uint32_t>(count));
  }
  std::int32_t value() const noexcept { return product_; }

 private:
  std::int32_t product_ = 1;
};

struct Bracket {
  std::size_t at;        // of the `[`, in what remained of the text
  bool isClosed;         // whether a `]` remained
  std::size_t distance;  // from the `[` to the `]`; very far for one that stands before its `[`
  std::int32_t count;    // 0 for a text that is no number
};

// Steps through the brackets of a type text. Behind each `]` a new remainder begins, in which the first `[`
// and the first `]` are looked for, whichever comes first: a `[` with several `]` before it comes up again
// for each of them. It is found and its count read once all the same, so that any text takes linear time.
class BracketWalk {
 public:
  explicit BracketWalk(WideView type) noexcept : type_(type) { FindOpen(); }

  bool Next(Bracket& out) noexcept {
    if (open_ < from_) FindOpen();
    if (open_ == kNone) return false;
    const std::size_t close = type_.find(u']', from_);
    out = {open_ - from_, close != kNone, close - open_, count_};
    if (close != kNone) from_ = close + 1;
    return true;
  }

 private:
  // A count ends at its `]`, which is no digit.
  void FindOpen() noexcept {
    open_ = type_.find(u'[', from_);
    if (open_ != kNone) count_ = ReadLong(type_.substr(open_ + 1));
  }

  WideView type_;
  std::size_t from_ = 0;  // where what remains begins
  std::size_t open_ = 0;
  std::int32_t count_ = 0;
};

// --- memory to XML -----------------------------------------------------------------------------------------

Status RefuseBrackets(WideView type, WideView rawName, std::int32_t number) {
  g_DBGLog.Printf(0, u"Invalid PDB info for decoding [](type: %s, raw name: %s, ptr: %d).", type, rawName,
                  number);
  return kDescription;
}

// A second word of exactly "dptr" stands for one pointer.
bool IsMarkedAsPointer(WideView type, std::size_t blank, std::size_t bracket) {
  const WideView rest = type.substr(blank + 1);
  const bool endsAtBracket = bracket != kNone && bracket > blank;
  return (endsAtBracket ? rest.substr(0, bracket - blank - 1) : rest) == u"dptr";
}

// Multiplies the counts of all brackets into the array size.
Status DecodeBrackets(WideView type, DecodedType& out) {
  CountProduct product;
  BracketWalk walk(type);
  for (Bracket next{}; walk.Next(next);) {
    if (!next.isClosed) {
      return RefuseBrackets(type, out.rawName, -static_cast<std::int32_t>(next.at + 1));
    }
    if (next.distance < 2) {
      return RefuseBrackets(type, out.rawName, static_cast<std::int32_t>(next.distance));
    }
    product.MultiplyBy(next.count);
    if (product.value() < 0) {
      g_DBGLog.Printf(0, u"Invalid PDB info for decoding [](type: %s, raw name: %s, array size: %d).", type,
                      out.rawName, product.value());
      return kDescription;
    }
    if (product.value() > 0) out.arraySize = product.value();
  }
  return kOk;
}

// A blank outranks a bracket, and a bracket outranks a star.
WideView RawName(WideView type, std::size_t blank, std::size_t bracket, std::size_t star) {
  if (blank != kNone) return type.substr(0, blank);
  if (bracket != kNone) return type.substr(0, bracket);
  return type.substr(0, star);
}

// --- XML to memory -----------------------------------------------------------------------------------------

// The counts of all brackets, -1 for none that is above 0. False for a text that is refused. Judged as on the
// other side, and yet on its own: the two readings are free to part.
bool ParseBrackets(WideView type, std::int32_t& count) {
  CountProduct product;
  BracketWalk walk(type);
  for (Bracket next{}; walk.Next(next);) {
    if (!next.isClosed || next.distance < 2) return false;
    product.MultiplyBy(next.count);
    if (product.value() < 0) return false;
    if (product.value() > 0) count = product.value();
  }
  return true;
}

// Finds what the base name stands for: a primary, else a record.
bool ParseBase(JSPDBMemDesc* set, WideView base, ParsedType& out) {
  if (base.find(u'*') != kNone) return false;
  if (const PrimaryType* primary = FindPrimaryType(base)) {
    out.baseKind = JS_TYPE_PRIMARY;
    out.name = primary->name;
    return true;
  }
  out.record = set == nullptr ? nullptr : set->FindStruct(base);
  if (out.record == nullptr) return false;
  out.baseKind = JS_TYPE_STRUCT;
  out.name = out.record->name;
  return true;
}

bool ParseType(JSPDBMemDesc* set, WideView type, ParsedType& out) {
  if (type == u"void") return false;
  if (type == u"void*") {
    out.baseKind = JS_TYPE_POINTER;
    out.name = u"void*";
    return true;
  }
  if (type == u"char*" || type == u"wchar_t*") {
    out.baseKind = JS_TYPE_PRIMARY | JS_TYPE_STRING;
    out.name = FindPrimaryType(type)->name;
    return true;
  }
  const std::size_t bracket = type.find(u'[');
  WideView base = type.substr(0, bracket);
  if (bracket != kNone) {
    if (!ParseBrackets(type, out.count)) return false;
    const WideView tail = type.substr(type.rfind(u']') + 1);
    if (!tail.empty() && tail != u"*") return false;
    out.isPointer = !tail.empty();
  } else if (base.ends_with(u'*')) {
    base.remove_suffix(1);
    out.isPointer = true;
  }
  return ParseBase(set, base, out);
}

JSTypeNode* BuildChain(JSTypeSlots& slots, const ParsedType& type) {
  slots.baseNode = {type.baseKind, 0, type.record, type.name, nullptr};
  JSTypeNode* head = &slots.baseNode;
  if (type.count > 0) {
    slots.arrayNode = {JS_TYPE_ARRAY, type.count, nullptr, WideView(u""), head};
    head = &slots.arrayNode;
  }
  if (type.isPointer) {
    slots.pointerNode = {JS_TYPE_POINTER, 0, nullptr, WideView(u"*"), head};
    head = &slots.pointerNode;
  }
  return head;
}

}  // namespace

Status DecodeTypeString(WideView type, DecodedType& out) {
  if (type.empty()) {
    g_DBGLog.Printf(0, u"Invalid PDB info for decoding type string(type: %s, raw name: %s).", type,
                    out.rawName);
    return kDescription;
  }
  out = DecodedType{};
  const std::size_t star = type.find(u'*');
  const std::size_t blank = type.find(u' ');
  const std::size_t bracket = type.find(u'[');
  // The level counts every unit from the star on, whatever it is: never below 1.
  if (star != kNone) out.pointerLevel = static_cast<std::int32_t>(type.size() - star);
  if (blank != kNone && IsMarkedAsPointer(type, blank, bracket)) out.pointerLevel = 1;
  if (const Status status = DecodeBrackets(type, out); status != kOk) return status;

  out.rawName = RawName(type, blank, bracket, star);
  if (out.rawName.empty()) {
    g_DBGLog.Printf(0, u"Invalid PDB info for decoding raw type name(type: %s, raw name: %s).", type,
                    out.rawName);
    return kDescription;
  }
  return kOk;
}

Status ResolveItemType(JSPDBMemDesc& set, const JSStructItemDesc& item, ResolvedType& out) {
  if (const ResolvedType* known = item.memoryNote.Get(&set, item.revision())) {
    out = *known;
    return kOk;
  }
  DecodedType decoded;
  if (const Status status = DecodeTypeString(item.type(), decoded); status != kOk) return status;
  out = {decoded.rawName, decoded.arraySize, decoded.pointerLevel, GetTypeSize(set, decoded.rawName)};
  if (const WideView kept = KeptPrimaryName(decoded.rawName); !kept.empty()) {
    out.isPrimary = true;
    out.rawName = kept;
  } else if ((out.record = set.FindStruct(decoded.rawName)) != nullptr) {
    out.rawName = out.record->name;
  } else {
    return kOk;  // an unknown name ends the conversion, so there is no second time to keep it for
  }
  item.memoryNote = {&set, item.revision(), out};
  return kOk;
}

JSTypeNode* ParseItemType(JSTypeSlots& slots, const JSStructItemDesc& item) {
  const std::size_t records = slots.descSet == nullptr ? 0 : slots.descSet->structs().size();
  if (const ParsedType* known = item.xmlNote.Get(slots.descSet, item.revision())) {
    if (known->baseKind != 0) return BuildChain(slots, *known);
    if (known->recordsThen == records) return nullptr;
  }
  // A refusal is kept too: an element may name the item any number of times, and its type be of any length.
  ParsedType type;
  if (!ParseType(slots.descSet, item.type(), type)) type = {};
  type.recordsThen = records;
  item.xmlNote = {slots.descSet, item.revision(), type};
  return type.baseKind == 0 ? nullptr : BuildChain(slots, type);
}

std::int64_t TypeChainSize(const JSTypeNode* head) noexcept {
  if (head == nullptr) return 0;
  if ((head->kind & JS_TYPE_POINTER) != 0) return 8;
  if ((head->kind & JS_TYPE_ARRAY) != 0) return std::int64_t{head->count} * TypeChainSize(head->next);
  if ((head->kind & JS_TYPE_PRIMARY) != 0) return PrimaryTypeSize(head->name);
  return head->structDesc == nullptr ? 0 : head->structDesc->size;
}

}  // namespace sbx
