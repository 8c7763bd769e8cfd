// Where long searches among the children of an element ended.
//
// Rules ask for the same children from each record of a document: without a memory, a document with as many
// other children in front of them as it has records would take quadratic time. Nothing is ever pushed out,
// since whoever wrote the document could see to it that it is what will be asked for next.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <unordered_map>
#include <vector>

#include "xml/native/nodes.h"

namespace sbx::xml::native {

class ChildMemo {
 public:
  // What is found within so many steps needs no memory, so that the memory stays smaller than the tree.
  static constexpr std::size_t kShortSearch = 16;

  // What a search for that name (null for any) among the children ended with, null for no such child;
  // nothing if it is not known.
  std::optional<Node*> Find(const Element& parent, const Name* name) const noexcept {
    const auto known = ends_.find(&parent);
    if (known == ends_.end()) return std::nullopt;
    const auto end = std::find_if(known->second.begin(), known->second.end(),
                                  [name](const End& candidate) { return candidate.name == name; });
    if (end == known->second.end()) return std::nullopt;
    return end->child;
  }
  // Of a search that is not known.
  void Remember(const Element& parent, const Name* name, Node* child) {
    ends_[&parent].push_back({name, child});
  }
  // To be called before the children of an element change.
  void Forget(const Element& parent) noexcept {
    if (!ends_.empty()) ends_.erase(&parent);
  }

 private:
  struct End {
    const Name* name;
    Node* child;
  };

  std::unordered_map<const Element*, std::vector<End>> ends_;  // as few for a parent as rules have names
};

}  // namespace sbx::xml::native
