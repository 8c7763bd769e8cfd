// Narrow text and its wide form.
//
// UTF-8 reading gives one U+FFFD for each maximal valid prefix of a broken sequence; writing turns a lone
// surrogate into EF BF BD. The ANSI page is the platform's current one: code page 0 on Windows, UTF-8
// elsewhere.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/wide_text.h"

namespace sbx::platform {

enum class NarrowPage { kUtf8, kAnsi };

// The whole of `bytes`, zeros included. Nothing if the platform refuses the conversion.
std::optional<WideString> Widen(std::string_view bytes, NarrowPage page);

// The whole of `text`, zeros included. Nothing if the platform refuses the conversion.
std::optional<std::string> Narrow(WideView text, NarrowPage page);

}  // namespace sbx::platform
