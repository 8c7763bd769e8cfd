// Where a command's data goes: standard output, or a file that is complete or not there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/wide_text.h"

namespace sbx::tool {

enum class Encoding { kUtf16, kUtf16BigEndian, kUtf8, kAnsi };

// The bytes of a text file: the encoding's mark, if it has one, and the text. No closing zero byte. `isWhole`
// is cleared where a character has no form in the encoding, such as half a surrogate pair in UTF-8.
std::string Encode(WideView text, Encoding encoding, bool& isWhole);

// Writes to a temporary file beside `path` and renames it, so that `path` holds either its former content or
// all of the new one; what is no regular file is written directly, and "-" is standard output. Throws
// CommandFailure with kExitNoOutput.
void WriteOutput(const std::string& path, std::string_view bytes);

}  // namespace sbx::tool
