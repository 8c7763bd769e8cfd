#include <cstdlib>
#include <sys/mman.h>

#include "platform/guarded_pages.h"

namespace sbx::platform {

GuardedPages::GuardedPages(std::size_t count) : count_(count) {
  void* const all = mmap(nullptr, (count + 2) * kPageBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (all == MAP_FAILED) std::abort();
  first_ = static_cast<unsigned char*>(all) + kPageBytes;
  for (std::size_t i = 0; i < count; ++i) Protect(i, PageAccess::kReadWrite);
}

GuardedPages::~GuardedPages() {
  munmap(first_ - kPageBytes, (count_ + 2) * kPageBytes);
}

void GuardedPages::Fill() {
  for (std::size_t i = 0; i < bytes(); ++i)
    first_[i] = static_cast<unsigned char>(i * 7 + i / kPageBytes + 1);
}

void GuardedPages::Protect(std::size_t index, PageAccess access) {
  int bits = PROT_NONE;
  if (access != PageAccess::kNone)
    bits = access == PageAccess::kReadOnly ? PROT_READ : PROT_READ | PROT_WRITE;
  if (mprotect(PageAt(index), kPageBytes, bits) != 0) std::abort();
}

}  // namespace sbx::platform
