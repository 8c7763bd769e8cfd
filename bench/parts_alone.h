// Parts of the way back by themselves, to see what is left for the rest.
#pragma once

#include <string_view>

#include "rebuilt.h"

namespace bench {

// The library's parser with handlers that do nothing. False if the text is not well-formed.
bool ParseAlone(std::u16string_view xml);

// All blocks of a rebuilt script, without content.
void AddBlocksAlone(const JobScript& script, Blocks& blocks);

}  // namespace bench
