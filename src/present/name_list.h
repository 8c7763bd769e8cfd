// The "namelist" command of a `restrict` text: a run of character codes shown as text or as "Name" children.
#pragma once

#include <cstdint>

#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "present/element_content.h"
#include "xml/document.h"

namespace sbx {

// More names than any list holds: a count above it is a failing step.
inline constexpr std::int32_t kNameLimit = 1'000'000;

// Reads the raw `restrict` text and not a parsed command: with a colon and a `]` anywhere in it, what follows
// the colon counts the names; else the numbers are one text. `content` holds decimal codes separated by
// blanks. It comes back empty where the codes have been written into the element in their other form, and
// unchanged where a step failed, so that the codes are shown as they are.
void RenderNameList(WideString& content, const JSStructItemDesc& item, const xml::NodeRef& element,
                    ElementContent& written);

}  // namespace sbx
