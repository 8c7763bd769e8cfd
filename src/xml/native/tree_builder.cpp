#include "xml/native/tree_builder.h"

#include <cstring>
#include <new>

namespace sbx::xml::native {
namespace {

const char16_t* CopyUnits(void* to, WideView text) noexcept {
  if (!text.empty()) std::memcpy(to, text.data(), text.size() * sizeof(char16_t));
  return static_cast<const char16_t*>(to);
}

CharacterNode* NewNode(Arena& arena, NodeKind kind, bool needsEscapes, WideView text) {
  void* const memory = arena.Allocate(sizeof(CharacterNode) + text.size() * sizeof(char16_t));
  auto* const node = new (memory) CharacterNode(kind, needsEscapes, text.size());
  CopyUnits(node + 1, text);
  return node;
}

}  // namespace

CharacterNode* NewText(Arena& arena, WideView text, const TextTraits& traits) {
  return NewNode(arena, NodeKind::kText, traits.needsEscapes, text);
}

CharacterNode* NewCharacters(Arena& arena, NodeKind kind, WideView text) {
  return NewNode(arena, kind, kind == NodeKind::kText && ScanText(text).needsEscapes, text);
}

Attribute* AppendAttribute(Arena& arena, Element& element, Attribute* last, const Name* name,
                           WideView value) {
  void* const memory = arena.Allocate(sizeof(Attribute) + value.size() * sizeof(char16_t));
  auto* const attribute =
      new (memory) Attribute{.next = nullptr, .name = name, .units = nullptr, .length = value.size()};
  attribute->units = CopyUnits(attribute + 1, value);
  (last == nullptr ? element.attributes : last->next) = attribute;
  return attribute;
}

void AppendNode(Element& parent, Node& child) noexcept {
  if (parent.isEmpty()) {
    child.next = &child;
  } else {
    child.next = parent.last->next;
    parent.last->next = &child;
  }
  parent.last = &child;
}

void TreeBuilder::FlushText() {
  if (text_.empty()) return;
  AppendNode(*open_, *NewCharacters(arena_, NodeKind::kText, text_));
  text_.clear();
}

bool TreeBuilder::StartElement(WideView name, std::span<const ParsedAttribute> attributes) {
  FlushText();
  // Readers of other editions take a few names more, so each new one is looked at again.
  const Name* const elementName = names_.Intern(name);
  if (elementName == nullptr) return false;
  auto* const element = new (arena_.Allocate(sizeof(Element))) Element(NodeKind::kElement, elementName);
  Attribute* last = nullptr;
  for (const ParsedAttribute& attribute : attributes) {
    const Name* const attributeName = names_.Intern(attribute.name);
    if (attributeName == nullptr) return false;
    last = AppendAttribute(arena_, *element, last, attributeName, attribute.value);
  }
  AppendNode(*open_, *element);
  element->parent = open_;
  open_ = element;
  return true;
}

void TreeBuilder::EndElement() {
  FlushText();
  open_ = open_->parent;
}

void TreeBuilder::Characters(WideView piece) {
  text_.append(piece);
}

void TreeBuilder::StartCdata() {
  FlushText();
}

void TreeBuilder::EndCdata() {
  AppendNode(*open_, *NewCharacters(arena_, NodeKind::kCdata, text_));
  text_.clear();
}

void TreeBuilder::Comment(WideView text) {
  FlushText();
  AppendNode(*open_, *NewCharacters(arena_, NodeKind::kComment, text));
}

void TreeBuilder::Instruction(WideView target, WideView data) {
  FlushText();
  text_.assign(target);
  if (!data.empty()) text_.append(u" ").append(data);
  AppendNode(*open_, *NewCharacters(arena_, NodeKind::kInstruction, text_));
  text_.clear();
}

}  // namespace sbx::xml::native
