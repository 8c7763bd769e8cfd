// What a held thread was about to say.
#pragma once

#include <cstdint>
#include <optional>

#include "base/wide_text.h"

namespace sbx::tool {

// The last message of a thread in the ring of an executable, whose name may be in any case. Takes nothing
// from the ring's reader. Nothing if the ring can't be read or no longer holds it.
std::optional<WideString> LastMessageOf(WideView executable, std::uint32_t processId, std::uint32_t threadId);

}  // namespace sbx::tool
