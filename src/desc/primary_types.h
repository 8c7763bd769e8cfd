// The three lists of primary types. They do not agree, and the differences decide which items each direction
// can convert; all three are kept as they are.
#pragma once

#include <cstdint>
#include <span>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/structure_description.h"

namespace sbx {

namespace platform {
class CallerMemory;
}

struct PrimaryType {
  WideView name;
  std::int32_t size;  // bytes
};

// XML to memory: 17 rows, "byte", "double" and the two string pointers among them.
std::span<const PrimaryType> PrimaryTypeTable() noexcept;
// The row of that exact name, or null.
const PrimaryType* FindPrimaryType(WideView name) noexcept;
// The size in the table; 0 when the name is absent.
std::int32_t PrimaryTypeSize(WideView name) noexcept;

// Memory to XML: 14 names, "void" among them.
bool IsPrimaryTypeName(WideView name) noexcept;
// The same name with static storage; empty for every other.
WideView KeptPrimaryName(WideView name) noexcept;

// Memory to XML: the size of one of 15 names, -1 for "void", else the size of the record of that name in
// `set`, else -2. A view with null data is logged, and -2.
std::int32_t GetTypeSize(const JSPDBMemDesc& set, WideView name);

// Appends the text of one scalar in the caller's memory: the name picks the sign and the float form, the size
// alone the width. 0, or -2, -4, -12 with `out` unchanged. Failures are logged at level 0.
Status PrimaryValueToText(WideView typeName, std::uintptr_t address, std::int32_t size,
                          platform::CallerMemory& memory, WideString& out);

}  // namespace sbx
