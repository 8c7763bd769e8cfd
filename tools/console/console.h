// What every command asks of the console that it runs in. All narrow text is UTF-8.
#pragma once

#include <string>
#include <vector>

namespace sbx::tool::console {

// To be called first of all: the standard streams carry bytes as they are, and a reader that has gone away is
// a failed write; the arguments of main come back as text.
std::vector<std::string> Begin(int argc, char** argv);

enum class Stream { kOutput, kErrors };

// Whether a person reads it.
bool IsTerminal(Stream stream) noexcept;
// Whether it is a terminal that takes the sequences for colours, and doesn't show them.
bool TakesColours(Stream stream) noexcept;

enum class Colour { kAuto, kAlways, kNever };

// kAuto: where the stream takes colours, unless NO_COLOR is set and not empty.
bool WantsColour(Colour colour, Stream stream);

}  // namespace sbx::tool::console
