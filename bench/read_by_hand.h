// The lower bound of the way back: the workload's records filled straight from its XML by code that knows
// both, and the order of the elements. It stops where the text is not what WriteByHand() writes, and checks
// nothing else.
#pragma once

#include <string_view>

#include "rebuilt.h"

namespace bench {

// The root record, owned by `blocks`; null if the text is not as expected.
JobScript* ReadByHand(std::u16string_view xml, Blocks& blocks);

}  // namespace bench
