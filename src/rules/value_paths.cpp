#include "rules/value_paths.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

#include "api/conversion_state.h"
#include "base/numbers.h"
#include "diag/dbg_log_facade.h"
#include "platform/caller_memory.h"
#include "rules/value_texts.h"

namespace sbx {
namespace {

constexpr WideView kPreviousLevel = u"..\\";
constexpr std::size_t kPointerBytes = sizeof(std::uint64_t);  // in a job script, on every system

// `path` without its bracketed parts, each from the first `[` to the first `]` behind it. A `]` that stands
// before any `[` ends the search.
WideString WithoutBrackets(WideView path) {
  WideString out;
  for (;;) {
    const std::size_t open = path.find(u'[');
    const std::size_t close = path.find(u']');
    if (open == WideView::npos || close == WideView::npos || close < open) return out.append(path);
    out.append(path.substr(0, open));
    path.remove_prefix(close + 1);
  }
}

// The path with its "..\" worked out; nothing if it goes up further than its own levels. The levels are taken
// off the path's own tail, since no other path is at hand: the tail is kept, and its head put in front of it.
// An empty tail has no level to give.
std::optional<WideString> WithoutPreviousLevels(WideView ref) {
  WideView rest = ref;
  std::size_t levels = 0;
  for (std::size_t at = rest.find(kPreviousLevel); at != WideView::npos; at = rest.find(kPreviousLevel)) {
    ++levels;
    rest.remove_prefix(at + kPreviousLevel.size());
  }
  if (levels == 0) return WideString(ref);

  WideView head = rest;
  for (; levels > 0; --levels) {
    const std::size_t dot = head.rfind(u'.');
    if (dot == WideView::npos) return std::nullopt;
    head = head.substr(0, dot);
  }
  return WithoutBrackets(WideString(head).append(1, u'.').append(rest));
}

// Takes the text before the first `.` off the path, with the `.`; all of the path if there is none.
WideView TakeSegment(WideView& path) noexcept {
  const std::size_t dot = path.find(u'.');
  const WideView segment = path.substr(0, dot);
  path.remove_prefix(dot == WideView::npos ? path.size() : dot + 1);
  return segment;
}

bool IsRootName(WideView name) noexcept {
  return name == WideView(g_conversion.rootStructName, g_conversion.rootStructNameUnits);
}

// What stands before the first `.` of the path as written; all of it if there is none.
WideView WrittenHead(const ValuePath& ref) noexcept {
  return WideView(ref.ref()).substr(0, ref.ref().find(u'.'));
}

// The record that an item's type leads to, pointers and arrays left aside; null for any other type.
JSStructDesc* RecordOfType(JSPDBMemDesc& set, WideView type) noexcept {
  return set.FindStruct(type.substr(0, type.find_first_of(u"[*")));
}

// Whether an item's type is an array for which the XML has one child element for each entry. A count of 0
// counts as none.
bool IsArrayType(WideView type) noexcept {
  WideView name;
  std::int32_t count = 0;
  return SplitIndexedName(type, name, count) == kOk && count > 0;
}

// Goes on to the element of the array's first entry; stays on the array where it has none.
void EnterFirstEntry(XMLElementRef& array) {
  std::optional<XMLChildEnum> entries = EnumChildren(array);
  if (entries && entries->Next()) array = entries->current();
}

// The log lines of one walk: all show the record that the walk began with and the path as written.
class WalkLog {
 public:
  WalkLog(const JSStructDesc* record, const ValuePath& ref) noexcept : record_(record), ref_(ref) {}

  template <class... Args>
  Status Fail(Status status, WideView format, const Args&... args) const noexcept {
    const FormatArg name =
        record_ == nullptr ? FormatArg(static_cast<const char16_t*>(nullptr)) : record_->name;
    g_DBGLog.Printf(2, format, name, ref_.ref(), args...);
    return status;
  }

