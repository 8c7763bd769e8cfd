// The status that every operation of the library returns, and its values.
//
// A status is 0 or one of the negative codes below; it travels up unchanged and leaves the library as the
// exports' result (include/sbxml.h gives the same numbers to callers).
#pragma once

#include <cstdint>

namespace sbx {

using Status = std::int32_t;

inline constexpr Status kOk = 0;
inline constexpr Status kNotFound = -1;     // a relocated record, or the root record in XML, is missing
inline constexpr Status kParameter = -2;    // invalid parameters
inline constexpr Status kMemory = -3;       // memory refused, or the table of handles is full
inline constexpr Status kDescription = -4;  // the description contradicts the data
inline constexpr Status kState = -5;        // a needed object is missing, or a record size differs
inline constexpr Status kDom = -6;          // the DOM could not create or load
inline constexpr Status kResource = -7;     // a module resource could not be found, read or parsed
inline constexpr Status kContent = -9;      // XML content could not be read, set or converted
inline constexpr Status kBuffer = -10;      // the caller's buffer is too small; the need has been stored
inline constexpr Status kFile = -11;        // a file could not be opened, measured, read or written
inline constexpr Status kAddress = -12;     // memory at an address cannot be read or written

}  // namespace sbx
