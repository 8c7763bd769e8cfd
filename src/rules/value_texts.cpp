#include "rules/value_texts.h"

#include <utility>

#include "api/conversion_state.h"
#include "rules/number_text.h"

namespace sbx {

const KeptText& ValueTexts::Of(const XMLElementRef& element) {
  const xml::Node* const node = element.element().get();
  if (const auto known = texts_.find(node); known != texts_.end()) return known->second;
  WideString text;
  ReadContent(element, text);
  const std::uint32_t number = ParseNumberText(text);
  return texts_.insert_or_assign(node, KeptText{std::move(text), number}).first->second;
}

void ValueTexts::Forget(const XMLElementRef& element) {
  if (texts_.empty()) return;
  // An element's text is part of that of all elements around it.
  for (xml::NodeRef node = element.element(); node; node = node.document()->ParentNode(node.get())) {
    texts_.erase(node.get());
  }
}

Status ReplaceContent(const XMLElementRef& element, WideView text) {
  if (g_conversion.valueTexts != nullptr) g_conversion.valueTexts->Forget(element);
  return WriteContent(element, text);
}

}  // namespace sbx
