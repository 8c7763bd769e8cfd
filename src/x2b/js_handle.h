// The object that owns the memory of a rebuilt record graph.
//
// The graph is spread over separate blocks, one for each record reached through a pointer, each array behind
// a pointer and each string; nothing follows pointers when it is freed. One conversion fills a handle on one
// thread; the table of handles (src/api/handle_table.h) guards what callers do with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Named in the C interface, so it stands outside the namespace.
struct JSHandle {
  JSHandle() = default;
  JSHandle(const JSHandle&) = delete;
  JSHandle& operator=(const JSHandle&) = delete;
  ~JSHandle();

  std::vector<void*> blocks;    // in order of allocation; owned
  void* root = nullptr;         // set when the whole conversion succeeded
  std::uint32_t totalSize = 0;  // bytes of all blocks together
};

namespace sbx {

// A new zero-filled block of `size` bytes, owned by the handle, or null where memory is refused or the sum of
// all blocks would leave 32 bits. The one way to get a block.
void* AddBlock(JSHandle& handle, std::uint64_t size) noexcept;

}  // namespace sbx
