// Numbers from text and numbers to text, with the exact results of the C runtime's readers on every system.
//
// Digits are 0 to 9 only. White space is TAB, LF, VT, FF, CR and blank. Reading stops at the first unit that
// does not fit; nothing fails, and text without a number is 0. The decimal point is `.` whatever the locale.
#pragma once

#include <cstdint>

#include "base/wide_text.h"

namespace sbx {

// White space, one sign, decimal digits; saturates at both ends of 32 bits (`_wtol`).
std::int32_t ReadLong(WideView text) noexcept;

// White space, one sign, decimal digits, modulo 2^64 (a scan with `%I64d`).
std::int64_t ScanInt64(WideView text) noexcept;

// White space, decimal digits without a sign, modulo 2^64 (a scan with `%I64u`).
std::uint64_t ScanUint64(WideView text) noexcept;

// White space, hexadecimal digits without a sign or a prefix, modulo 2^64 (a scan with `%I64x`).
std::uint64_t ScanHex64(WideView text) noexcept;

// White space, one sign, then a decimal number with an optional exponent, `inf`, `infinity` or `nan` in any
// case, or hexadecimal floating point behind `0x` (`_wtof`). Overflow gives an infinity, underflow a zero.
double ReadDouble(WideView text);

void AppendInt(WideString& out, std::int64_t value);
void AppendUint(WideString& out, std::uint64_t value);

// Six decimals (`%f`); `inf`, `-inf`, `nan`, `-nan`.
void AppendFloat(WideString& out, double value);

}  // namespace sbx
