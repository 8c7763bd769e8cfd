// The walk from a record in memory to elements of the output document.
//
// Three operations recurse into each other: ConvertStruct, ConvertItem and ConvertByType. The walk knows
// nothing of any record's layout; descriptions, rules and presentation say what is where. It stops at the
// first failure, whose code travels up unchanged while each level adds a log line.
//
// One object lives for one export call, under the conversion lock. Cyclic and very deep graphs end in -3 when
// the thread's stack is nearly used up; nothing records which addresses have been visited.
#pragma once

#include <cstdint>
#include <memory>
#include <tuple>

#include "base/format.h"
#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "desc/type_strings.h"
#include "diag/dbg_log_facade.h"
#include "platform/caller_memory.h"
#include "xml/xml_dom_helper.h"

namespace sbx {

// How often one record may be relocated before the chain counts as a circle.
inline constexpr int kRelocationPasses = 10000;

// The longest text behind a narrow pointer, in UTF-16 units.
inline constexpr std::size_t kNarrowTextUnits = 63;

// Asked before each record: may change the record's description, and may name another record to read the
// memory as. A result that is not 0 ends the conversion.
using StructHook = Status (*)(JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t address,
                              WideString& relocatedName);
// Called after each item that converted well, on the document at the item's element. The result is not used.
using ItemHook = Status (*)(const JSStructDesc& record, const JSStructItemDesc& item, std::uintptr_t address,
                            XMLDOMHelper& output);

class JSBin2XML {
 public:
  // On the thread that will convert: its stack is what the walk watches.
  JSBin2XML() noexcept;
  JSBin2XML(const JSBin2XML&) = delete;
  JSBin2XML& operator=(const JSBin2XML&) = delete;

  std::unique_ptr<JSPDBMemDesc> desc;        // the conversion's own copy; walk and rules may change it
  XMLDOMHelper* helper = nullptr;            // created and released by the export
  platform::CallerMemory* memory = nullptr;  // not null while converting; through it all records are read
  StructHook structHook = nullptr;
  ItemHook itemHook = nullptr;
  WideString errorText;  // for the caller; the last failure's that set one

  // Replaces the error text; a null format empties it.
  template <class... Args>
  void SetErrorText(WideView format, const Args&... args) {
    errorText = Message(format, args...).view();
  }

  // Whether the record gets an element of its own, named after it, or writes into the current element.
  enum class Element { kOwn, kCurrent };
  Status ConvertStruct(JSStructDesc* record, std::uintptr_t address, Element element);
  Status ConvertItem(JSStructDesc* record, JSStructItemDesc* item, std::uintptr_t address);
  // Writes the value of the item at the address, as the item's type and size tell, into the current element.
  Status ConvertByType(const JSStructItemDesc& item, std::uintptr_t address);

 private:
  // Where a type leads. A record, or an array of records, is left to the recursion.
  struct Target {
    std::uintptr_t address = 0;
    JSStructDesc* record = nullptr;  // null: no record; the value has been written
    std::int32_t entries = 0;        // of an array of records; 0 for a single one
  };

  // The three recurse as deep as the caller's data goes, so their frames are kept small: what they call is
  // not inlined into them, and formats its messages in frames of its own.
  [[gnu::noinline]] Status EnterRecord(JSStructDesc*& record, std::uintptr_t address);
  [[gnu::noinline]] Status OpenRecordElement(const JSStructDesc& record);
  Status CheckItemPlace(const JSStructDesc& record, const JSStructItemDesc& item);
  [[gnu::noinline]] Status FailItemPlace(const JSStructDesc& record, const JSStructItemDesc& item);
  [[gnu::noinline]] Status OpenItem(const JSStructDesc* record, const JSStructItemDesc* item,
                                    std::uintptr_t address);
  [[gnu::noinline]] Status WriteValue(const JSStructItemDesc& item, Target& target);

  Status Relocate(JSStructDesc*& record, std::uintptr_t address);
  Status FollowPointers(const JSStructItemDesc& item, std::uintptr_t& address);
  Status WriteArray(const JSStructItemDesc& item, Target& target);
  Status WriteScalars(std::uintptr_t address);
  Status WriteSingle(const JSStructItemDesc& item, Target& target);
  Status FindRecord(Target& target);
  Status WriteNarrowText(const JSStructItemDesc& item, std::uintptr_t address);
  Status WriteWideText(std::uintptr_t address);

  bool IsPointer() const noexcept { return type_.pointerLevel > 0; }

  // A message yet to be formatted. Borrows its arguments.
  template <class... Args>
  class Words {
   public:
    explicit Words(WideView format, const Args&... args) noexcept : format_(format), args_(args...) {}
    Message Format() const noexcept {
      return std::apply([this](const Args&... args) { return Message(format_, args...); }, args_);
    }

   private:
    WideView format_;
    std::tuple<const Args&...> args_;
  };

  // The one way to fail with a text for the caller: logs at level 0, sets the error text, gives the code
  // back.
  template <class Log, class Text>
  [[gnu::noinline]] Status Fail(Status code, const Log& log, const Text& text) {
    g_DBGLog.Printf(0, u"%s", log.Format().view());
    errorText = text.Format().view();
    return code;
  }

  std::uintptr_t stackLimit_;

  // Reused by every record and value; nothing of them is needed once the recursion goes on.
  WideString relocatedName_;
  WideString valueText_;
  ResolvedType type_;
};

}  // namespace sbx
