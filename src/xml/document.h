// The operations that the logic needs of a DOM, named once.
//
// Two realisations exist: src/xml/native, an arena of nodes for systems without a DOM of their own, and
// src/xml/msxml over the platform's component. The build chooses one; the rest of the code can't tell which.
//
// A document belongs to one thread at a time. Text is UTF-16. A view that an operation returns holds until
// the next call on the same document, unless it says otherwise. Names are compared exactly. Operations may
// throw std::bad_alloc, and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "base/wide_text.h"
#include "xml/text_scan.h"

namespace sbx::xml {

class Document;
struct Node;  // a node of one document, known to its realisation only

// A counted reference on a node. The document must outlive it.
class NodeRef {
 public:
  NodeRef() noexcept = default;
  // Takes over a reference that the realisation has already counted.
  NodeRef(Document* document, Node* node) noexcept : document_(document), node_(node) {}
  NodeRef(const NodeRef& other) noexcept;
  NodeRef(NodeRef&& other) noexcept
      : document_(other.document_), node_(std::exchange(other.node_, nullptr)) {}
  NodeRef& operator=(NodeRef other) noexcept {
    std::swap(document_, other.document_);
    std::swap(node_, other.node_);
    return *this;
  }
  ~NodeRef() { Reset(); }

  void Reset() noexcept;
  // Hands the counted reference over to the caller.
  Node* Detach() noexcept { return std::exchange(node_, nullptr); }
  explicit operator bool() const noexcept { return node_ != nullptr; }
  Node* get() const noexcept { return node_; }
  Document* document() const noexcept { return document_; }

 private:
  Document* document_ = nullptr;
  Node* node_ = nullptr;
};

// What a realisation keeps in a list; a null `list` is an empty result.
struct ListState {
  void* list = nullptr;
  void* end = nullptr;
  void* cursor = nullptr;    // where Next() stands; null at first
  void* hint = nullptr;      // the node that Item() found last,
  std::size_t position = 0;  // and its index
};

// The result of a query: a snapshot of nodes in document order, with a cursor. Survives changes to the tree.
class NodeList {
 public:
  NodeList() noexcept = default;
  NodeList(Document* document, const ListState& state) noexcept : document_(document), state_(state) {}
  NodeList(NodeList&& other) noexcept
      : document_(std::exchange(other.document_, nullptr)),
        state_(std::exchange(other.state_, ListState())) {}
  NodeList& operator=(NodeList&& other) noexcept {
    std::swap(document_, other.document_);
    std::swap(state_, other.state_);
    return *this;
  }
  ~NodeList();

  // Whether the query succeeded; an empty result is a success too.
  explicit operator bool() const noexcept { return document_ != nullptr; }

  std::size_t Length() const;
  // The node at an index; null past the end or when it can't be fetched.
  NodeRef Item(std::size_t index) const;
  // The next node of the cursor; null at the end.
  NodeRef Next();

 private:
  Document* document_ = nullptr;
  mutable ListState state_;
};

// Takes serialised text piece by piece, in pieces that are worth a call each; false ends the serialisation.
class TextSink {
 public:
  virtual ~TextSink() = default;
  virtual bool Append(WideView piece) = 0;
};

// A document's serialised text. Borrows the document, which must not change meanwhile.
class SerializedText {
 public:
  virtual ~SerializedText() = default;
  virtual std::uint64_t Units() const noexcept = 0;
  // False if the sink ended it.
  virtual bool WriteTo(TextSink& sink) const = 0;
};

class Document {
 public:
  virtual ~Document() = default;
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  // A new, empty document; null if the platform can't create one.
  static std::unique_ptr<Document> New();

  // Whether text keeps its white space on load (the default is the realisation's). False if refused.
  virtual bool PutPreserveWhiteSpace(bool preserve) = 0;
  // Parses a whole document; false, with the document left empty, if it is not well-formed. What the document
  // held before is detached.
  virtual bool LoadXml(WideView text) = 0;
  virtual NodeRef DocumentElement() = 0;
  // A new element without a parent; null if the name is refused.
  virtual NodeRef CreateElement(WideView name) = 0;
  // The document's whole text; null if it can't be had.
  virtual std::unique_ptr<SerializedText> GetXml() = 0;

