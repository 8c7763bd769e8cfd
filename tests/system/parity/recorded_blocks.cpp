#include "recorded_blocks.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_map>

namespace sbx::testing {
namespace {

constinit RecordedBlocks* g_recorder = nullptr;

}  // namespace

RecordedBlocks::RecordedBlocks() {
  g_recorder = this;
}
RecordedBlocks::~RecordedBlocks() {
  g_recorder = nullptr;
}

void NoteBlock(const void* address, std::size_t size) {
  if (g_recorder != nullptr && address != nullptr) {
    g_recorder->blocks_.push_back({static_cast<const unsigned char*>(address), size});
  }
}

std::size_t RecordedBlocks::bytes() const {
  std::size_t sum = 0;
  for (const Block& block : blocks_) sum += block.size;
  return sum;
}

bool RecordedBlocks::AreThoseOf(const JSHandle& handle) const {
  return bytes() == handle.totalSize &&
         std::equal(blocks_.begin(), blocks_.end(), handle.blocks.begin(), handle.blocks.end(),
                    [](const Block& block, const void* address) { return block.address == address; });
}

std::string RecordedBlocks::Dump() const {
  constexpr std::size_t kLongRun = 8;
  static const char digits[] = "0123456789ABCDEF";
  std::unordered_map<std::uint64_t, std::size_t> numbers;
  for (const Block& block : blocks_) {
    numbers.emplace(reinterpret_cast<std::uintptr_t>(block.address), numbers.size());
  }

  std::string out;
  std::size_t zeroes = 0;
  const auto sayZeroes = [&] {
    if (zeroes < kLongRun) {
      out.append(2 * zeroes, '0');
    } else {
      out += "zz*" + std::to_string(zeroes) + ",";
    }
    zeroes = 0;
  };
  for (const Block& block : blocks_) {
    out += "[" + std::to_string(block.size) + "]";
    for (std::size_t at = 0; at < block.size;) {
      std::uint64_t word = 0;
      if (at + sizeof word <= block.size) std::memcpy(&word, block.address + at, sizeof word);  // of any item
      if (const auto found = word == 0 ? numbers.end() : numbers.find(word); found != numbers.end()) {
        sayZeroes();
        out += "&" + std::to_string(found->second) + ",";
        at += sizeof word;
        continue;
      }
      const unsigned char byte = block.address[at++];
      if (byte == 0) {
        ++zeroes;
        continue;
      }
      sayZeroes();
      out += digits[byte >> 4];
      out += digits[byte & 15];
    }
    sayZeroes();
  }
  return out;
}

}  // namespace sbx::testing

// The names that the linker makes of the library's own: a call of sbx::AddBlock ends in the first, and the
// second is sbx::AddBlock itself.
void* RecordingAddBlock(JSHandle& handle, std::uint64_t size) noexcept __asm__("__wrap_" SBXML_ADD_BLOCK);
void* LibrarysAddBlock(JSHandle& handle, std::uint64_t size) noexcept __asm__("__real_" SBXML_ADD_BLOCK);

void* RecordingAddBlock(JSHandle& handle, std::uint64_t size) noexcept {
  void* const block = LibrarysAddBlock(handle, size);
  sbx::testing::NoteBlock(block, static_cast<std::size_t>(size));
  return block;
}
