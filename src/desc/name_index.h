// Finds the entries of an ordered list by their names, in constant time.
//
// The list itself stays where it is and keeps its order; the index only points at entries, whose addresses
// must not change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/name_hash.h"
#include "base/wide_text.h"

namespace sbx {

// Named has a member `name` that converts to WideView and does not change while it is in the index.
template <class Named>
class NameIndex {
 public:
  // The entry of exactly that name, or null; the first one added where names repeat, which is the only one
  // kept.
  Named* Find(WideView name) const noexcept {
    if (slots_.empty()) return nullptr;
    const std::uint64_t hash = HashName(name);
    for (std::size_t at = hash & Mask();; at = (at + 1) & Mask()) {
      const Slot& slot = slots_[at];
      if (slot.entry == nullptr) return nullptr;
      if (slot.hash == hash && Same(slot.entry->name, name)) return slot.entry;
    }
  }

  // Makes room for so many entries at once.
  void Reserve(std::size_t count) {
    std::size_t size = kFirstSlots;
    while (size < 2 * count) size *= 2;
    if (size > slots_.size()) Rehash(size);
  }

  void Add(Named& entry) {
    if (slots_.size() < 2 * (count_ + 1)) Rehash(slots_.empty() ? kFirstSlots : 2 * slots_.size());
    if (Find(entry.name) != nullptr) return;
    Place({HashName(entry.name), &entry});
    ++count_;
  }

  void Clear() noexcept {
    slots_.clear();
    count_ = 0;
  }

 private:
  struct Slot {
    std::uint64_t hash = 0;
    Named* entry = nullptr;
  };

  static constexpr std::size_t kFirstSlots = 16;  // a power of two, as all sizes are

  static bool Same(WideView a, WideView b) noexcept {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)) == 0);
  }

  std::size_t Mask() const noexcept { return slots_.size() - 1; }

  void Place(Slot slot) noexcept {
    std::size_t at = slot.hash & Mask();
    while (slots_[at].entry != nullptr) at = (at + 1) & Mask();
    slots_[at] = slot;
  }

  void Rehash(std::size_t size) {
    std::vector<Slot> before(size);
    before.swap(slots_);
    for (const Slot& slot : before) {
      if (slot.entry != nullptr) Place(slot);
    }
  }

  std::vector<Slot> slots_;  // at most half full, so that a search always meets a free one
  std::size_t count_ = 0;
};

}  // namespace sbx
