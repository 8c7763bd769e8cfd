#include "b2x/js_bin2xml.h"

#include <utility>

#include "desc/primary_types.h"
#include "diag/dbg_log_facade.h"
#include "platform/narrow_text.h"
#include "platform/thread_stack.h"

namespace sbx {

namespace {

// A narrow text of this many bytes is over the limit in every code page: none takes more than four bytes for
// a unit.
constexpr std::size_t kNarrowTextBytes = (kNarrowTextUnits + 1) * 4;

// What GetTypeSize says of "void" and of an unknown name.
constexpr std::int32_t kVoidSize = -1;
constexpr std::int32_t kUnknownSize = -2;

// Pointers are read at full width even where the description gives them four bytes.
using PointerBits = std::uint64_t;

// Log lines of the recursion, out of its frames like everything else that it calls.

[[gnu::noinline]] void LogRecord(const JSStructDesc& record, std::uintptr_t address) {
  g_DBGLog.Printf(3, u"%s(Size=%d Ptr=0x%p).", record.name, record.size, AddressArg(address));
}

[[gnu::noinline]] void LogFailedItem(const JSStructDesc& record, const JSStructItemDesc& item,
                                     std::uintptr_t address, Status rc) {
  g_DBGLog.Printf(0, u"item failed. name:%s::%s, type: %s, offset:%d, size: %d, addr:0x%p, rc:%d",
                  record.name, item.name, item.type(), item.offset, item.size, AddressArg(address), rc);
}

[[gnu::noinline]] void LogBrokenRecord(const JSStructDesc& record, const JSStructItemDesc& item, Status rc) {
  g_DBGLog.Printf(0, u"Failed to convert item. item:%s::%s, offset:%d, type:%s, size:%d, rc=%d", record.name,
                  item.name, item.offset, item.type(), item.size, rc);
}

}  // namespace

JSBin2XML::JSBin2XML() noexcept : stackLimit_(platform::StackLimit()) {}

// --- records -----------------------------------------------------------------------------------------------

Status JSBin2XML::ConvertStruct(JSStructDesc* record, std::uintptr_t address, Element element) {
  if (const Status rc = EnterRecord(record, address); rc != kOk) return rc;
  if (element == Element::kOwn) {
    if (const Status rc = OpenRecordElement(*record); rc != kOk) return rc;
  }
  Status rc = kOk;
  if (!record->items().empty()) {
    LogRecord(*record, address);
    for (JSStructItemDesc& item : record->items()) {
      rc = CheckItemPlace(*record, item);
      if (rc != kOk) break;
      rc = ConvertItem(record, &item, address + static_cast<std::uint32_t>(item.offset));
      if (rc == kOk) continue;
      LogBrokenRecord(*record, item, rc);
      break;
    }
  }
  if (element == Element::kOwn) helper->BackToParent();
  return rc;
}

// All that comes before a record's element; `record` becomes the one that the memory is to be read as.
Status JSBin2XML::EnterRecord(JSStructDesc*& record, std::uintptr_t address) {
  if (record == nullptr || address == 0 || helper == nullptr) {
    return Fail(kParameter, Words(u"Invalid parameters for converting B2X."), Words(u"Invalid parameters"));
  }
  if (platform::IsStackNearlyUsedUp(stackLimit_)) {
    return Fail(kMemory, Words(u"Stack exhausted for converting struct %s.", record->name),
                Words(u"Stack exhausted for converting struct %s", record->name));
  }
  if (structHook != nullptr) {
    if (const Status rc = Relocate(record, address); rc != kOk) return rc;
  }
  if (record->size > 0) return kOk;
  return Fail(kDescription, Words(u"Invalid PDB info for struct %s(size: %d).", record->name, record->size),
              Words(u"Invalid the PDB info for the struct size %s", record->name));
}

// Asks the hook which record the memory is to be read as, until it names none or the present one.
Status JSBin2XML::Relocate(JSStructDesc*& record, std::uintptr_t address) {
  const JSStructDesc& first = *record;
  for (int pass = 0; pass < kRelocationPasses; ++pass) {
    relocatedName_.clear();
    if (const Status rc = structHook(*desc, *record, address, relocatedName_); rc != kOk) {
      return Fail(rc, Words(u"Conversion broken by user callback with error. rc=%d.", rc),
                  Words(u"Conversion broken by user callback with Error %d", rc));
    }
    if (relocatedName_.empty()) return kOk;
    JSStructDesc* const found = desc->FindStruct(relocatedName_);
    if (found == nullptr) {
      return Fail(kNotFound, Words(u"Can't find the PDB info for the relocated struct %s.", relocatedName_),
                  Words(u"Can't find the PDB info for the relocated struct %s", relocatedName_));
    }
    const JSStructDesc& before = *std::exchange(record, found);
    if (record->name == before.name) return kOk;
    g_DBGLog.Printf(4, u"{Reloate struct %s to %s}.", before.name, record->name);
  }
  return Fail(kDescription, Words(u"Relocation without end for struct %s.", first.name),
              Words(u"Relocation without end for struct %s", first.name));
}

Status JSBin2XML::OpenRecordElement(const JSStructDesc& record) {
  const Status rc = helper->NewElement(record.name);
  if (rc == kOk) return kOk;
  const Words text(u"Can't create XML element for %s", record.name);
  return Fail(rc, text, text);
}

// Whether the item lies within its record.
Status JSBin2XML::CheckItemPlace(const JSStructDesc& record, const JSStructItemDesc& item) {
  if (item.size >= 1 && item.offset >= 0 && std::int64_t{item.offset} + item.size <= record.size) return kOk;
  return FailItemPlace(record, item);
}

Status JSBin2XML::FailItemPlace(const JSStructDesc& record, const JSStructItemDesc& item) {
  const Words text(u"Invalid the PDB info for the struct item %s", item.name);
  if (item.size < 1 || item.offset < 0) {
    return Fail(
        kDescription,
        Words(u"Invalid PDB info for struct item %s(size:%d, offset:%d).", item.name, item.size, item.offset),
        text);
  }
  return Fail(kDescription,
              Words(u"Invalid PDB info for struct item %s( size(%d) + offset(%d) > struct size(%d) ).",
                    item.name, item.size, item.offset, record.size),
              text);
}

// --- items -------------------------------------------------------------------------------------------------

Status JSBin2XML::ConvertItem(JSStructDesc* record, JSStructItemDesc* item, std::uintptr_t address) {
  if (const Status rc = OpenItem(record, item, address); rc != kOk) return rc;
  const Status rc = ConvertByType(*item, address);
  if (rc == kOk && itemHook != nullptr) {
    itemHook(*record, *item, address, *helper);
  } else {
    LogFailedItem(*record, *item, address, rc);  // without a hook also for an item that converted well
  }
  helper->BackToParent();
  return rc;
}

// All that comes before an item's value, its element included.
Status JSBin2XML::OpenItem(const JSStructDesc* record, const JSStructItemDesc* item, std::uintptr_t address) {
  if (record == nullptr || item == nullptr || address == 0 || item->offset < 0 || item->size < 1) {
    return Fail(kParameter, Words(u"Invalid parameters for converting item."), Words(u"Invalid parameters"));
  }
  if (helper == nullptr) {
    return Fail(kState, Words(u"Init error for converting item."), Words(u"Invalid XMLDOMHelper"));
  }
  if (item->name.empty() || item->type().empty()) {
    return Fail(kDescription,
                Words(u"Invalid PDB info for struct item %s(type: %s).", item->name, item->type()),
                Words(u"Invalid the PDB info for the struct item %s", item->name));
  }
  const Status rc = helper->NewElement(item->name);
  if (rc != kOk) SetErrorText(u"Can't create the XML element for the struct item %s", item->name);
  return rc;
}

// --- values ------------------------------------------------------------------------------------------------

Status JSBin2XML::ConvertByType(const JSStructItemDesc& item, std::uintptr_t address) {
  Target target{.address = address};
  const Status rc = WriteValue(item, target);
  if (rc != kOk || target.record == nullptr) return rc;
  if (target.entries == 0) return ConvertStruct(target.record, target.address, Element::kCurrent);
  // The entries lie as far apart as the record named in the type is long, whatever they are relocated to.
  for (std::int32_t left = target.entries; left > 0; --left) {
    const Status entry = ConvertStruct(target.record, target.address, Element::kOwn);
    if (entry != kOk) return entry;
    target.address += static_cast<std::uint32_t>(target.record->size);
  }
  return kOk;
}

// Writes the value that an item leads to, or finds the record, or the array of records, that it leads to.
Status JSBin2XML::WriteValue(const JSStructItemDesc& item, Target& target) {
  if (target.address == 0 || item.size == 0) {
    return Fail(kParameter, Words(u"Invalid parameters for converting by type."),
                Words(u"Invalid parameters"));
  }
  if (const Status rc = ResolveItemType(*desc, item, type_); rc != kOk) {
    SetErrorText(u"Can't parse the type %s", item.type());
    return rc;
  }
  if (IsPointer()) {
    const Status rc = FollowPointers(item, target.address);
    if (rc != kOk || target.address == 0) return rc;
  }
  return type_.arraySize > 0 ? WriteArray(item, target) : WriteSingle(item, target);
}

// Moves the address on to what the pointers lead to. A null pointer on the way ends it: the address becomes 0
// and the element is flagged.
Status JSBin2XML::FollowPointers(const JSStructItemDesc& item, std::uintptr_t& address) {
  if (item.size != 4 && item.size != 8) {
    return Fail(kDescription, Words(u"Invalid PDB info for type %s(ptr size: %d).", item.type(), item.size),
                Words(u"Invalid size %d for the type %s", item.size, item.type()));
  }
  for (std::int32_t level = type_.pointerLevel; level > 0; --level) {
    const auto next = memory->Load<PointerBits>(address);
    if (!next) {
      g_DBGLog.Printf(0, u"Binary not readable.(Type: %s, ptr size: %d)", item.type(), item.size);
      return kAddress;
    }
    address = *next;
    if (address != 0) continue;
    helper->SetFlagAttribute(u"null");  // an element that can't be flagged stays empty, and all is well
    return kOk;
  }
  return kOk;
}

Status JSBin2XML::WriteArray(const JSStructItemDesc& item, Target& target) {
  const std::uint32_t inlineSize =
      static_cast<std::uint32_t>(item.size) / static_cast<std::uint32_t>(type_.arraySize);
  if (!IsPointer() && inlineSize != std::int64_t{type_.typeSize}) {
    return Fail(
        kDescription,
        Words(u"Invalid PDB size info for type %s(Buffer size: %d, Array size: %d, Element size: %d).",
              item.type(), item.size, type_.arraySize, type_.typeSize),
        Words(u"Invalid size %d for the type %s", item.size, item.type()));
  }
  if (type_.typeSize <= 0) {
    return Fail(kDescription,
                Words(u"Invalid PDB size info for type %s(Element size: %d).", item.type(), type_.typeSize),
                Words(u"Invalid array element size %d for the type %s", type_.typeSize, item.type()));
  }
  if (!type_.isPrimary) {
    target.entries = type_.arraySize;
    return FindRecord(target);
  }
  const Status rc = WriteScalars(target.address);
  g_DBGLog.Printf(3, u"Array[%d]", type_.arraySize);
  return rc;
}

// The values of an array of primaries, joined by one blank. Nothing is written unless all can be read. The
// text stops growing where the document has no room for it: its length is the description's word alone.
Status JSBin2XML::WriteScalars(std::uintptr_t address) {
  const std::uint64_t room = helper->unitsLeft();
  valueText_.clear();
  for (std::int32_t left = type_.arraySize; left > 0; --left) {
    const Status rc = PrimaryValueToText(type_.rawName, address, type_.typeSize, *memory, valueText_);
    if (rc != kOk) return rc;
    if (valueText_.size() > room) return kMemory;
    if (left > 1) valueText_.push_back(u' ');
    address += static_cast<std::uint32_t>(type_.typeSize);
  }
  return helper->SetPlainContent(valueText_);
}

Status JSBin2XML::WriteSingle(const JSStructItemDesc& item, Target& target) {
  if (IsPointer() && type_.typeSize == kVoidSize) {
    helper->SetFlagAttribute(u"unknown");  // likewise
    return kOk;
  }
  if (IsPointer() && type_.typeSize == kUnknownSize) {
    return Fail(kDescription,
                Words(u"Invalid PDB info for type %s(Element size: %d).", type_.rawName, type_.typeSize),
                Words(u"Invalid size for the type %s", type_.rawName));
  }
  if (type_.typeSize <= 0 || (!IsPointer() && type_.typeSize != item.size)) {
    return Fail(kDescription,
                Words(u"Invalid PDB size info for type %s(Buffer size: %d, Element size: %d).", type_.rawName,
                      item.size, type_.typeSize),
                Words(u"Invalid size for the type %s", type_.rawName));
  }
  if (!type_.isPrimary) return FindRecord(target);
  if (IsPointer() && type_.rawName == u"char") return WriteNarrowText(item, target.address);
  if (IsPointer() && type_.rawName == u"wchar_t") return WriteWideText(target.address);
  valueText_.clear();
  const Status rc = PrimaryValueToText(type_.rawName, target.address, type_.typeSize, *memory, valueText_);
  return rc == kOk ? helper->SetPlainContent(valueText_) : rc;
}

Status JSBin2XML::FindRecord(Target& target) {
  target.record = type_.record;
  if (target.record != nullptr) return kOk;
  return Fail(kDescription, Words(u"Invalid PDB info for type %s.", type_.rawName),
              Words(u"Can't find the PDB info for the struct %s", type_.rawName));
}

Status JSBin2XML::WriteNarrowText(const JSStructItemDesc& item, std::uintptr_t address) {
  const auto narrow = memory->NarrowText(address, kNarrowTextBytes);
  if (!narrow) {
    g_DBGLog.Printf(0, u"Binary not readable.(Type: %s, size: %d)", type_.rawName, type_.typeSize);
    return kAddress;
  }
  const auto wide = platform::Widen(*narrow, platform::NarrowPage::kAnsi);
  if (!wide || wide->size() > kNarrowTextUnits) {
    g_DBGLog.Printf(0, u"Narrow text too long for converting by type.(Type: %s, Limit: %d)", item.type(),
                    kNarrowTextUnits);
    return kContent;
  }
  return helper->SetContent(*wide);
}

// One unit more than the document has room for is enough to be refused by it.
Status JSBin2XML::WriteWideText(std::uintptr_t address) {
  const auto text = memory->WideText(address, static_cast<std::size_t>(helper->unitsLeft()) + 1);
  if (text) return helper->SetContent(*text);
  g_DBGLog.Printf(0, u"Binary not readable.(Type: %s, Size: %d) bin:0x%p", type_.rawName, type_.typeSize,
                  AddressArg(address));
  return kAddress;
}

}  // namespace sbx
