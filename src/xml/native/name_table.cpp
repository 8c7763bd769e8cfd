#include "xml/native/name_table.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/name_hash.h"
#include "xml/native/xml_names.h"

namespace sbx::xml::native {
namespace {

constexpr std::size_t kFirstSlots = 64;

}  // namespace

std::size_t NameTable::RecentSlot(WideView text) noexcept {
  return (reinterpret_cast<std::uintptr_t>(text.data()) / sizeof(std::uint64_t) + text.size()) % kRecent;
}

const Name* NameTable::FindRecent(WideView text) const noexcept {
  const Name* const name = recent_[RecentSlot(text)];
  return name != nullptr && name->view() == text ? name : nullptr;
}

const Name* NameTable::Search(WideView text, std::uint64_t hash) const noexcept {
  if (slots_.empty()) return nullptr;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = hash & mask; slots_[slot] != nullptr; slot = (slot + 1) & mask) {
    if (slots_[slot]->hash == hash && slots_[slot]->view() == text) return slots_[slot];
  }
  return nullptr;
}

const Name* NameTable::Find(WideView text) const noexcept {
  const Name* const recent = FindRecent(text);
  return recent != nullptr ? recent : Search(text, HashName(text));
}

const Name* NameTable::Intern(WideView text) {
  if (const Name* const recent = FindRecent(text)) return recent;
  const std::uint64_t hash = HashName(text);
  const Name* name = Search(text, hash);
  if (name == nullptr) {
    if (!IsName(text)) return nullptr;
    name = Add(text, hash);
  }
  return recent_[RecentSlot(text)] = name;
}

const Name* NameTable::Add(WideView text, std::uint64_t hash) {
  if ((count_ + 1) * 2 > slots_.size()) Grow();
  auto* const name = new (arena_.Allocate(sizeof(Name) + text.size() * sizeof(char16_t)))
      Name{.hash = hash, .length = text.size()};
  std::memcpy(name + 1, text.data(), text.size() * sizeof(char16_t));
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  while (slots_[slot] != nullptr) slot = (slot + 1) & mask;
  slots_[slot] = name;
  ++count_;
  return name;
}

void NameTable::Grow() {
  std::vector<const Name*> larger(std::max(slots_.size() * 2, kFirstSlots));
  const std::size_t mask = larger.size() - 1;
  for (const Name* const name : slots_) {
    if (name == nullptr) continue;
    std::size_t slot = name->hash & mask;
    while (larger[slot] != nullptr) slot = (slot + 1) & mask;
    larger[slot] = name;
  }
  slots_.swap(larger);
}

}  // namespace sbx::xml::native
