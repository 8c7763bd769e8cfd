#include "x2b/sbxml2bin.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "api/conversion_state.h"
#include "diag/dbg_log_facade.h"
#include "platform/thread_stack.h"
#include "rules/rule_set.h"
#include "rules/value_texts.h"
#include "x2b/primary_from_text.h"
#include "xml/byte_string.h"

namespace sbx {

// --- failures ----------------------------------------------------------------------------------------------

template <class... Args>
[[gnu::noinline]] void SBXML2Bin::SetConvertError(Status code, WideView format, const Args&... args) {
  errorCode_ = code;
  CopyTruncated(errorText_, std::size(errorText_), Message(format, args...).view());
}

template <class... Args>
[[gnu::noinline]] void SBXML2Bin::LogAndSetError(Status code, WideView text, const Args&... args) {
  g_DBGLog.Printf(0, WideString(text) + u'.', args...);
  SetConvertError(code, text, args...);
}

// --- the document ------------------------------------------------------------------------------------------

namespace {

// The document element as the value paths find it, and what they keep of it, for the length of one rebuild.
class RootElementScope {
 public:
  explicit RootElementScope(XMLElementRef& element) noexcept {
    g_conversion.rootElement = &element;
    g_conversion.valueTexts = &texts_;
  }
  ~RootElementScope() {
    g_conversion.rootElement = nullptr;
    g_conversion.valueTexts = nullptr;
  }
  RootElementScope(const RootElementScope&) = delete;
  RootElementScope& operator=(const RootElementScope&) = delete;

