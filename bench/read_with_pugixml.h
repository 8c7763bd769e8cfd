// What a program would do by itself on the way back: parse the UTF-16 document with pugixml and fill the
// records from the tree, looking items up by name.
#pragma once

#include <string_view>

#include "rebuilt.h"

namespace bench {

// The root record, owned by `blocks`; null if the text is not well-formed.
JobScript* ReadWithPugixml(std::u16string_view xml, Blocks& blocks);

}  // namespace bench
