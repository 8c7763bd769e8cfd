#include "xml/native/native_document.h"

#include <cstring>
#include <new>
#include <vector>

#include "xml/native/expat_reader.h"
#include "xml/native/tree_builder.h"
#include "xml/native/writer.h"

namespace sbx::xml {

std::unique_ptr<Document> CreatePlatformDocument() {
  return std::make_unique<native::NativeDocument>();
}

void ReleaseSpareMemory() noexcept {
  native::Arena::FreeSpares();
}

namespace native {
namespace {

// Lists come in two forms. The children of an element are a run of siblings from `list` to `end`: appending
// goes on behind the end, and replacing the content leaves the links of what was taken out. Any other result
// is a vector, and `end` is null.
using NodeVector = std::vector<Node*>;

Node* NextElement(Node* node, const Node* end) noexcept {
  while (node != end) {
    node = node->next;
    if (node->isElement()) return node;
  }
  return nullptr;
}

// Walks what lies below an element in document order.
class Descendants {
 public:
  explicit Descendants(const Element& top) noexcept : top_(&top), parent_(&top), node_(top.first()) {}

  Node* node() const noexcept { return node_; }
  void Advance() noexcept {
    if (node_->isElement() && !ToElement(node_)->isEmpty()) {
      parent_ = ToElement(node_);
      node_ = parent_->first();
      return;
    }
    const Node* at = node_;
    while (at == parent_->last && parent_ != top_) {
      at = parent_;
      parent_ = parent_->parent;
    }
    node_ = at == parent_->last ? nullptr : at->next;
  }

 private:
  const Element* top_;
  const Element* parent_;
  Node* node_;
};

class NativeText final : public SerializedText {
 public:
  explicit NativeText(const Element& document) noexcept
      : document_(document), units_(SerializedUnits(document)) {}

  std::uint64_t Units() const noexcept override { return units_; }
  bool WriteTo(TextSink& sink) const override { return Serialize(document_, sink); }