 private:
  ValueTexts texts_;
};

}  // namespace

Status SBXML2Bin::ConvertXMLToMemory(WideView text, WideView rootName, JSHandle& handle) {
  if (Start(handle) != kOk) return errorCode_;
  errorCode_ = LoadDocument(text);
  g_DBGLog.Printf(3, u"Load XML from string.");
  if (errorCode_ == kOk) errorCode_ = RebuildRoot(rootName);
  TearDown();
  return errorCode_;
}

Status SBXML2Bin::Start(JSHandle& handle) {
  const bool isNew =
      document_ == nullptr && typeSlots_ == nullptr && descSet_ == nullptr && handle_ == nullptr;
  if (!isNew || g_conversion.cachedDescSet == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for convert initializtion.");
    return kParameter;
  }
  descSet_ = g_conversion.cachedDescSet->Clone();
  handle_ = &handle;
  typeSlots_ = std::make_unique<JSTypeSlots>();
  typeSlots_->descSet = descSet_.get();
  stackLimit_ = platform::StackLimit();
  return kOk;
}

Status SBXML2Bin::LoadDocument(WideView text) {
  std::unique_ptr<xml::Document> document = xml::Document::New();
  if (document == nullptr) {
    g_DBGLog.Printf(0, u"COM error for creating XML Document instance.");
    return kDom;
  }
  // Strings and arrays depend on the white space of their elements.
  if (!document->PutPreserveWhiteSpace(true)) {
    g_DBGLog.Printf(0, u"COM error for put_preserveWhiteSpace.");
    return kDom;
  }
  if (!document->LoadXml(text)) {
    g_DBGLog.Printf(0, u"Failed to load XML.");
    return kContent;
  }
  document_ = std::move(document);
  return kOk;
}

Status SBXML2Bin::RebuildRoot(WideView rootName) {
  if (document_ == nullptr || handle_ == nullptr || typeSlots_ == nullptr || descSet_ == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting.");
    return kNotFound;
  }
  XMLElementRef documentElement(document_->DocumentElement());
  if (!documentElement) {
    g_DBGLog.Printf(0, u"Invalid root element in XML.");
    return kNotFound;
  }
  const RootElementScope scope(documentElement);
  const XMLElementRef root = ChildByName(documentElement, rootName);
  if (!root) {
    g_DBGLog.Printf(0, u"Invalid root structure in XML. Expected:[%s]", rootName);
    return kNotFound;
  }
  g_conversion.rootStructName = rootName.data();
  g_conversion.rootStructNameUnits = rootName.size();
  void* address = nullptr;
  const Status status = ConvertStruct(root, &address);
  if (status == kOk) handle_->root = address;
  return status;
}

void SBXML2Bin::TearDown() noexcept {
  typeSlots_.reset();
  document_.reset();
  handle_ = nullptr;
  descSet_.reset();
}

// --- records -----------------------------------------------------------------------------------------------

Status SBXML2Bin::ConvertStruct(const XMLElementRef& element, void** address) {
  if (!element || address == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting struct.");
    return kParameter;
  }
  *address = nullptr;
  const WideString tag(document_->TagName(element.element().get()).value_or(WideView()));
  JSStructDesc* record = descSet_->FindStruct(tag);
  if (record == nullptr) {
    g_DBGLog.Printf(0, u"No PDB info for struct %s.", tag);
    SetConvertError(kDescription, u"Can't get PDB info for struct %s", tag);
    return kDescription;
  }
  if (record->size <= 0) {
    g_DBGLog.Printf(0, u"Size error for struct %s (size is %d).", tag, record->size);
    SetConvertError(kDescription, u"The size error for struct %s (size is %d)", tag, record->size);
    return kDescription;
  }
  void* const block = AddBlock(*handle_, static_cast<std::uint64_t>(record->size));
  if (block == nullptr) {
    g_DBGLog.Printf(0, u"No enough memory for struct %s.", tag);
    return kMemory;
  }
  if (const Status status = Relocate(element, record); status != kOk) return status;
  // The tag and not the relocated name: a relocation of the root changes nothing but the size.
  const Status status = ConvertStructByName(element, tag, {static_cast<std::byte*>(block), record->size});
  if (status == kOk) *address = block;
  return status;
}

[[gnu::noinline]] Status SBXML2Bin::Relocate(const XMLElementRef& element, JSStructDesc*& record) {
  WideString newName;
  const Status status = X2BApplyRuleForJSStruct(element, *descSet_, *record, newName);
  if (status != kOk) {
    LogAndSetError(kContent, u"Conversion broken by X2BApplyRuleForJSStruct on %s with Error %d",
                   record->name, status);
  }
  if (newName.empty()) return kOk;
  JSStructDesc* const found = descSet_->FindStruct(newName);
  if (found == nullptr) {
    g_DBGLog.Printf(0, u"No PDB info for the relocated struct %s.", newName);
    SetConvertError(kContent, u"Can't find the PDB info for the relocated struct %s", newName);
    return kNotFound;
  }
  g_DBGLog.Printf(4, u"{Reloate struct %s to %s}.", record->name, newName);
  record = found;
  return kOk;
}

Status SBXML2Bin::ConvertStructByName(const XMLElementRef& element, WideView recordName, Target target) {
  if (!element || target.address == nullptr || recordName.data() == nullptr || target.size < 1) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting struct by name.");
    return kParameter;
  }
  JSStructDesc* const record = descSet_->FindStruct(recordName);
  if (record == nullptr) {
    g_DBGLog.Printf(0, u"No PDB info for struct %s.", recordName);
    return kDescription;
  }
  if (record->size < 1 || record->size != target.size) {
    g_DBGLog.Printf(0, u"PDB info error for struct %s(size: %d, buffer size: %d).", recordName, record->size,
                    target.size);
    return kDescription;
  }
  if (platform::IsStackNearlyUsedUp(stackLimit_)) {
    LogAndSetError(kMemory, u"Stack exhausted for converting struct %s", recordName);
    return kMemory;
  }
  if (!document_->HasChildNodes(element.element().get()).value_or(false)) {
    g_DBGLog.Printf(0, u"No child info in XML for struct %s.", recordName);
    return kContent;
  }
  return ConvertChildren(element, *record, target);
}

Status SBXML2Bin::ConvertChildren(const XMLElementRef& element, JSStructDesc& record, Target target) {
  std::optional<XMLChildEnum> children = EnumChildren(element);
  if (!children) {
    g_DBGLog.Printf(0, u"Enumerator error for struct %s.", record.name);
    return kContent;
  }
  g_DBGLog.Printf(3, u"%s(Size=%d Buffer_size=%d Ptr=0x%p).", record.name, record.size, target.size,
                  static_cast<const void*>(target.address));
  while (children->Next()) {
    const Status status = ConvertStructItem(record, children->current(), target);
    if (status != kOk) return status;
  }
  return kOk;
}

Status SBXML2Bin::ConvertNonPrimary(JSStructDesc* record, const XMLElementRef& element, Target target) {
  if (record == nullptr || !element || target.address == nullptr || target.size != record->size) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting non-primary.");
    return kParameter;
  }
  if (const Status status = Relocate(element, record); status != kOk) return status;
  return ConvertStructByName(element, record->name, target);
}

// --- items -------------------------------------------------------------------------------------------------

