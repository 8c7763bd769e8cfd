// Text files of XML: what the file export shares with SBXWriteXML.
#pragma once

#include "api/arguments.h"
#include "base/result_codes.h"
#include "xml/document.h"

namespace sbx {

// Writes a document to a file, as SBXWriteXML does with encoding 0: UTF-16 little-endian with its mark. A
// null or empty text is refused. Failures are logged; a failed write sets the last error text. May throw
// std::bad_alloc.
Status WriteDocumentFile(const TextArgument& path, const xml::SerializedText* text);

}  // namespace sbx
