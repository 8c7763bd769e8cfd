// Fills a description set from the structure description document.
//
// Strict: the first fault ends the load. Each one is logged at level 0, and its status travels up unchanged;
// what has been read until then stays in the set, which the set's own LoadFromXML then empties.
#pragma once

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "xml/document.h"

namespace sbx {

// An attribute of a description document's element; empty where it is absent, and after a log line for a null
// element. The view holds until the document's next call.
WideView DescriptionAttribute(const xml::NodeRef& element, WideView name);

class DescriptionLoader {
 public:
  explicit DescriptionLoader(JSPDBMemDesc& set) noexcept : set_(set) {}

  // A whole document. 0, -6 or -9, and what the steps below return.
  Status LoadDocument(WideView text);
  // One record with its items, from its element. 0, -2, -6 or -9, and what the step below returns.
  Status LoadStructFromXML(const xml::NodeRef& node);
  // One item, from its element. An item whose name is taken is dropped silently. 0, -2, -4, -6 or -9.
  Status LoadStructItemFromXML(JSStructDesc* record, const xml::NodeRef& node);

 private:
  JSPDBMemDesc& set_;
};

}  // namespace sbx
