// What both document readers do with elements: nesting, attributes that nobody reads, names in the wrong
// place.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include "sbxml/lint/findings.h"
#include "sbxml/source_tree.h"

namespace sbx::tool::lint {

// What stands inside one element counts for all elements of its kind around it. Beyond so many the rest is
// left out of account, so that nesting can't multiply a document.
inline constexpr std::size_t kNestingKept = 8;

// The elements of one name that are open at a place, innermost last.
class OpenElements {
 public:
  explicit OpenElements(const SourceTree& tree) noexcept : tree_(tree) {}

  // Closes what ends before this node; nodes come in document order.
  void MoveTo(std::size_t node) {
    while (!open_.empty() && tree_.nodes()[open_.back()].end <= node) open_.pop_back();
  }
  void Open(std::size_t node) { open_.push_back(node); }
  bool empty() const noexcept { return open_.empty(); }
  // The innermost ones.
  std::span<const std::size_t> kept() const noexcept {
    const std::size_t count = std::min(open_.size(), kNestingKept);
    return std::span(open_).last(count);
  }

 private:
  const SourceTree& tree_;
  std::vector<std::size_t> open_;
};

// Tells of each attribute that is not among those that are read.
void CheckAttributes(const SourceTree& tree, std::size_t node, std::initializer_list<WideView> read,
                     Findings& findings, const Subject& subject = {});

// Tells of an element whose name is meant to be this one, but for its case.
void CheckCase(const SourceTree& tree, std::size_t node, std::initializer_list<WideView> known,
               Findings& findings);

// False, and told, for a document with another root.
bool CheckRoot(const SourceTree& tree, WideView name, Findings& findings);

}  // namespace sbx::tool::lint
