// The byte-string form in which text that XML cannot carry travels in element content.
#pragma once

#include <optional>

#include "base/wide_text.h"

namespace sbx::xml {

// Whether text can stand in XML as it is: no unit below 0x20 but TAB, LF and CR. No other unit counts as
// unsafe, surrogates and U+FFFE included.
bool IsSafeText(WideView text) noexcept;

// The little-endian bytes of a text's units, without a terminator: two digits a byte, high digit first. Bytes
// from 0x80 up have a high digit of their own that does not decode back; docs/job-script-xml.md tables it.
WideString EncodeByteString(WideView text);
// The same for content under way into an element: nothing, after a log line at level 0, where there is no
// memory for the digits.
std::optional<WideString> EncodeContent(WideView text);

// What an element's text means under its "flag": "binary" and "bin_utf8" are decoded, any other text stays.
// Content that can't be decoded gives an empty text, without any report.
WideString DecodeContent(WideView text, WideView flag);

}  // namespace sbx::xml
