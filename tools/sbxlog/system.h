// What the command asks of the operating system, beside what the library's platform rooms answer already.
// All narrow text is UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool::system {

enum class Stream { kOutput, kErrors };
bool IsTerminal(Stream stream) noexcept;

// To be called first of all: the standard streams carry bytes as they are, and a reader that has gone away is
// a failed write; the arguments of main come back as text.
std::vector<std::string> Begin(int argc, char** argv);

// From now on the user's wish to end (Ctrl-C, a closed terminal) is only noted.
void CatchStopRequests() noexcept;
bool IsStopRequested() noexcept;

// All processes that can be seen, ascending.
std::vector<std::uint32_t> ProcessIds();
bool IsProcessAlive(std::uint32_t processId) noexcept;
// The full path of a process's executable; empty if that can't be told.
WideString ExecutableOf(std::uint32_t processId);

}  // namespace sbx::tool::system
