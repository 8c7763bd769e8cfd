// The lower bound: the workload's XML appended to the caller's buffer by code that knows the records, with no
// descriptions, no document and no tests of what it reads.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

// Writes the text and a zero to `out`, which has room for `capacity` units. Returns the text's length, or 0
// if the room does not suffice.
std::size_t WriteByHand(const JobScript& script, char16_t* out, std::size_t capacity);

}  // namespace bench
