// The documents that a calling module carries as resources.
#pragma once

#include <cstdint>
#include <optional>

namespace sbx::platform {

struct Resource {
  const void* bytes;  // null: the resource exists but can't be read; hostile until copied with ReadMemory
  std::uint32_t size;
};

// Finds the resource of type "XML" with this integer name. Nothing if the module has none, or is no module.
// `module` is the caller's handle (include/sbxml.h, SBXModule) and is not null. The answer stays valid as
// long as the module does.
std::optional<Resource> FindXmlResource(const void* module, std::uint16_t id) noexcept;

}  // namespace sbx::platform
