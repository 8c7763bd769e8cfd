// Makes nodes of what a reader reports.
#pragma once

#include <vector>

#include "xml/native/arena.h"
#include "xml/native/name_table.h"
#include "xml/native/nodes.h"
#include "xml/native/parse_events.h"
#include "xml/text_scan.h"

namespace sbx::xml::native {

// A new text, of which is known what it needs to be written.
CharacterNode* NewText(Arena& arena, WideView text, const TextTraits& traits);

// A new text, CDATA section, comment or instruction.
CharacterNode* NewCharacters(Arena& arena, NodeKind kind, WideView text);

// A new attribute at the end of an element's list, which `last` is; null `last` for an empty list.
Attribute* AppendAttribute(Arena& arena, Element& element, Attribute* last, const Name* name, WideView value);

// Links a node that has no parent.
void AppendNode(Element& parent, Node& child) noexcept;

class TreeBuilder : public ParseEvents {
 public:
  TreeBuilder(Arena& arena, NameTable& names, Element& document) noexcept
      : arena_(arena), names_(names), open_(&document) {}

  bool StartElement(WideView name, std::span<const ParsedAttribute> attributes) override;
  void EndElement() override;
  void Characters(WideView piece) override;
  void StartCdata() override;
  void EndCdata() override;
  void Comment(WideView text) override;
  void Instruction(WideView target, WideView data) override;

 private:
  void FlushText();

  Arena& arena_;
  NameTable& names_;
  Element* open_;
  WideString text_;  // the text that is being collected
};

}  // namespace sbx::xml::native
