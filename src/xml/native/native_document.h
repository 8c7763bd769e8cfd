// A document of our own: an arena of nodes, read by a parser of events and written by a loop.
//
// White space in content is kept as it stands in the source, whichever way PutPreserveWhiteSpace() was
// called, so text of blanks alone is a child too. An empty text leaves an element without a child. The
// declaration and the document type are not kept. Nothing here recurses, and every operation takes time
// linear in what it touches.
#pragma once

#include <string>

#include "xml/document.h"
#include "xml/native/arena.h"
#include "xml/native/child_memo.h"
#include "xml/native/name_table.h"
#include "xml/native/nodes.h"

namespace sbx::xml::native {

class NativeDocument final : public Document {
 public:
  NativeDocument() noexcept : Document(/*countsReferences=*/false), names_(arena_) {}

  bool PutPreserveWhiteSpace(bool) override { return true; }
  bool LoadXml(WideView text) override;
  NodeRef DocumentElement() override;
  NodeRef CreateElement(WideView name) override;
  std::unique_ptr<SerializedText> GetXml() override;

  bool AppendChild(Node* parent, Node* child) override;
  NodeRef ParentNode(Node* node) override;
  NodeRef AsElement(Node* node) override;
  std::optional<bool> HasChildNodes(Node* node) override;
  std::optional<WideView> GetText(Node* node) override;
  bool PutText(Node* node, WideView text) override;
  bool PutScannedText(Node* node, WideView text, const TextTraits& traits) override;
  NodeList SelectChildElements(Node* node) override;
  NodeRef SelectChildElement(Node* node, WideView name) override;

  std::optional<WideView> TagName(Node* element) override;
  std::optional<WideView> GetAttribute(Node* element, WideView name) override;
  bool SetAttribute(Node* element, WideView name, WideView value) override;
  NodeList GetElementsByTagName(Node* element, WideView name) override;

  void Retain(Node*) noexcept override {}
  void Release(Node*) noexcept override {}
  std::size_t ListLength(ListState& state) override;
  NodeRef ListItem(ListState& state, std::size_t index) override;
  NodeRef ListNext(ListState& state) override;
  void ReleaseList(ListState& state) noexcept override;

 private:
  NodeRef Ref(Node* node) noexcept { return node == nullptr ? NodeRef() : NodeRef(this, node); }
  // The element, the document included; null for any other node.
  static Element* Container(Node* node) noexcept;
  static Element* OnlyElement(Node* node) noexcept;
  void DetachChildren(Element& parent) noexcept;
  // The first child element of a name, of any name for null; null if there is none.
  Node* FindChild(const Element& parent, const Name* name);
  WideView GatherText(const Element& top);

  Arena arena_;
  NameTable names_;
  Element document_{NodeKind::kDocument, nullptr};
  ChildMemo memo_;
  WideString gathered_;  // what GetText() has last put together
};

}  // namespace sbx::xml::native
