#include "sbxml/node_numbers.h"

namespace sbx::tool {

void NodeNumbers::Set(const xml::NodeRef& element, std::size_t number) {
  byNode_.emplace(element.get(), number);
}

std::optional<std::size_t> NodeNumbers::Find(const xml::NodeRef& element) const {
  const auto found = byNode_.find(element.get());
  if (found == byNode_.end()) return std::nullopt;
  return found->second;
}

}  // namespace sbx::tool