 private:
  const JSStructDesc* record_;
  const ValuePath& ref_;
};

// Reads the number at the end of a walk.
Status LoadValue(std::uintptr_t address, std::int32_t size, const WalkLog& log, std::uint32_t& value) {
  if (address == 0) {
    return log.Fail(kAddress, u"Get value from binary: NULL ptr for binary.(Struct=%s, path=%s)");
  }
  // Asked for a pointer's bytes whatever is read: a number in the last bytes of readable memory is refused.
  const auto bytes = g_conversion.callerMemory->Load<std::array<unsigned char, kPointerBytes>>(address);
  if (!bytes) {
    return log.Fail(kAddress, u"Get value from binary: Binary unreadable.(Struct=%s, path=%s)");
  }
  if (size == 2) {
    std::uint16_t number = 0;
    std::memcpy(&number, bytes->data(), sizeof number);
    value = number;
  } else if (size == 4) {
    std::memcpy(&value, bytes->data(), sizeof value);
  } else {
    return log.Fail(kDescription, u"Get value from binary: item size error.(Struct=%s, path=%s, size=%d)",
                    size);
  }
  return kOk;
}

}  // namespace

ValuePath::ValuePath(WideString ref) : ref_(std::move(ref)), overflows_(false) {
  std::optional<WideString> resolved = WithoutPreviousLevels(ref_);
  overflows_ = !resolved.has_value();
  if (resolved) resolved_ = *std::move(resolved);
}

Status ValuePath::Resolve(WideView& path) const noexcept {
  if (overflows_) {
    g_DBGLog.Printf(2, u"Get value from binary: Previous level of path overflow(path=%s)", ref_);
    return kAddress;
  }
  path = resolved_;
  return kOk;
}

bool LeadsFromRoot(const ValuePath& ref) noexcept {
  const WideView head = WrittenHead(ref);
  return head.size() < ref.ref().size() && IsRootName(head);
}

Status SplitIndexedName(WideView text, WideView& name, std::int32_t& index) noexcept {
  if (text.empty()) return kParameter;
  const std::size_t open = text.find(u'[');
  const std::size_t close = text.find(u']');
  if (open == WideView::npos || close == WideView::npos || close < open + 2) return kNotFound;
  name = text.substr(0, open);
  index = ReadLong(text.substr(open + 1));
  return kOk;
}

Status GetValueFromBinary(JSPDBMemDesc& set, JSStructDesc* record, std::uintptr_t binary,
                          const ValuePath& ref, std::uint32_t& value) {
  const WalkLog log(record, ref);
  WideView path;
  // A path that goes up too far leaves the caller with the value that it had, as if it had been read.
  if (ref.Resolve(path) != kOk) return kOk;
  if (const std::size_t dot = path.find(u'.'); dot != WideView::npos && IsRootName(path.substr(0, dot))) {
    binary = g_conversion.rootBinary;
    record = set.FindStruct(TakeSegment(path));
  }
  if (binary == 0 || record == nullptr) {
    return log.Fail(kParameter, u"Get value from binary: Invalid parameters(Struct=%s path=%s)");
  }

  std::uintptr_t address = binary;
  for (;;) {
    if (record == nullptr) {
      return log.Fail(kDescription,
                      u"Get value from binary: Struct mismatch between rule and pdb(Struct=%s path=%s)");
    }
    const bool isLast = path.find(u'.') == WideView::npos;
    const JSStructItemDesc* const item = record->FindItem(TakeSegment(path));
    if (item == nullptr) {
      return log.Fail(kDescription,
                      u"Get value from binary: Struct item mismatch between rule and pdb(Struct=%s path=%s)");
    }
    address += static_cast<std::uintptr_t>(item->offset);  // wraps: only the reading decides what is there
    // One load only, however many `*` there are. A null is walked on from, too.
    if (address != 0 && item->type().find(u'*') != WideString::npos) {
      address = static_cast<std::uintptr_t>(
          g_conversion.callerMemory->Load<std::uint64_t>(address).value_or(address));
    }
    if (isLast) return LoadValue(address, item->size, log, value);
    record = RecordOfType(set, item->type());
  }
}

Status GetValueFromXML(JSPDBMemDesc& set, JSStructDesc* record, const XMLElementRef& element,
                       const ValuePath& ref, XMLElementRef& found) {
  const WalkLog log(record, ref);
  WideView path;
  if (ref.Resolve(path) != kOk) return kOk;
  XMLElementRef current = element;
  // The head is looked for in the path as written, unlike on the memory side: for a path with "..\" the two
  // may differ, and as many characters are dropped as the written head has.
  if (LeadsFromRoot(ref)) {
    const WideView head = WrittenHead(ref);
    current =
        g_conversion.rootElement == nullptr ? XMLElementRef() : ChildByName(*g_conversion.rootElement, head);
    record = set.FindStruct(head);
    path.remove_prefix(std::min(head.size() + 1, path.size()));
  }
  if (!current || record == nullptr) {
    return log.Fail(kParameter, u"Get value from xml: Invalid parameters(Struct=%s path=%s)");
  }

  for (;;) {
    if (record == nullptr) {
      return log.Fail(kDescription,
                      u"Get value from xml: Struct mismatch between rule and pdb(Struct=%s path=%s)");
    }
    const bool isLast = path.find(u'.') == WideView::npos;
    const WideView segment = TakeSegment(path);
    const JSStructItemDesc* const item = record->FindItem(segment);
    if (item == nullptr) {
      return log.Fail(kDescription,
                      u"Get value from xml: Struct item mismatch between rule and pdb(Struct=%s path=%s)");
    }
    if (!current) {
      return log.Fail(kContent,
                      u"Get value from xml: Struct mismatch between rule and xml(Struct=%s path=%s)");
    }
    current = ChildByName(current, segment);
    if (current && IsArrayType(item->type())) EnterFirstEntry(current);
    if (isLast) break;
    record = RecordOfType(set, item->type());
  }
  if (current) found = std::move(current);
  return kOk;
}

Status SetValueInXML(JSPDBMemDesc& set, JSStructDesc* record, const XMLElementRef& element,
                     const ValuePath& ref, WideView text) {
  XMLElementRef found;
  const Status status = GetValueFromXML(set, record, element, ref, found);
  if (status == kOk && found) ReplaceContent(found, text);
  return status;
}

}  // namespace sbx
