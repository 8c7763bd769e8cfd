// The names that XML 1.0, fourth edition, allows.
#pragma once

#include "base/wide_text.h"

namespace sbx::xml::native {

// Whether a unit may begin a Name, or stand further on in it. The colon may do both; surrogates never do.
bool IsNameStart(char16_t unit) noexcept;
bool IsNameUnit(char16_t unit) noexcept;

// Whether text is a Name. Prefixes have no meaning here.
bool IsName(WideView text) noexcept;

}  // namespace sbx::xml::native
