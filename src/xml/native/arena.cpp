#include "xml/native/arena.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <limits>
#include <new>

namespace sbx::xml::native {
namespace {

// Small documents stay small; large ones ask the system seldom.
constexpr std::size_t kFirstChunkBytes = std::size_t{16} * 1024;
constexpr std::size_t kLargestChunkBytes = std::size_t{4} * 1024 * 1024;

}  // namespace

struct Arena::Chunk {
  Chunk* next;
  std::size_t bytes;
};

// One chunk of each size that arenas grow by, 8 MiB in all, for the next document: a host converts one after
// the other, and pages fresh from the system cost as much as filling them.
class Arena::SpareChunks {
 public:
  ~SpareChunks() { FreeAll(); }

  void FreeAll() noexcept {
    for (auto& slot : slots_) ::operator delete(slot.exchange(nullptr, std::memory_order_acquire));
  }

  // A chunk of that size, or null.
  Chunk* Take(std::size_t bytes) noexcept {
    const std::size_t size = SizeOf(bytes);
    return size == kSizes ? nullptr : slots_[size].exchange(nullptr, std::memory_order_acquire);
  }
  // False if the chunk is not wanted.
  bool Keep(Chunk* chunk) noexcept {
    const std::size_t size = SizeOf(chunk->bytes);
    Chunk* none = nullptr;
    return size != kSizes && slots_[size].compare_exchange_strong(none, chunk, std::memory_order_release,
                                                                  std::memory_order_relaxed);
  }

 private:
  static constexpr std::size_t kSizes = std::bit_width(kLargestChunkBytes / kFirstChunkBytes);

  // Which of the sizes it is; kSizes for any other.
  static std::size_t SizeOf(std::size_t bytes) noexcept {
    std::size_t size = 0;
    while (size < kSizes && bytes != kFirstChunkBytes << size) ++size;
    return size;
  }

  std::atomic<Chunk*> slots_[kSizes] = {};
};

Arena::SpareChunks& Arena::Spares() noexcept {
  static SpareChunks spares;
  return spares;
}

void Arena::FreeSpares() noexcept {
  Spares().FreeAll();
}

Arena::~Arena() {
  while (chunks_ != nullptr) {
    Chunk* const chunk = chunks_;
    chunks_ = chunk->next;
    if (!Spares().Keep(chunk)) ::operator delete(chunk);
  }
}

std::byte* Arena::NewChunk(std::size_t bytes) {
  if (bytes > std::numeric_limits<std::size_t>::max() - sizeof(Chunk)) throw std::bad_alloc();
  Chunk* chunk = Spares().Take(bytes);
  if (chunk == nullptr)
    chunk = new (::operator new(sizeof(Chunk) + bytes)) Chunk{.next = nullptr, .bytes = bytes};
  chunk->next = chunks_;
  chunks_ = chunk;
  return reinterpret_cast<std::byte*>(chunk + 1);
}

void* Arena::AllocateSlow(std::size_t bytes) {
  if (bytes > std::numeric_limits<std::size_t>::max() - kAlignment) throw std::bad_alloc();
  const std::size_t rounded = (bytes + kAlignment - 1) & ~(kAlignment - 1);
  const std::size_t chunkBytes = std::max(nextChunkBytes_, kFirstChunkBytes);
  // What would eat up much of a chunk gets one of its own, and the current one goes on being filled.
  if (rounded > chunkBytes / 4) return NewChunk(rounded);
  std::byte* const chunk = NewChunk(chunkBytes);
  nextChunkBytes_ = std::min(chunkBytes * 2, kLargestChunkBytes);
  next_ = chunk + rounded;
  end_ = chunk + chunkBytes;
  return chunk;
}

}  // namespace sbx::xml::native
