#include <cstdlib>
#include <sys/mman.h>

#include "support/edge_of_memory.h"

namespace sbx::testing {
namespace {
constexpr std::size_t kPage = 4096;
}

EdgeOfMemory::EdgeOfMemory(std::size_t size)
    : pages_(mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)),
      bytes_(static_cast<unsigned char*>(pages_) + kPage - size) {
  if (pages_ == MAP_FAILED || size > kPage) std::abort();
  if (mprotect(static_cast<unsigned char*>(pages_) + kPage, kPage, PROT_NONE) != 0) std::abort();
}

EdgeOfMemory::~EdgeOfMemory() {
  munmap(pages_, 2 * kPage);
}

}  // namespace sbx::testing