  // Adds an element as the last child. Only an element that has never had a parent can be added; false, with
  // nothing changed, for any other.
  virtual bool AppendChild(Node* parent, Node* child) = 0;
  // The parent, which for the root element is the document's own node; null for a detached node.
  virtual NodeRef ParentNode(Node* node) = 0;
  // The node itself if it is an element, else null: what a query for the element interface answers.
  virtual NodeRef AsElement(Node* node) = 0;
  // Nothing if the question fails. Comments and processing instructions count as children too.
  virtual std::optional<bool> HasChildNodes(Node* node) = 0;
  // The text of the node and its descendants, comments and processing instructions left out.
  virtual std::optional<WideView> GetText(Node* node) = 0;
  // Replaces the node's content with one text. Former children have no parent then, and stay usable.
  virtual bool PutText(Node* node, WideView text) = 0;
  // The same for text that has been looked at already.
  virtual bool PutScannedText(Node* node, WideView text, const TextTraits&) { return PutText(node, text); }
  // All child elements; a null list if the query fails.
  virtual NodeList SelectChildElements(Node* node) = 0;
  // The first child element of this name; null if there is none.
  virtual NodeRef SelectChildElement(Node* node, WideView name) = 0;

  virtual std::optional<WideView> TagName(Node* element) = 0;
  // The value of an attribute; nothing if the element has none of this name.
  virtual std::optional<WideView> GetAttribute(Node* element, WideView name) = 0;
  virtual bool SetAttribute(Node* element, WideView name, WideView value) = 0;
  // Descendant elements of a name, the element itself left out; a null list if the query fails.
  virtual NodeList GetElementsByTagName(Node* element, WideView name) = 0;

  // What the references and lists above call; nobody else does.
  virtual void Retain(Node* node) noexcept = 0;
  virtual void Release(Node* node) noexcept = 0;
  virtual std::size_t ListLength(ListState& state) = 0;
  virtual NodeRef ListItem(ListState& state, std::size_t index) = 0;
  virtual NodeRef ListNext(ListState& state) = 0;
  virtual void ReleaseList(ListState& state) noexcept = 0;
  // False where nodes live as long as their document, so that nothing needs to be counted.
  bool countsReferences() const noexcept { return countsReferences_; }

 protected:
  explicit Document(bool countsReferences = true) noexcept : countsReferences_(countsReferences) {}

 private:
  bool countsReferences_;
};

// The build's realisation: each of them defines this, and Document::New() calls it.
std::unique_ptr<Document> CreatePlatformDocument();

// Gives back the memory that the build's realisation keeps for the next document. Any thread, at any time.
void ReleaseSpareMemory() noexcept;

// Replaces what Document::New() calls; null puts the realisation back. For tests, under no concurrency.
using DocumentFactory = std::unique_ptr<Document> (*)();
void SetDocumentFactory(DocumentFactory factory) noexcept;

inline NodeRef::NodeRef(const NodeRef& other) noexcept : document_(other.document_), node_(other.node_) {
  if (node_ != nullptr && document_->countsReferences()) document_->Retain(node_);
}
inline void NodeRef::Reset() noexcept {
  if (node_ != nullptr && document_->countsReferences()) document_->Release(node_);
  node_ = nullptr;
}
inline NodeList::~NodeList() {
  if (state_.list != nullptr) document_->ReleaseList(state_);
}
inline std::size_t NodeList::Length() const {
  return state_.list == nullptr ? 0 : document_->ListLength(state_);
}
inline NodeRef NodeList::Item(std::size_t index) const {
  return state_.list == nullptr ? NodeRef() : document_->ListItem(state_, index);
}
inline NodeRef NodeList::Next() {
  return state_.list == nullptr ? NodeRef() : document_->ListNext(state_);
}

}  // namespace sbx::xml
