#include "x2b/js_handle.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>

JSHandle::~JSHandle() {
  std::for_each(blocks.begin(), blocks.end(), std::free);
}

namespace sbx {
namespace {

// Makes room for one more block before the block exists, so that it can't be lost.
bool ReserveSlot(std::vector<void*>& blocks) noexcept {
  if (blocks.size() < blocks.capacity()) return true;
  try {
    blocks.reserve(std::max<std::size_t>(16, blocks.size() * 2));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

void* AddBlock(JSHandle& handle, std::uint64_t size) noexcept {
  const std::uint64_t left = std::numeric_limits<std::uint32_t>::max() - handle.totalSize;
  if (size == 0 || size > left || !ReserveSlot(handle.blocks)) return nullptr;
  void* const block = std::calloc(1, static_cast<std::size_t>(size));
  if (block == nullptr) return nullptr;
  handle.blocks.push_back(block);
  handle.totalSize += static_cast<std::uint32_t>(size);
  return block;
}

}  // namespace sbx
