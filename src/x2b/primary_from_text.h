// One value in memory from one piece of element text: the place where presentation text is shed.
//
// Numbers are plain decimal, decimal with a sign, or "0x" and hexadecimal digits; what follows the first
// blank, tab or "(" is dropped. Text that is no number stores 0 and a number too large for its field is cut
// to the field's width, both without a report: the reader is tolerant by design.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/primary_types.h"
#include "x2b/js_handle.h"

namespace sbx {

// Stores the value of `text` at `target`, which holds `size` bytes; strings get a block of their own in
// `handle`, whose address is stored. An empty text leaves a scalar as it was, and makes an empty string.
// 0, -2 for a name or size that the table of primary types refuses (logged), -3 where memory is refused.
Status PrimaryFromText(WideView typeName, WideView text, std::byte* target, std::int64_t size,
                       JSHandle& handle);

// The scalar rows of the table alone, for text that may be empty and then stores 0: an array's token that
// begins where presentation text was cut off is such a text.
void StoreScalar(const PrimaryType& type, WideView text, std::byte* target);

}  // namespace sbx
