// Bytes that end where readable memory ends, for tests of what is read behind an end.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::testing {

class EdgeOfMemory {
 public:
  // `size` zero bytes, at most a page; the byte behind them can't be read.
  explicit EdgeOfMemory(std::size_t size);
  ~EdgeOfMemory();
  EdgeOfMemory(const EdgeOfMemory&) = delete;
  EdgeOfMemory& operator=(const EdgeOfMemory&) = delete;

  unsigned char* data() const noexcept { return bytes_; }
  std::uintptr_t address() const noexcept { return reinterpret_cast<std::uintptr_t>(bytes_); }

 private:
  void* pages_;
  unsigned char* bytes_;
};

}  // namespace sbx::testing
