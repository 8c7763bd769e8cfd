// Between the core's wide text and the narrow text of command lines, messages and JSON, which is UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/wide_text.h"

namespace sbx::tool {

std::string ToUtf8(WideView text);
WideString ToWide(std::string_view text);

// Paths as the command has them, and as the system takes them.
std::filesystem::path ToPath(std::string_view path);
std::string FromPath(const std::filesystem::path& path);

// As a message shows it: cut to a readable length, control characters as dots; and the same in double quotes.
std::string Shown(WideView text);
std::string Quoted(WideView text);

// "1 file", "2 files".
std::string Counted(std::uint64_t count, std::string_view noun);

// A path of records and items as it is shown: one of a deeply nested record loses its middle.
std::string ShownPath(std::string_view path);

// UTF-8 text with blanks behind it up to so many characters.
std::string Padded(std::string text, std::size_t width);

}  // namespace sbx::tool
