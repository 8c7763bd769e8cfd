#include <string>

#include "sbxml/node_numbers.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

// Of all attributes the reader looks at its flag alone, so one more changes nothing.
constexpr WideView kNumber = u"sbxml.number";

}  // namespace

void NodeNumbers::Set(const xml::NodeRef& element, std::size_t number) {
  element.document()->SetAttribute(element.get(), kNumber, ToWide(std::to_string(number)));
}

std::optional<std::size_t> NodeNumbers::Find(const xml::NodeRef& element) const {
  if (!element) return std::nullopt;
  const std::optional<WideView> digits = element.document()->GetAttribute(element.get(), kNumber);
  if (!digits) return std::nullopt;
  std::size_t number = 0;
  for (const char16_t digit : *digits) number = number * 10 + (digit - u'0');
  return number;
}

}  // namespace sbx::tool
