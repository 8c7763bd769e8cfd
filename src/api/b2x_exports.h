// What the two memory-to-XML exports share with tests.
#pragma once

#include <cstdint>

namespace sbx {

// The units that a document of these exports may have (see XMLDOMHelper). Tests set it low.
extern std::uint64_t g_exportUnitLimit;

}  // namespace sbx