SBXML2Bin::Flag SBXML2Bin::FlagOf(const XMLElementRef& element) {
  const xml::NodeRef& node = element.element();
  const WideView flag = node.document()->GetAttribute(node.get(), kFlagAttribute).value_or(WideView());
  if (flag == u"null") return Flag::kNull;
  if (flag == u"binary") return Flag::kBinary;
  if (flag == u"bin_utf8") return Flag::kBinUtf8;
  return Flag::kNone;
}

WideView SBXML2Bin::Content(const XMLElementRef& element, Flag flag) {
  const WideView text = document_->GetText(element.element().get()).value_or(WideView());
  if (flag != Flag::kBinary && flag != Flag::kBinUtf8) return text;
  content_ = xml::DecodeContent(text, flag == Flag::kBinary ? u"binary" : u"bin_utf8");
  return content_;
}

[[gnu::noinline]] Status SBXML2Bin::CheckItem(const JSStructDesc& record, const JSStructItemDesc& item,
                                              const JSTypeNode& head, std::int64_t bufferSize) {
  const std::int64_t end = std::int64_t{item.offset} + item.size;
  if (item.offset >= 0 && item.size >= 1 && end <= bufferSize && TypeChainSize(&head) == item.size) {
    return kOk;
  }
  LogAndSetError(kDescription, u"Invalid PDB info for the item %s in struct %s", item.name, record.name);
  return kDescription;
}

Status SBXML2Bin::ConvertStructItem(JSStructDesc& record, const XMLElementRef& element, Target target) {
  if (!element || target.address == nullptr || target.size < 1) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting struct item.");
    return kParameter;
  }
  const WideView tag = document_->TagName(element.element().get()).value_or(WideView());
  JSStructItemDesc* const item = record.FindItem(tag);
  if (item == nullptr) return kOk;
  const Flag flag = FlagOf(element);

  const JSTypeNode* head = ParseItemType(*typeSlots_, *item);
  if (head == nullptr) {
    // The item counts as skipped; the text stays and shows on a later failure that sets none.
    LogAndSetError(kDescription, u"Invalid type string %s in XML element %s", u"null type", item->name);
    return kOk;
  }
  if (const Status status = CheckItem(record, *item, *head, target.size); status != kOk) return status;

  if ((head->kind & (JS_TYPE_STRING | JS_TYPE_POINTER)) != 0 && flag == Flag::kNull) return kOk;
  Target value = {target.address + item->offset, item->size};
  if ((head->kind & JS_TYPE_POINTER) != 0) {
    if (const Status status = FollowPointer(*item, *head, value); status != kOk) return status;
    head = head->next;
  }
  g_DBGLog.Printf(3, u"%s(Size=%d Offset=%d Type=%s Ptr=0x%p).", item->name, item->size, item->offset,
                  item->type(), static_cast<const void*>(value.address));
  return ConvertItemValue(element, *head, flag, value);
}

[[gnu::noinline]] Status SBXML2Bin::FollowPointer(const JSStructItemDesc& item, const JSTypeNode& head,
                                                  Target& target) {
  if (head.next == nullptr) {
    g_DBGLog.Printf(0, u"Failed to parse item type of %s in XML element %s.", head.name, item.name);
    SetConvertError(kDescription, u"Failed to parse item type in XML element %s", item.name);
    return kDescription;
  }
  if ((head.next->kind & JS_TYPE_POINTER) != 0) {
    g_DBGLog.Printf(0, u"The type string %s can't be of multi level pointer in XML element %s.",
                    head.next->name, item.name);
    SetConvertError(kDescription, u"the type string %s can't be of multi level pointer in XML element %s",
                    head.next->name, item.name);
    return kDescription;
  }
  const std::int64_t size = TypeChainSize(head.next);
  if (size <= 0 || size > std::numeric_limits<std::int32_t>::max()) {
    LogAndSetError(kDescription, u"Invalid size of type %s in XML element %s(Size: %d)", head.next->name,
                   item.name, size);
    return kContent;
  }
  void* const block = AddBlock(*handle_, static_cast<std::uint64_t>(size));
  if (block == nullptr) return kMemory;
  std::memcpy(target.address, &block, sizeof block);
  target = {static_cast<std::byte*>(block), size};
  return kOk;
}

