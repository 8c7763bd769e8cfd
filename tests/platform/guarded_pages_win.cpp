#include <cstdlib>
#include <windows.h>

#include "platform/guarded_pages.h"

namespace sbx::platform {

GuardedPages::GuardedPages(std::size_t count) : count_(count) {
  void* const all = VirtualAlloc(nullptr, (count + 2) * kPageBytes, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS);
  if (all == nullptr) std::abort();
  first_ = static_cast<unsigned char*>(all) + kPageBytes;
  for (std::size_t i = 0; i < count; ++i) Protect(i, PageAccess::kReadWrite);
}

GuardedPages::~GuardedPages() {
  VirtualFree(first_ - kPageBytes, 0, MEM_RELEASE);
}

void GuardedPages::Fill() {
  for (std::size_t i = 0; i < bytes(); ++i)
    first_[i] = static_cast<unsigned char>(i * 7 + i / kPageBytes + 1);
}

void GuardedPages::Protect(std::size_t index, PageAccess access) {
  DWORD bits = PAGE_NOACCESS;
  if (access != PageAccess::kNone) bits = access == PageAccess::kReadOnly ? PAGE_READONLY : PAGE_READWRITE;
  DWORD before;
  if (!VirtualProtect(PageAt(index), kPageBytes, bits, &before)) std::abort();
}

}  // namespace sbx::platform
