// The way back: job-script XML to a graph of records in memory.
//
// Driven by the XML, not by the description: children are walked in document order and matched to items by
// tag name, so an item without an element stays zero, an element without an item is skipped, and of two
// elements for one item the later wins. What the walk is silent about is by design.
//
// Differences from the memory-to-XML walk, each on purpose: a failing rule pass is recorded and not fatal; a
// relocation is one step and does not run the new record's rules; a type string that ParseItemType refuses
// skips its item; codes and the texts that go with them differ in places.
//
// One object serves one call, under the conversion lock. Blocks belong to the handle and stay there after a
// failure. Memory refused throws std::bad_alloc or returns -3.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/format.h"
#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "desc/type_strings.h"
#include "x2b/js_handle.h"
#include "xml/document.h"
#include "xml/xml_element_ref.h"

namespace sbx {

class SBXML2Bin {
 public:
  SBXML2Bin() noexcept = default;
  SBXML2Bin(const SBXML2Bin&) = delete;
  SBXML2Bin& operator=(const SBXML2Bin&) = delete;
  virtual ~SBXML2Bin() { TearDown(); }

  // Parses the text and fills the handle. `text` comes without a byte-order mark.
  Status ConvertXMLToMemory(WideView text, WideView rootName, JSHandle& handle);

  // For the caller of the library; empty until a failure, or a skipped item, sets it.
  WideView errorText() const noexcept { return errorText_; }

 private:
  // What an item's "flag" attribute says.
  enum class Flag { kNone, kNull, kBinary, kBinUtf8 };
  // Where a record or value goes. The size is in bytes.
  struct Target {
    std::byte* address;
    std::int64_t size;
  };
  // The progress through an array of records.
  struct ArrayWalk {
    JSStructDesc* inHand;  // a relocation replaces it for all later entries
    std::int64_t offset;   // bytes filled
    std::int32_t done;     // entries counted
  };

  Status Start(JSHandle& handle);
  Status LoadDocument(WideView text);
  Status RebuildRoot(WideView rootName);
  void TearDown() noexcept;

  Status ConvertStruct(const XMLElementRef& element, void** address);
  Status ConvertStructByName(const XMLElementRef& element, WideView recordName, Target target);
  Status ConvertChildren(const XMLElementRef& element, JSStructDesc& record, Target target);
  Status ConvertStructItem(JSStructDesc& record, const XMLElementRef& element, Target target);
  Status ConvertItemValue(const XMLElementRef& element, const JSTypeNode& head, Flag flag, Target target);
  Status ConvertNonPrimary(JSStructDesc* record, const XMLElementRef& element, Target target);
  Status ConvertArrayOfNonPrimary(JSStructDesc* record, std::int32_t count, const XMLElementRef& element,
                                  Target target);
  Status ConvertArrayEntry(ArrayWalk& walk, const XMLElementRef& child, Target array);
  Status ConvertOtherEntry(ArrayWalk& walk, const XMLElementRef& child, WideView tag, Target array);
  Status FillEntry(ArrayWalk& walk, const XMLElementRef& child, WideView recordName, std::int32_t size,
                   Target array);
  Status ConvertArrayOfPrimary(WideView typeName, std::int32_t count, WideView text, Target target);

  // Runs the record's rule pass; `record` becomes the one to read under. -1 if that one is unknown.
  Status Relocate(const XMLElementRef& element, JSStructDesc*& record);
  Status CheckItem(const JSStructDesc& record, const JSStructItemDesc& item, const JSTypeNode& head,
                   std::int64_t bufferSize);
  // Makes the block behind a pointer item and stores its address; `target` moves there.
  Status FollowPointer(const JSStructItemDesc& item, const JSTypeNode& head, Target& target);
  // The element's text with its flag undone; holds until the next call on the document.
  WideView Content(const XMLElementRef& element, Flag flag);
  static Flag FlagOf(const XMLElementRef& element);

  // A failure's log line, at level 0 and with a full stop, and the caller's text, without.
  template <class... Args>
  void LogAndSetError(Status code, WideView text, const Args&... args);
  template <class... Args>
  void SetConvertError(Status code, WideView format, const Args&... args);

  std::unique_ptr<xml::Document> document_;
  std::unique_ptr<JSTypeSlots> typeSlots_;
  std::unique_ptr<JSPDBMemDesc> descSet_;
  JSHandle* handle_ = nullptr;  // not owned
  Status errorCode_ = kOk;
  char16_t errorText_[kMessageUnits + 1] = {};

  WideString content_;  // decoded content, reused from value to value
  std::uintptr_t stackLimit_ = 0;
};

}  // namespace sbx
