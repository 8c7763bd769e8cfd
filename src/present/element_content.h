// How presentation writes into the output document.
#pragma once

#include <cstddef>

#include "base/wide_text.h"
#include "xml/document.h"
#include "xml/xml_dom_helper.h"

namespace sbx {

// One element's share of the document under construction.
class ElementContent {
 public:
  // `units` of the element's content have been counted already; what replaces them is counted beyond that.
  ElementContent(XMLDOMHelper& output, std::size_t units) noexcept : output_(output), credit_(units) {}

  // Replaces the content of an element as it stands, with no byte-string form, up to the first zero of the
  // text. False after a log line at level 0. Throws as Count.
  bool Put(const xml::NodeRef& element, WideView text);
  // Counts units that are about to be written; throws std::bad_alloc past the document's limit.
  void Count(std::size_t units);

 private:
  XMLDOMHelper& output_;
  std::size_t credit_;
};

}  // namespace sbx
