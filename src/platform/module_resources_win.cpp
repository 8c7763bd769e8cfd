#include <windows.h>

#include "platform/module_resources.h"

namespace sbx::platform {

std::optional<Resource> FindXmlResource(const void* module, std::uint16_t id) noexcept {
  // A handle is an address that the system looks into, and only says that it is none for some of those.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the system's type for it
  const HMODULE handle = static_cast<HMODULE>(const_cast<void*>(module));
  const HRSRC found = FindResourceW(handle, MAKEINTRESOURCEW(id), L"XML");
  if (found == nullptr) return std::nullopt;
  const DWORD size = SizeofResource(handle, found);
  const HGLOBAL loaded = LoadResource(handle, found);
  return Resource{loaded == nullptr ? nullptr : LockResource(loaded), size};
}

}  // namespace sbx::platform
