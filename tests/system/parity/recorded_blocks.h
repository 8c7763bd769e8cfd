// The blocks that a rebuild makes, with their sizes, which the library does not keep.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "x2b/js_handle.h"

namespace sbx::testing {

// Notes each block that the library makes while it lives, for whatever handle, of failed conversions too. The
// linker leads the library's calls here (see CMakeLists.txt). One at a time, on one thread.
class RecordedBlocks {
 public:
  RecordedBlocks();
  ~RecordedBlocks();
  RecordedBlocks(const RecordedBlocks&) = delete;
  RecordedBlocks& operator=(const RecordedBlocks&) = delete;

  std::size_t count() const { return blocks_.size(); }
  std::size_t bytes() const;
  // Whether these are the handle's blocks, all of them and in its order.
  bool AreThoseOf(const JSHandle& handle) const;
  // All blocks as "[size]" and their bytes: in hexadecimal, "&n" for the address of block n, "zz*n" for n
  // zeroes in a row.
  std::string Dump() const;

 private:
  struct Block {
    const unsigned char* address;
    std::size_t size;
  };
  friend void NoteBlock(const void* address, std::size_t size);

  std::vector<Block> blocks_;
};

}  // namespace sbx::testing
