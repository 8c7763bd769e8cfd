// The registry editor's export form, "Windows Registry Editor Version 5.00".
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "base/wide_text.h"

namespace sbx::platform {

using RegistryBytes = std::vector<std::uint8_t>;
// By name in upper case; the unnamed value has an empty name.
using RegistryValues = std::map<WideString, RegistryBytes>;
// By path in upper case. The parents of a key exist as well.
using RegistryKeys = std::map<WideString, RegistryValues>;

// Reads the bytes of an export: UTF-8 or UTF-16, with or without a mark. Lines that are no part of the form
// are passed over, and of several values of one name the last counts. Nothing if it is no export at all.
// May throw std::bad_alloc.
std::optional<RegistryKeys> ReadRegistryExport(std::string_view bytes);

// ASCII upper case, as keys and values are looked up.
WideString RegistryUpper(WideView text);

}  // namespace sbx::platform