// The chain is read here and not after: the recursion overwrites its nodes.
Status SBXML2Bin::ConvertItemValue(const XMLElementRef& element, const JSTypeNode& head, Flag flag,
                                   Target target) {
  if ((head.kind & JS_TYPE_ARRAY) != 0) {
    const JSTypeNode& base = *head.next;
    if ((base.kind & JS_TYPE_PRIMARY) == 0) {
      return ConvertArrayOfNonPrimary(base.structDesc, head.count, element, target);
    }
    return ConvertArrayOfPrimary(base.name, head.count, Content(element, flag), target);
  }
  if ((head.kind & JS_TYPE_PRIMARY) == 0) return ConvertNonPrimary(head.structDesc, element, target);

  const WideView text = Content(element, flag);
  if (target.address == nullptr || PrimaryTypeSize(head.name) != target.size) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting primary.");
    return kParameter;
  }
  return PrimaryFromText(head.name, text, target.address, target.size, *handle_);
}

// --- arrays ------------------------------------------------------------------------------------------------

Status SBXML2Bin::ConvertArrayOfNonPrimary(JSStructDesc* record, std::int32_t count,
                                           const XMLElementRef& element, Target target) {
  if (record == nullptr || count < 1 || target.address == nullptr || target.size < 1) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting array of non-primary.");
    return kParameter;
  }
  if (std::int64_t{record->size} * count != target.size) {
    g_DBGLog.Printf(
        0, u"Array buffer size error.(Struct name: %s, Struct size: %d, Struct num: %d, Buffer size: %d).",
        record->name, record->size, count, target.size);
    return kNotFound;
  }
  if (!document_->HasChildNodes(element.element().get()).value_or(false)) return kOk;
  std::optional<XMLChildEnum> children = EnumChildren(element);
  if (!children) return kOk;

  ArrayWalk walk = {record, 0, 0};
  Status status = kOk;
  while (status == kOk && walk.done < count && children->Next()) {
    status = ConvertArrayEntry(walk, children->current(), target);
  }
  return status;
}

Status SBXML2Bin::ConvertArrayEntry(ArrayWalk& walk, const XMLElementRef& child, Target array) {
  const WideView tag = document_->TagName(child.element().get()).value_or(WideView());
  if (tag != walk.inHand->name) return ConvertOtherEntry(walk, child, tag, array);
  if (const Status status = Relocate(child, walk.inHand); status != kOk) return status;
  return FillEntry(walk, child, walk.inHand->name, walk.inHand->size, array);
}

// An entry tagged with another record of the same size is filled by that record's description.
Status SBXML2Bin::ConvertOtherEntry(ArrayWalk& walk, const XMLElementRef& child, WideView tag, Target array) {
  JSStructDesc* record = descSet_->FindStruct(tag);
  if (record == nullptr || record->size != walk.inHand->size) {
    LogAndSetError(kContent, u"Invalid struct when reading array of struct %s", tag);
    return kContent;
  }
  const JSStructDesc& tagged = *record;
  if (const Status status = Relocate(child, record); status != kOk) return status;
  return FillEntry(walk, child, tagged.name, record->size, array);
}

Status SBXML2Bin::FillEntry(ArrayWalk& walk, const XMLElementRef& child, WideView recordName,
                            std::int32_t size, Target array) {
  // A relocation can make entries larger than the array's own.
  if (size > array.size - walk.offset) {
    g_DBGLog.Printf(0, u"PDB info error for struct %s(size: %d, buffer size: %d).", recordName, size,
                    array.size - walk.offset);
    return kDescription;
  }
  const Status status = ConvertStructByName(child, recordName, {array.address + walk.offset, size});
  walk.offset += size;
  ++walk.done;
  return status;
}

Status SBXML2Bin::ConvertArrayOfPrimary(WideView typeName, std::int32_t count, WideView text, Target target) {
  const PrimaryType* const type = FindPrimaryType(typeName);
  if (count < 1 || target.address == nullptr || type == nullptr ||
      std::int64_t{count} * type->size != target.size) {
    g_DBGLog.Printf(0, u"Invalid parameters for converting array of primary.");
    return kParameter;
  }
  if (text.empty()) return kOk;
  g_DBGLog.Printf(3, u"Array[%d](Buffer_size=%d).", count, target.size);

  // Presentation text begins at the first "(": a zero takes its place, but the units behind it are still cut
  // into tokens, the first of which is empty and stores 0.
  const std::size_t presentation = text.find(u'(');
  std::byte* element = target.address;
  std::size_t first = text.find_first_not_of(u' ');
  for (std::int32_t done = 0; done < count && first < text.size(); ++done) {
    const std::size_t end = std::min(text.find(u' ', first), text.size());
    WideView token = text.substr(first, end - first);
    if (presentation >= first && presentation < end) token = token.substr(0, presentation - first);
    StoreScalar(*type, token, element);
    element += type->size;
    first = text.find_first_not_of(u' ', end);
  }
  return kOk;
}

}  // namespace sbx
