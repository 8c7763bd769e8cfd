// Reads a document with the places of what stands in it.
#pragma once

#include "base/wide_text.h"
#include "xml/native/expat_reader.h"
#include "xml/native/parse_events.h"

namespace sbx::tool {

// As the library's own reader does where it has one of its own; where the system reads documents for it, a
// scan that tells places takes the same documents, so that the n-th element is the n-th one there. Throws
// std::bad_alloc and nothing else.
bool ReadPlacedXml(WideView text, xml::native::ParseEvents& events, xml::native::ReadingReport& report);

}  // namespace sbx::tool
