// The numbers that a walk gives to the elements of its document, for as long as both live.
//
// A node of the library's own document is the same wherever it is met. The system's hands out another
// reference at each access, so there the elements themselves carry their numbers.
#pragma once

#include <cstddef>
#include <optional>
#include <unordered_map>

#include "xml/document.h"

namespace sbx::tool {

class NodeNumbers {
 public:
  void Set(const xml::NodeRef& element, std::size_t number);
  // Nothing for a node without a number, and for none.
  std::optional<std::size_t> Find(const xml::NodeRef& element) const;

 private:
  std::unordered_map<const xml::Node*, std::size_t> byNode_;  // the library's own document only
};

}  // namespace sbx::tool
