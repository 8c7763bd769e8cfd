#include <cstdlib>
#include <windows.h>

#include "support/edge_of_memory.h"

namespace sbx::testing {
namespace {
constexpr std::size_t kPage = 4096;
}

EdgeOfMemory::EdgeOfMemory(std::size_t size)
    : pages_(VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE)),
      bytes_(static_cast<unsigned char*>(pages_) + kPage - size) {
  DWORD before = 0;
  if (pages_ == nullptr || size > kPage) std::abort();
  if (!VirtualProtect(static_cast<unsigned char*>(pages_) + kPage, kPage, PAGE_NOACCESS, &before))
    std::abort();
}

EdgeOfMemory::~EdgeOfMemory() {
  VirtualFree(pages_, 0, MEM_RELEASE);
}

}  // namespace sbx::testing
