// What the command asks of the operating system, beside what the library's platform rooms answer already.
// All narrow text is UTF-8.
#pragma once

#include <cstdint>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool::system {

// From now on the user's wish to end (Ctrl-C, a closed terminal) is only noted. Windows gives a command whose
// console is closed five seconds to end by itself.
void CatchStopRequests() noexcept;
bool IsStopRequested() noexcept;

// All processes that can be seen, ascending.
std::vector<std::uint32_t> ProcessIds();
bool IsProcessAlive(std::uint32_t processId) noexcept;
// The full path of a process's executable; empty if that can't be told.
WideString ExecutableOf(std::uint32_t processId);

}  // namespace sbx::tool::system
