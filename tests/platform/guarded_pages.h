// Pages of memory with unreadable ones on both sides, whose protection a test chooses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::platform {

enum class PageAccess { kNone, kReadOnly, kReadWrite };

class GuardedPages {
 public:
  // All pages start out writable and zero.
  explicit GuardedPages(std::size_t count);
  ~GuardedPages();
  GuardedPages(const GuardedPages&) = delete;
  GuardedPages& operator=(const GuardedPages&) = delete;

  std::size_t bytes() const { return count_ * kPageBytes; }
  unsigned char* At(std::size_t offset) const { return first_ + offset; }
  std::uintptr_t AddressOf(std::size_t offset) const {
    return reinterpret_cast<std::uintptr_t>(first_ + offset);
  }
  unsigned char* PageAt(std::size_t index) const { return first_ + index * kPageBytes; }
  // Puts distinct bytes everywhere.
  void Fill();
  void Protect(std::size_t index, PageAccess access);

 private:
  static constexpr std::size_t kPageBytes = 4096;

  unsigned char* first_;
  std::size_t count_;
};

}  // namespace sbx::platform
