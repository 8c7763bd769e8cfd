// The distinct names of one document, so that names compare by address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/wide_text.h"
#include "xml/native/arena.h"

namespace sbx::xml::native {

// A name's units follow it in memory.
struct Name {
  std::uint64_t hash;
  std::size_t length;

  WideView view() const noexcept { return {reinterpret_cast<const char16_t*>(this + 1), length}; }
};

class NameTable {
 public:
  explicit NameTable(Arena& arena) noexcept : arena_(arena) {}

  // The name, if the document knows it.
  const Name* Find(WideView text) const noexcept;
  // The name, added if it is new; null if it is new and not a Name of XML.
  const Name* Intern(WideView text);

 private:
  // Where this spelling was seen last: callers give the same names from the same places again and again.
  static constexpr std::size_t kRecent = 64;
  static std::size_t RecentSlot(WideView text) noexcept;

  const Name* FindRecent(WideView text) const noexcept;
  const Name* Search(WideView text, std::uint64_t hash) const noexcept;
  const Name* Add(WideView text, std::uint64_t hash);
  void Grow();

  Arena& arena_;
  std::vector<const Name*> slots_;  // a power of two, probed in a row, never more than half full
  std::size_t count_ = 0;
  const Name* recent_[kRecent] = {};
};

}  // namespace sbx::xml::native
