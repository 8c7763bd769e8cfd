// A document with one element a line, for reading and for comparing line by line.
#pragma once

#include "base/wide_text.h"
#include "sbxml/source_tree.h"

namespace sbx::tool {

// Elements that hold elements and no text of their own get a line for each child, two blanks further in; all
// others are kept to the character. The document type and CDATA sections are resolved. Ends in a line feed.
WideString PrettyPrint(const SourceTree& tree);

}  // namespace sbx::tool
