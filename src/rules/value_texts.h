// The texts that value paths from the root have led to, kept for the length of one rebuild.
//
// Such a path leads every record to the same element, whose text may be as long as the document: it is
// gathered, decoded and read as a number once. What records have of their own is not kept.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "xml/xml_element_ref.h"

namespace sbx {

struct KeptText {
  WideString text;       // with its "flag" undone
  std::uint32_t number;  // what ParseNumberText makes of it
};

// For one document, which must outlive it, and whose nodes live as long as it does.
class ValueTexts {
 public:
  // Holds until the content of an element changes.
  const KeptText& Of(const XMLElementRef& element);
  // To be called before the content of an element changes.
  void Forget(const XMLElementRef& element);

 private:
  std::unordered_map<const xml::Node*, KeptText> texts_;
};

// WriteContent, for rules: what is kept of the element's text is forgotten.
Status ReplaceContent(const XMLElementRef& element, WideView text);

}  // namespace sbx
