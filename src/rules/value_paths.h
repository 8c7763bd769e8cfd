// Value paths: how a rule names an item somewhere in the graph of records (docs/conversion-rules.md).
//
// Two walks share one grammar. On the memory side a path leads through offsets and pointers to a number, on
// the XML side through child elements to an element. They know the record in hand, its address or element,
// and the root of the conversion, all from src/api/conversion_state.h; they run under the conversion lock
// only. What goes wrong is logged at level 2 and never fails a conversion.
#pragma once

#include <cstdint>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "xml/xml_element_ref.h"

namespace sbx {

// A path as a rule document gives it, with its "..\" prefixes worked out once: they are a rewrite of the
// text, which depends on nothing else.
class ValuePath {
 public:
  explicit ValuePath(WideString ref);

  const WideString& ref() const noexcept { return ref_; }
  bool empty() const noexcept { return ref_.empty(); }

  // The path to walk, which borrows from this object. 0, or -12 with `path` unchanged and a log line for a
  // path that goes up further than its own levels.
  Status Resolve(WideView& path) const noexcept;

 private:
  WideString ref_;
  WideString resolved_;
  bool overflows_;
};

// Whether the path, as written, leads from the root record rather than from the one in hand: on the XML side.
bool LeadsFromRoot(const ValuePath& ref) noexcept;

// Splits `name[index]`, as in a type text such as `Job[4]*`: 0 with both outputs set, -2 for an empty text,
// -1 for any other text without an index. `name` borrows from `text`.
Status SplitIndexedName(WideView text, WideView& name, std::int32_t& index) noexcept;

// The number that the path leads to from the record at `binary`, zero-extended from 2 or 4 bytes. 0 or -2,
// -4, -12. `value` stays as it was on failure, and also for a path that overflows, which reports 0.
Status GetValueFromBinary(JSPDBMemDesc& set, JSStructDesc* record, std::uintptr_t binary,
                          const ValuePath& ref, std::uint32_t& value);

// The element that the path leads to from the record's element. 0 or -2, -4, -9. `found` is set only when
// there is such an element: a missing one at the last segment is a success, as is a path that overflows.
Status GetValueFromXML(JSPDBMemDesc& set, JSStructDesc* record, const XMLElementRef& element,
                       const ValuePath& ref, XMLElementRef& found);

// Writes `text` into the element that the path leads to, if there is one. The status is that of the walk.
Status SetValueInXML(JSPDBMemDesc& set, JSStructDesc* record, const XMLElementRef& element,
                     const ValuePath& ref, WideView text);

}  // namespace sbx
