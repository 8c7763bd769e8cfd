// What text needs to become part of a serialised document.
#pragma once

#include <cstdint>

#include "base/wide_text.h"

namespace sbx::xml {

struct TextTraits {
  bool isSafe = true;         // no unit below 0x20 but TAB, LF and CR
  bool needsEscapes = false;  // holds `&`, `<`, `>` or CR
};

// Both answers from one pass.
TextTraits ScanText(WideView text) noexcept;

// Whether each surrogate has its other half beside it, in the right order.
bool HasSurrogatesInPairs(WideView text) noexcept;

// What stands in the document for a unit of element text or of an attribute's value; empty if the unit
// itself does.
WideView TextEscape(char16_t unit) noexcept;
WideView AttributeEscape(char16_t unit) noexcept;

// Units that element text or an attribute's value takes up in the document.
std::uint64_t EscapedTextUnits(WideView text) noexcept;
std::uint64_t EscapedAttributeUnits(WideView text) noexcept;

}  // namespace sbx::xml
