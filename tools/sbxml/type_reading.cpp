#include "sbxml/type_reading.h"

#include "desc/type_strings.h"
#include "sbxml/log_capture.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

std::string Pointers(std::int32_t level) {
  if (level < 1) return {};
  return level == 1 ? "pointer to " : std::to_string(level) + " pointers to ";
}

std::string ArrayOf(std::int32_t count) {
  return count < 1 ? std::string() : "array of " + std::to_string(count) + " ";
}

// Whether the writer finds the size that it asks for.
bool HasWritableSize(const ResolvedType& type, std::int32_t size) noexcept {
  if (type.pointerLevel > 0) return size == 4 || size == 8;
  if (type.arraySize > 0) return size / type.arraySize == type.typeSize;
  return size == type.typeSize;
}

std::string BaseName(const ResolvedType& type) {
  return (type.record != nullptr ? "record " : "") + ToUtf8(type.rawName);
}

constexpr const char* kBeyondRecord = "fails: the item lies beyond its record";
constexpr const char* kWrongSize = "fails: the size contradicts the type";
constexpr std::int32_t kUnknownSize = -2;  // the writer's word for a name that means nothing to it

bool LiesBeyond(const JSStructDesc& record, const JSStructItemDesc& item) noexcept {
  return std::int64_t{item.offset} + item.size > record.size;
}

std::string ToXml(JSPDBMemDesc& set, const JSStructDesc& record, const JSStructItemDesc& item) {
  if (LiesBeyond(record, item)) return kBeyondRecord;
  LogCapture log(0);
  ResolvedType type;
  if (ResolveItemType(set, item, type) != kOk) return "fails: the type can't be read";
  const bool isPointer = type.pointerLevel > 0;
  const bool isArray = type.arraySize > 0;
  const bool isUnknown = type.typeSize == kUnknownSize;
  if (!isUnknown && !HasWritableSize(type, item.size)) return kWrongSize;
  if (isPointer && !isArray && type.typeSize == -1) return "pointer shown as null or unknown";
  if (type.typeSize < 1 || (!type.isPrimary && type.record == nullptr)) {
    return "fails: " + Quoted(type.rawName) + " is no record and no type that can be written";
  }
  if (isPointer && !isArray && type.rawName == u"wchar_t") return Pointers(type.pointerLevel - 1) + "text";
  if (isPointer && !isArray && type.rawName == u"char")
    return Pointers(type.pointerLevel - 1) + "narrow text";
  return Pointers(type.pointerLevel) + ArrayOf(type.arraySize) + BaseName(type);
}

std::string FromXml(JSPDBMemDesc& set, const JSStructDesc& record, const JSStructItemDesc& item) {
  JSTypeSlots slots;
  slots.descSet = &set;
  const JSTypeNode* node = ParseItemType(slots, item);
  if (node == nullptr) return "skipped: the type is refused";
  if (LiesBeyond(record, item)) return kBeyondRecord;
  if (TypeChainSize(node) != item.size) return kWrongSize;
  if ((node->kind & JS_TYPE_STRING) != 0) return node->name == u"char*" ? "narrow text" : "text";
  std::string words;
  if ((node->kind & JS_TYPE_POINTER) != 0) {
    if (node->next == nullptr) return "null, and nothing else";
    words = Pointers(1);
    node = node->next;
  }
  if ((node->kind & JS_TYPE_ARRAY) != 0) {
    words += ArrayOf(node->count);
    node = node->next;
  }
  if (node->structDesc != nullptr) words += "record ";
  return words + ToUtf8(node->name);
}

}  // namespace

TypeReading ReadItemType(JSPDBMemDesc& set, const JSStructDesc& record, const JSStructItemDesc& item) {
  JSStructItemDesc read(item.name, item.type() == u"char*" ? u"wchar_t*" : item.type(), item.size,
                        item.offset, {}, {});
  return {ToXml(set, record, read), FromXml(set, record, read)};
}

}  // namespace sbx::tool
