// Memory for the nodes of one document: handed out in a row, given back all at once.
#pragma once

#include <cstddef>
#include <memory>

namespace sbx::xml::native {

class Arena {
 public:
  Arena() noexcept = default;
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Frees what ended arenas keep for the next one. Any thread, at any time.
  static void FreeSpares() noexcept;

  // `bytes` of uninitialised memory for anything that needs no more than 8-byte alignment. Never moves.
  // Throws std::bad_alloc, with nothing changed.
  void* Allocate(std::size_t bytes) {
    const std::size_t rounded = (bytes + kAlignment - 1) & ~(kAlignment - 1);
    if (rounded < bytes || rounded > static_cast<std::size_t>(end_ - next_)) return AllocateSlow(bytes);
    std::byte* const result = next_;
    next_ += rounded;
    return result;
  }

 private:
  static constexpr std::size_t kAlignment = 8;
  struct Chunk;
  class SpareChunks;

  static SpareChunks& Spares() noexcept;

  void* AllocateSlow(std::size_t bytes);
  std::byte* NewChunk(std::size_t bytes);

  std::byte* next_ = nullptr;
  std::byte* end_ = nullptr;
  Chunk* chunks_ = nullptr;
  std::size_t nextChunkBytes_ = 0;
};

}  // namespace sbx::xml::native
