// The numbers of rule conditions and of the item attribute language.
#pragma once

#include <cstdint>

#include "base/wide_text.h"

namespace sbx {

// Decimal with a sign, or hexadecimal behind "0x" or "0X" with an optional minus, in 32 bits. Text that is no
// such number is 0, also where a single unit of a hexadecimal number is no digit.
std::uint32_t ParseNumberText(WideView text) noexcept;

}  // namespace sbx
