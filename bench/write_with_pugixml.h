// What a program would do by itself: build the document with pugixml and save it. Texts are transcoded from
// UTF-16 to pugixml's UTF-8; the save is unformatted, without declaration, as UTF-16 little-endian into the
// caller's buffer.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

// Writes the text and a zero to `out`, which has room for `capacity` units. Returns the text's length, or 0
// if the room does not suffice.
std::size_t WriteWithPugixml(const JobScript& script, char16_t* out, std::size_t capacity);

}  // namespace bench
