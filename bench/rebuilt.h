// The memory of a job script that was read back: every record behind a pointer, every array and every text is
// a zeroed block of its own, as the library makes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "workload.h"

namespace bench {

class Blocks {
 public:
  Blocks() = default;
  ~Blocks() {
    for (void* block : blocks_) std::free(block);
  }
  Blocks(const Blocks&) = delete;
  Blocks& operator=(const Blocks&) = delete;

  template <typename T>
  T* Add(std::size_t count = 1) {
    void* const block = std::calloc(count, sizeof(T));
    if (block == nullptr) throw std::bad_alloc();
    blocks_.push_back(block);
    return static_cast<T*>(block);
  }

 private:
  std::vector<void*> blocks_;
};

}  // namespace bench
