#include "platform/caller_memory.h"

#include <algorithm>
#include <bit>

namespace sbx::platform {
namespace {

// Pages fetched by one request at most, when a conversion walks through memory in order.
constexpr std::size_t kLongestRun = 16;
constexpr std::size_t kSmallestChunk = 16;
constexpr std::size_t kLargestChunk = 256;
constexpr std::size_t kFirstAnswers = 64;
// Pages that can't be read need no room for a copy; a limit of their own keeps the table small.
constexpr std::size_t kMostAnswers = 4 * CallerMemory::kMostPages;
// What Forget() leaves in place for the next conversion.
constexpr std::size_t kChunksKept = 4;
constexpr std::size_t kAnswersKept = 4096;
constexpr std::size_t kScratchKept = std::size_t{1} << 18;

constexpr std::size_t kBlockUnits = 16;

std::uint64_t FourUnits(const std::byte* at) noexcept {
  std::uint64_t units;
  std::memcpy(&units, at, sizeof units);
  return units;
}

// Not 0 if one of the four units is 0. A borrow may mark units behind such a one, never a unit alone.
std::uint64_t ZeroAmong(std::uint64_t units) noexcept {
  return (units - 0x0001000100010001u) & ~units & 0x8000800080008000u;
}

char16_t UnitAt(const std::byte* at) noexcept {
  char16_t unit;
  std::memcpy(&unit, at, sizeof unit);
  return unit;
}

// The index of the first zero unit, or `count`. The bytes need not be aligned.
std::size_t FindZero(const std::byte* units, std::size_t count) noexcept {
  std::size_t i = 0;
  for (; i + kBlockUnits <= count; i += kBlockUnits) {
    const std::byte* const block = units + i * sizeof(char16_t);
    if ((ZeroAmong(FourUnits(block)) | ZeroAmong(FourUnits(block + 8)) | ZeroAmong(FourUnits(block + 16)) |
         ZeroAmong(FourUnits(block + 24))) != 0) {
      break;
    }
  }
  while (i < count && UnitAt(units + i * sizeof(char16_t)) != u'\0') ++i;
  return i;
}

void AppendUnits(WideString& out, const std::byte* units, std::size_t count) {
  const std::size_t before = out.size();
  out.resize(before + count);
  std::memcpy(out.data() + before, units, count * sizeof(char16_t));
}

std::size_t SlotOf(std::uintptr_t page, std::size_t slots) noexcept {
  // The multiplier spreads neighbouring pages evenly in the upper bits.
  return static_cast<std::size_t>(page * 0x9E3779B97F4A7C15u >> (64 - std::countr_zero(slots)));
}

}  // namespace

std::atomic<std::uint32_t> CallerMemory::blockedThreads{0};

void NoteBlockedThread() noexcept {
  CallerMemory::blockedThreads.fetch_add(1, std::memory_order_relaxed);
}

void CallerMemory::Forget() noexcept {
  DropAnswers();
  if (chunks_.size() > kChunksKept) chunks_.resize(kChunksKept);
  // By exchange: assigning an empty list would keep the memory.
  if (answers_.size() > kAnswersKept) std::vector<Answer>().swap(answers_);
  if (wideScratch_.capacity() > kScratchKept) WideString().swap(wideScratch_);
  if (narrowScratch_.capacity() > kScratchKept) std::string().swap(narrowScratch_);
}

std::size_t CallerMemory::HeldBytes() const noexcept {
  std::size_t bytes = answers_.capacity() * sizeof(Answer) + wideScratch_.capacity() * sizeof(char16_t) +
                      narrowScratch_.capacity();
  for (const Chunk& chunk : chunks_) bytes += chunk.pages * kPageBytes;
  return bytes;
}

bool CallerMemory::IsReadable(std::uintptr_t address, std::size_t size) {
  if (size == 0 || InLastPage(address, size) != nullptr) return true;
  if (size - 1 > UINTPTR_MAX - address) return false;
  const std::uintptr_t last = (address + (size - 1)) / kPageBytes;
  for (std::uintptr_t page = address / kPageBytes; page <= last; ++page) {
    if (Page(page) == nullptr) return false;
  }
  return true;
}

bool CallerMemory::Read(std::uintptr_t address, void* out, std::size_t size) {
  if (size == 0) return true;
  if (size - 1 > UINTPTR_MAX - address) return false;
  std::byte* target = static_cast<std::byte*>(out);
  while (size != 0) {
    const std::byte* const bytes = Page(address / kPageBytes);
    if (bytes == nullptr) return false;
    const std::size_t offset = address % kPageBytes;
    const std::size_t part = std::min(size, kPageBytes - offset);
    std::memcpy(target, bytes + offset, part);
    address += part;
    target += part;
    size -= part;
  }
  return true;
}

std::optional<WideView> CallerMemory::WideText(std::uintptr_t address, std::size_t limit) {
  wideScratch_.clear();
  const bool aligned = address % sizeof(char16_t) == 0;
  for (;;) {
    const std::byte* const page = Page(address / kPageBytes);
    if (page == nullptr) return std::nullopt;
    const std::size_t offset = address % kPageBytes;
    const std::byte* const units = page + offset;
    const std::size_t count = (kPageBytes - offset) / sizeof(char16_t);
    const std::size_t length = FindZero(units, count);
    if (length < count && aligned && wideScratch_.empty()) {
      return WideView(static_cast<const char16_t*>(static_cast<const void*>(units)), length).substr(0, limit);
    }
    AppendUnits(wideScratch_, units, length);
    if (length < count || wideScratch_.size() >= limit) return WideView(wideScratch_).substr(0, limit);
    address += count * sizeof(char16_t);
    if (!aligned) {
      // One unit lies across the two pages.
      char16_t unit;
      if (!Read(address, &unit, sizeof unit)) return std::nullopt;
      if (unit == u'\0') return WideView(wideScratch_).substr(0, limit);
      wideScratch_.push_back(unit);
      address += sizeof unit;
    }
    if (address < kPageBytes) return std::nullopt;  // behind the last address
  }
}

std::optional<std::string_view> CallerMemory::NarrowText(std::uintptr_t address, std::size_t limit) {
  narrowScratch_.clear();
  while (narrowScratch_.size() < limit) {
    const std::byte* const page = Page(address / kPageBytes);
    if (page == nullptr) return std::nullopt;
    const std::size_t offset = address % kPageBytes;
    const std::size_t part = std::min(limit - narrowScratch_.size(), kPageBytes - offset);
    const char* const bytes = static_cast<const char*>(static_cast<const void*>(page + offset));
    const void* const zero = std::memchr(bytes, 0, part);
    const std::size_t length =
        zero == nullptr ? part : static_cast<std::size_t>(static_cast<const char*>(zero) - bytes);
    const bool isWhole = zero != nullptr || narrowScratch_.size() + part == limit;
    if (isWhole && narrowScratch_.empty()) return std::string_view(bytes, length);
    narrowScratch_.append(bytes, length);
    if (isWhole) return narrowScratch_;
    address += part;
    if (address < kPageBytes) return std::nullopt;  // behind the last address
  }
  return std::string_view();
}

// The copy of a page, or null if it can't be read.
const std::byte* CallerMemory::Page(std::uintptr_t page) {
  const std::uint32_t epoch = blockedThreads.load(std::memory_order_relaxed);
  if (epoch != epoch_) {
    DropAnswers();
    epoch_ = epoch;
  }
  if (page == lastPage_) return lastBytes_;
  const Answer* const answer = Find(page);
  const std::byte* const bytes = answer != nullptr && answer->page == page ? answer->bytes : Fetch(page);
  if (bytes != nullptr) {
    lastPage_ = page;
    lastBytes_ = bytes;
  }
  return bytes;
}

// Asks the system for a page that is not known, and for those behind it if they are likely to follow.
const std::byte* CallerMemory::Fetch(std::uintptr_t page) {
  if (pagesKept_ >= kMostPages || answerCount_ >= kMostAnswers) DropAnswers();
  MakeRoomForAnswers();
  std::size_t pages = PagesToFetch(page);
  std::byte* const room = RoomFor(pages);
  const std::size_t bytes = ReadMemory(page * kPageBytes, room, pages * kPageBytes);
  const std::size_t fetched = bytes / kPageBytes;
  for (std::size_t i = 0; i < fetched; ++i) Remember(page + i, room + i * kPageBytes);
  chunkUsed_ += fetched;
  pagesKept_ += fetched;
  if (fetched != 0) return room;
  Remember(page, nullptr);
  return nullptr;
}

// One, unless the page before is known; then twice as many as the last time, up to the next known page.
std::size_t CallerMemory::PagesToFetch(std::uintptr_t page) noexcept {
  const Answer* const before = Find(page - 1);
  const bool follows = page != 0 && before->page == page - 1 && before->bytes != nullptr;
  run_ = follows ? std::min(run_ * 2, kLongestRun) : 1;
  std::size_t pages = 1;
  while (pages < run_ && page + pages <= UINTPTR_MAX / kPageBytes && Find(page + pages)->page == kNoPage)
    ++pages;
  return pages;
}

// Room for some pages in a row; lowers `pages` to what one chunk has left.
std::byte* CallerMemory::RoomFor(std::size_t& pages) {
  if (chunk_ < chunks_.size() && chunkUsed_ == chunks_[chunk_].pages) {
    ++chunk_;
    chunkUsed_ = 0;
  }
  if (chunk_ == chunks_.size()) {
    const std::size_t size = std::min(kSmallestChunk << std::min<std::size_t>(chunk_, 8), kLargestChunk);
    chunks_.reserve(chunk_ + 1);
    chunks_.push_back({std::make_unique_for_overwrite<std::byte[]>(size * kPageBytes), size});
  }
  pages = std::min(pages, chunks_[chunk_].pages - chunkUsed_);
  return chunks_[chunk_].bytes.get() + chunkUsed_ * kPageBytes;
}

// The slot that holds the page's answer, or the free one where it would go.
CallerMemory::Answer* CallerMemory::Find(std::uintptr_t page) noexcept {
  if (answers_.empty()) return nullptr;
  const std::size_t mask = answers_.size() - 1;
  std::size_t slot = SlotOf(page, answers_.size());
  while (answers_[slot].page != page && answers_[slot].page != kNoPage) slot = (slot + 1) & mask;
  return &answers_[slot];
}

void CallerMemory::Remember(std::uintptr_t page, const std::byte* bytes) noexcept {
  Answer* const answer = Find(page);
  answer->page = page;
  answer->bytes = bytes;
  ++answerCount_;
}

void CallerMemory::MakeRoomForAnswers() {
  if ((answerCount_ + kLongestRun) * 2 <= answers_.size()) return;
  std::vector<Answer> larger(answers_.empty() ? kFirstAnswers : answers_.size() * 2);
  larger.swap(answers_);
  answerCount_ = 0;
  for (const Answer& answer : larger) {
    if (answer.page != kNoPage) Remember(answer.page, answer.bytes);
  }
}

void CallerMemory::DropAnswers() noexcept {
  lastPage_ = kNoPage;
  lastBytes_ = nullptr;
  if (answerCount_ != 0) std::fill(answers_.begin(), answers_.end(), Answer());
  answerCount_ = 0;
  chunk_ = 0;
  chunkUsed_ = 0;
  pagesKept_ = 0;
  run_ = 1;
}

}  // namespace sbx::platform
