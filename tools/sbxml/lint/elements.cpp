#include "sbxml/lint/elements.h"

#include <algorithm>

#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

bool IsForTools(WideView attribute) noexcept {
  return attribute.starts_with(u"xml");
}

}  // namespace

void CheckAttributes(const SourceTree& tree, std::size_t node, std::initializer_list<WideView> read,
                     Findings& findings, const Subject& subject) {
  for (const SourceAttribute& attribute : tree.nodes()[node].attributes) {
    if (std::find(read.begin(), read.end(), attribute.name) != read.end()) continue;
    if (IsForTools(attribute.name)) continue;
    findings.Add(Id::kUnreadAttribute, tree.nodes()[node].position,
                 "the attribute " + Quoted(attribute.name) + " is not read here: it has no effect", subject);
  }
}

void CheckCase(const SourceTree& tree, std::size_t node, std::initializer_list<WideView> known,
               Findings& findings) {
  const SourceNode& element = tree.nodes()[node];
  for (const WideView name : known) {
    if (element.text == name || !EqualsIgnoringCase(element.text, name)) continue;
    findings.Add(Id::kMisplacedElement, element.position,
                 "an element " + Quoted(element.text) + " is passed over: the name is " + Quoted(name));
  }
}

bool CheckRoot(const SourceTree& tree, WideView name, Findings& findings) {
  const SourceNode& root = tree.nodes()[tree.elements().front()];
  if (root.text == name) return true;
  findings.Add(Id::kWrongRoot, root.position,
               "the document element is " + Quoted(root.text) + ", not " + Quoted(name) +
                   ": the document does not load");
  return false;
}

}  // namespace sbx::tool::lint
