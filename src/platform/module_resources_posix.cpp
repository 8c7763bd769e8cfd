#include <algorithm>
#include <cstddef>
#include <sbxml_module.h>

#include "platform/memory_access.h"
#include "platform/module_resources.h"

static_assert(sizeof(SBXModuleResource) == 24 && offsetof(SBXModuleResource, type) == 0 &&
              offsetof(SBXModuleResource, id) == 8 && offsetof(SBXModuleResource, size) == 12 &&
              offsetof(SBXModuleResource, bytes) == 16);
static_assert(sizeof(SBXModuleResources) == 16 && offsetof(SBXModuleResources, count) == 0 &&
              offsetof(SBXModuleResources, resources) == 8);

namespace sbx::platform {
namespace {

constexpr char kType[] = "XML";

// Integer names have 16 bits, so no table needs more entries; a larger count is damage.
constexpr std::size_t kMostEntries = 65536;

bool IsXml(const char* type) noexcept {
  char text[sizeof kType];
  return ReadMemory(reinterpret_cast<std::uintptr_t>(type), text, sizeof text) == sizeof text &&
         std::equal(text, text + sizeof text, kType);
}

// Copies entries from the index on, as many as memory and the buffer have; returns how many.
template <std::size_t kEntries>
std::size_t ReadEntries(std::uintptr_t table, std::size_t index, std::size_t count,
                        SBXModuleResource (&entries)[kEntries]) noexcept {
  const std::size_t offset = index * sizeof(SBXModuleResource);
  if (offset > UINTPTR_MAX - table) return 0;
  const std::size_t wanted = std::min(count - index, kEntries) * sizeof(SBXModuleResource);
  return ReadMemory(table + offset, entries, wanted) / sizeof(SBXModuleResource);
}

}  // namespace

std::optional<Resource> FindXmlResource(const void* module, std::uint16_t id) noexcept {
  SBXModuleResources head;
  if (ReadMemory(reinterpret_cast<std::uintptr_t>(module), &head, sizeof head) != sizeof head)
    return std::nullopt;
  const auto table = reinterpret_cast<std::uintptr_t>(head.resources);
  const std::size_t count = std::min<std::size_t>(head.count, kMostEntries);
  SBXModuleResource entries[64];
  for (std::size_t index = 0; index < count;) {
    const std::size_t read = ReadEntries(table, index, count, entries);
    if (read == 0) break;
    const auto found = std::find_if(entries, entries + read, [id](const SBXModuleResource& entry) {
      return static_cast<std::uint16_t>(entry.id) == id && IsXml(entry.type);
    });
    if (found != entries + read) return Resource{found->bytes, found->size};
    index += read;
  }
  return std::nullopt;
}

}  // namespace sbx::platform
