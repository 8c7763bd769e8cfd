// What a reader of XML text reports, in document order.
#pragma once

#include <span>

#include "base/wide_text.h"

namespace sbx::xml::native {

struct ParsedAttribute {
  WideView name;
  WideView value;  // normalised, references undone
};

// Receives the events of one document. Views hold during the call. Any call may throw
// std::bad_alloc, which ends the reading and comes out of it.
class ParseEvents {
 public:
  virtual ~ParseEvents() = default;
  // Defaults of the document type stand among the attributes. False if a name is none, which ends the reading
  // as any fault in the text does.
  virtual bool StartElement(WideView name, std::span<const ParsedAttribute> attributes) = 0;
  virtual void EndElement() = 0;
  // Text with references undone, in pieces of any size, or the content of a CDATA section between the next
  // two. Never outside the root element.
  virtual void Characters(WideView piece) = 0;
  virtual void StartCdata() = 0;
  virtual void EndCdata() = 0;
  // Comments and instructions of the document type are not reported.
  virtual void Comment(WideView text) = 0;
  virtual void Instruction(WideView target, WideView data) = 0;
};

}  // namespace sbx::xml::native
