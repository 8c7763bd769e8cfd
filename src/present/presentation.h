// Friendlier forms of a value on the way to XML, as an item's `restrict` text asks.
//
// One way only: the reader takes the number in front of what is added here.
#pragma once

#include <cstdint>

#include "base/result_codes.h"
#include "desc/structure_description.h"
#include "xml/xml_dom_helper.h"

namespace sbx {

// The item hook of the memory walk, on the item's element: the current one of `output`. Always 0: a failure
// leaves at most a log line and the earlier content. An item without a `restrict` text costs one test, so
// its element is not asked for the text that it would not change.
//
// What is written counts toward the size of the document; past its limit this throws std::bad_alloc, as
// where memory is refused.
Status ApplyItemPresentation(const JSStructDesc& record, const JSStructItemDesc& item, std::uintptr_t address,
                             XMLDOMHelper& output);

}  // namespace sbx
