// What the attributes that a document type declares may cost.
//
// Each declaration is paid for again and again: the parser looks at all of an element's declarations for each
// new default and at each start tag, and a default that a tag does not override is copied into it. Without a
// limit a document of a megabyte could take up hours, or all memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "base/name_hash.h"
#include "base/wide_text.h"

namespace sbx::xml::native {

class AttributeBudget {
 public:
  // As entities have it: beyond 8 MiB, a hundred times the document's own size.
  static constexpr std::uint64_t kFree = std::uint64_t{4} * 1024 * 1024;
  static constexpr std::uint64_t kPerUnit = 100;

  explicit AttributeBudget(std::size_t documentUnits) noexcept
      : left_(std::max(kFree, kPerUnit * documentUnits)) {}

  // A declared attribute of an element; `isCompared` if the parser compares it with all before it. This and
  // the next return false once the budget is used up.
  bool Declare(WideView element, bool isCompared) {
    const std::uint64_t count = ++declared_[WideString(element)];
    return Spend(isCompared ? count : 1);
  }
  // A start tag, with so many defaults and units of their values in it.
  bool Start(WideView element, std::size_t defaults, std::size_t units) {
    if (declared_.empty()) return true;
    const auto found = declared_.find(WideString(element));
    return found == declared_.end() || Spend(found->second + defaults * kAttributeUnits + units);
  }

 private:
  static constexpr std::uint64_t kAttributeUnits = 16;  // the size of an attribute without its value

  struct NameHasher {
    std::size_t operator()(const WideString& name) const noexcept { return HashName(name); }
  };

  bool Spend(std::uint64_t cost) noexcept {
    const bool fits = cost <= left_;
    left_ -= fits ? cost : left_;
    return fits;
  }

  std::uint64_t left_;
  std::unordered_map<WideString, std::uint64_t, NameHasher> declared_;
};

}  // namespace sbx::xml::native
