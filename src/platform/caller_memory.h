// What a conversion reads of its caller's memory, page by page.
//
// A page is asked of the system once and then answered from the copy taken at that moment, so a conversion
// sees one state of it and never faults, also when the page vanishes meanwhile. Pages that can't be read are
// remembered as such. Pages behind one that is asked for may be fetched with it. One object serves one
// conversion at a time, on one thread; answers are dropped by Forget(), by a log call that blocked
// (NoteBlockedThread), and when the copies pass kMostPages pages: what is asked for later is then fetched
// anew.
//
// All readers may throw std::bad_alloc; the object stays usable.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/wide_text.h"
#include "platform/memory_access.h"

namespace sbx::platform {

// Called by the log when a thread was held or kept waiting inside a log call: what was known of memory
// before is no longer trusted.
void NoteBlockedThread() noexcept;

class CallerMemory {
 public:
  // Copies kept at most: 64 MiB.
  static constexpr std::size_t kMostPages = 16384;

  CallerMemory() noexcept = default;
  ~CallerMemory() = default;
  CallerMemory(const CallerMemory&) = delete;
  CallerMemory& operator=(const CallerMemory&) = delete;

  // Drops all answers and copies, and gives the memory of larger ones back.
  void Forget() noexcept;

  // The memory that the object holds for itself.
  std::size_t HeldBytes() const noexcept;

  // Whether all of the range can be read. A size of 0 is always readable; a range that wraps never is.
  bool IsReadable(std::uintptr_t address, std::size_t size);

  // Copies the range; false, with `out` in any state, if some of it can't be read.
  bool Read(std::uintptr_t address, void* out, std::size_t size);

  template <class Value>
  std::optional<Value> Load(std::uintptr_t address) {
    static_assert(std::is_trivially_copyable_v<Value> && sizeof(Value) <= kPageBytes);
    Value value;
    if (const std::byte* const known = InLastPage(address, sizeof value)) {
      std::memcpy(&value, known, sizeof value);
    } else if (!Read(address, &value, sizeof value)) {
      return std::nullopt;
    }
    return value;
  }

  // The zero-terminated text at the address, without its zero; nothing if memory ends before the zero. A text
  // without a zero among the first `limit` units comes back as these, so that no caller has to take in more
  // than it can use. The view holds until the next call on this object.
  std::optional<WideView> WideText(std::uintptr_t address, std::size_t limit = WideView::npos);

  // Narrow text likewise, but read no further than `limit` bytes: a text without a zero among the first
  // `limit` bytes comes back as these `limit` bytes.
  std::optional<std::string_view> NarrowText(std::uintptr_t address, std::size_t limit);

 private:
  static constexpr std::uintptr_t kNoPage = ~std::uintptr_t{0};  // page numbers are smaller

  struct Answer {
    std::uintptr_t page = kNoPage;
    const std::byte* bytes = nullptr;  // the copy; null: the page can't be read
  };
  struct Chunk {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t pages;
  };

  // The bytes at the address if they lie in the page that was used last, and that is still trusted.
  const std::byte* InLastPage(std::uintptr_t address, std::size_t size) const noexcept {
    const std::size_t offset = address % kPageBytes;
    const bool known = address / kPageBytes == lastPage_ && size <= kPageBytes - offset &&
                       epoch_ == blockedThreads.load(std::memory_order_relaxed);
    return known ? lastBytes_ + offset : nullptr;
  }

  const std::byte* Page(std::uintptr_t page);
  const std::byte* Fetch(std::uintptr_t page);
  std::size_t PagesToFetch(std::uintptr_t page) noexcept;
  std::byte* RoomFor(std::size_t& pages);
  Answer* Find(std::uintptr_t page) noexcept;
  void Remember(std::uintptr_t page, const std::byte* bytes) noexcept;
  void MakeRoomForAnswers();
  void DropAnswers() noexcept;

  // Counts the log calls that blocked.
  static std::atomic<std::uint32_t> blockedThreads;
  friend void NoteBlockedThread() noexcept;

  std::uintptr_t lastPage_ = kNoPage;
  const std::byte* lastBytes_ = nullptr;
  std::uint32_t epoch_ = 0;

  std::vector<Answer> answers_;  // open addressing; a power of two of slots, at most half of them in use
  std::size_t answerCount_ = 0;

  std::vector<Chunk> chunks_;  // where copies lie, filled in order
  std::size_t chunk_ = 0;      // the one being filled
  std::size_t chunkUsed_ = 0;  // pages used in it
  std::size_t pagesKept_ = 0;
  std::size_t run_ = 1;  // pages fetched by the last request

  WideString wideScratch_;
  std::string narrowScratch_;
};

}  // namespace sbx::platform