 private:
  const Element& document_;
  std::uint64_t units_;
};

}  // namespace

Element* NativeDocument::Container(Node* node) noexcept {
  if (node == nullptr) return nullptr;
  return node->kind() == NodeKind::kElement || node->kind() == NodeKind::kDocument ? ToElement(node)
                                                                                   : nullptr;
}

Element* NativeDocument::OnlyElement(Node* node) noexcept {
  return node != nullptr && node->isElement() ? ToElement(node) : nullptr;
}

void NativeDocument::DetachChildren(Element& parent) noexcept {
  if (parent.isEmpty()) return;
  memo_.Forget(parent);
  Node* child = parent.last;
  do {
    child = child->next;
    if (child->isElement()) ToElement(child)->parent = ToElement(child);
  } while (child != parent.last);
  parent.last = nullptr;
}

Node* NativeDocument::FindChild(const Element& parent, const Name* name) {
  Node* child = parent.first();
  if (child == nullptr) return nullptr;
  const auto isWanted = [name](const Node* node) {
    return node->isElement() && (name == nullptr || ToElement(node)->name() == name);
  };
  std::size_t steps = 0;
  while (!isWanted(child) && steps < ChildMemo::kShortSearch) {
    if (child == parent.last) return nullptr;
    child = child->next;
    ++steps;
  }
  if (isWanted(child)) return child;
  if (const std::optional<Node*> known = memo_.Find(parent, name)) return *known;
  while (child != nullptr && !isWanted(child)) child = child == parent.last ? nullptr : child->next;
  memo_.Remember(parent, name, child);
  return child;
}

bool NativeDocument::LoadXml(WideView text) {
  DetachChildren(document_);
  try {
    TreeBuilder builder(arena_, names_, document_);
    if (ReadXml(text, builder)) return true;
  } catch (...) {
    DetachChildren(document_);
    throw;
  }
  DetachChildren(document_);
  return false;
}

NodeRef NativeDocument::DocumentElement() {
  return Ref(FindChild(document_, nullptr));
}

NodeRef NativeDocument::CreateElement(WideView name) {
  const Name* const known = names_.Intern(name);
  if (known == nullptr) return {};
  return Ref(new (arena_.Allocate(sizeof(Element))) Element(NodeKind::kElement, known));
}

std::unique_ptr<SerializedText> NativeDocument::GetXml() {
  return std::make_unique<NativeText>(document_);
}

bool NativeDocument::AppendChild(Node* parent, Node* child) {
  Element* const to = OnlyElement(parent);
  Element* const added = OnlyElement(child);
  if (to == nullptr || added == nullptr || added->wasAppended()) return false;
  // A node without children can't hold its own parent, so the way up is rarely gone.
  if (to == added) return false;
  if (!added->isEmpty()) {
    for (const Element* above = to; above != nullptr; above = above->parentOrNull()) {
      if (above == added) return false;
    }
  }
  memo_.Forget(*to);
  AppendNode(*to, *added);
  added->parent = to;
  return true;
}

NodeRef NativeDocument::ParentNode(Node* node) {
  Element* const element = OnlyElement(node);
  return element == nullptr ? NodeRef() : Ref(element->parentOrNull());
}

NodeRef NativeDocument::AsElement(Node* node) {
  return Ref(OnlyElement(node));
}

std::optional<bool> NativeDocument::HasChildNodes(Node* node) {
  const Element* const element = Container(node);
  return element != nullptr && !element->isEmpty();
}

WideView NativeDocument::GatherText(const Element& top) {
  gathered_.clear();
  for (Descendants walk(top); walk.node() != nullptr; walk.Advance()) {
    if (walk.node()->isElement() || !ToCharacters(walk.node())->isText()) continue;
    gathered_.append(ToCharacters(walk.node())->text());
  }
  return gathered_;
}

std::optional<WideView> NativeDocument::GetText(Node* node) {
  const Element* const element = Container(node);
  if (element == nullptr) return std::nullopt;
  if (element->isEmpty()) return WideView(u"");
  const Node* const only = element->last;
  if (only->next == only && !only->isElement()) {
    return ToCharacters(only)->isText() ? ToCharacters(only)->text() : WideView(u"");
  }
  return GatherText(*element);
}

bool NativeDocument::PutText(Node* node, WideView text) {
  return PutScannedText(node, text, ScanText(text));
}

bool NativeDocument::PutScannedText(Node* node, WideView text, const TextTraits& traits) {
  Element* const element = OnlyElement(node);
  if (element == nullptr) return false;
  // Made before anything is taken out: memory may be refused, and the text may be that of a child.
  Node* const content = text.empty() ? nullptr : NewText(arena_, text, traits);
  DetachChildren(*element);
  if (content != nullptr) AppendNode(*element, *content);
  return true;
}

NodeList NativeDocument::SelectChildElements(Node* node) {
  const Element* const parent = Container(node);
  if (parent == nullptr) return {};
  Node* const first = FindChild(*parent, nullptr);
  return NodeList(this, {.list = first, .end = first == nullptr ? nullptr : parent->last});
}

NodeRef NativeDocument::SelectChildElement(Node* node, WideView name) {
  const Element* const parent = Container(node);
  const Name* const wanted = parent == nullptr || parent->isEmpty() ? nullptr : names_.Find(name);
  return wanted == nullptr ? NodeRef() : Ref(FindChild(*parent, wanted));
}

std::optional<WideView> NativeDocument::TagName(Node* element) {
  const Element* const named = OnlyElement(element);
  if (named == nullptr) return std::nullopt;
  return named->name()->view();
}

std::optional<WideView> NativeDocument::GetAttribute(Node* element, WideView name) {
  const Element* const owner = OnlyElement(element);
  if (owner == nullptr || owner->attributes == nullptr) return std::nullopt;
  for (const Attribute* attribute = owner->attributes; attribute != nullptr; attribute = attribute->next) {
    if (attribute->name->view() == name) return attribute->value();
  }
  return std::nullopt;
}

bool NativeDocument::SetAttribute(Node* element, WideView name, WideView value) {
  Element* const owner = OnlyElement(element);
  const Name* const known = owner == nullptr ? nullptr : names_.Intern(name);
  if (known == nullptr) return false;
  Attribute* last = nullptr;
  for (Attribute* attribute = owner->attributes; attribute != nullptr; attribute = attribute->next) {
    if (attribute->name == known) {
      void* const units = arena_.Allocate(value.size() * sizeof(char16_t));
      if (!value.empty()) std::memcpy(units, value.data(), value.size() * sizeof(char16_t));
      attribute->units = static_cast<const char16_t*>(units);
      attribute->length = value.size();
      return true;
    }
    last = attribute;
  }
  AppendAttribute(arena_, *owner, last, known, value);
  return true;
}

NodeList NativeDocument::GetElementsByTagName(Node* element, WideView name) {
  const Element* const top = Container(element);
  if (top == nullptr) return {};
  const Name* const wanted = names_.Find(name);
  if (wanted == nullptr) return NodeList(this, {});
  auto found = std::make_unique<NodeVector>();
  for (Descendants walk(*top); walk.node() != nullptr; walk.Advance()) {
    if (walk.node()->isElement() && ToElement(walk.node())->name() == wanted) found->push_back(walk.node());
  }
  return found->empty() ? NodeList(this, {}) : NodeList(this, {.list = found.release()});
}

std::size_t NativeDocument::ListLength(ListState& state) {
  if (state.end == nullptr) return static_cast<const NodeVector*>(state.list)->size();
  std::size_t length = 0;
  for (auto* node = static_cast<Node*>(state.list); node != nullptr;
       node = NextElement(node, static_cast<const Node*>(state.end))) {
    ++length;
  }
  return length;
}

NodeRef NativeDocument::ListItem(ListState& state, std::size_t index) {
  if (state.end == nullptr) {
    const NodeVector& nodes = *static_cast<const NodeVector*>(state.list);
    return index < nodes.size() ? Ref(nodes[index]) : NodeRef();
  }
  // Asked for in ascending order, which is usual, each item takes up where the last one was.
  if (state.hint == nullptr || state.position > index) {
    state.hint = state.list;
    state.position = 0;
  }
  auto* node = static_cast<Node*>(state.hint);
  for (std::size_t at = state.position; at < index; ++at) {
    node = NextElement(node, static_cast<const Node*>(state.end));
    if (node == nullptr) return {};
  }
  state.hint = node;
  state.position = index;
  return Ref(node);
}

NodeRef NativeDocument::ListNext(ListState& state) {
  if (state.end == nullptr) {
    const NodeVector& nodes = *static_cast<const NodeVector*>(state.list);
    return state.position < nodes.size() ? Ref(nodes[state.position++]) : NodeRef();
  }
  if (state.cursor == state.end) return {};
  auto* const end = static_cast<Node*>(state.end);
  Node* const node = state.cursor == nullptr ? static_cast<Node*>(state.list)
                                             : NextElement(static_cast<Node*>(state.cursor), end);
  state.cursor = node == nullptr ? end : node;
  return Ref(node);
}

void NativeDocument::ReleaseList(ListState& state) noexcept {
  if (state.end == nullptr) delete static_cast<NodeVector*>(state.list);
}

}  // namespace native
}  // namespace sbx::xml
