// The nodes of a native document. All lie in its arena, are never moved or freed one by one, and are linked
// at most once: an element that has been appended is never appended again, so that a run of siblings that
// was handed out as a list stays as it is whatever happens to the tree.
#pragma once

#include <cstdint>

#include "base/wide_text.h"
#include "xml/native/name_table.h"

namespace sbx::xml {

enum class NodeKind : std::uint8_t { kDocument, kElement, kText, kCdata, kComment, kInstruction };

struct Node {
  Node* next = nullptr;  // the next sibling, for the last one the first; kept when content is replaced

  NodeKind kind() const noexcept { return static_cast<NodeKind>(packed_ & kKindBits); }
  bool isElement() const noexcept { return kind() == NodeKind::kElement; }

 protected:
  static constexpr std::uint64_t kKindBits = 7;

  Node(NodeKind kind, std::uint64_t rest) noexcept : packed_(rest | static_cast<std::uint64_t>(kind)) {}
  std::uint64_t rest() const noexcept { return packed_ & ~kKindBits; }

 private:
  std::uint64_t packed_;  // the kind, and above its bits what the kind makes of it
};

namespace native {

// An attribute; its value's units follow it in memory when it is made, and lie elsewhere once replaced.
struct Attribute {
  Attribute* next;
  const Name* name;
  const char16_t* units;
  std::size_t length;

  WideView value() const noexcept { return {units, length}; }
};

// An element, or the document itself, which has no name.
struct Element : Node {
  Element* parent = nullptr;  // null at first; the element itself once it has lost the one that it had
  Node* last = nullptr;       // child; its `next` is the first
  Attribute* attributes = nullptr;

  Element(NodeKind kind, const Name* elementName) noexcept
      : Node(kind, reinterpret_cast<std::uintptr_t>(elementName)) {
    static_assert(alignof(Name) > kKindBits, "a name's address leaves room for the kind");
  }

  const Name* name() const noexcept {
    return reinterpret_cast<const Name*>(rest());  // NOLINT(performance-no-int-to-ptr): packed with the kind
  }
  bool isEmpty() const noexcept { return last == nullptr; }
  Node* first() const noexcept { return last == nullptr ? nullptr : last->next; }
  Element* parentOrNull() const noexcept { return parent == this ? nullptr : parent; }
  bool wasAppended() const noexcept { return parent != nullptr; }
};

// Text, a CDATA section, a comment or a processing instruction; its units follow it in memory. The units of
// an instruction are what stands between `<?` and `?>`.
struct CharacterNode : Node {
  CharacterNode(NodeKind kind, bool needsEscapes, std::uint64_t length) noexcept
      : Node(kind, length << kLengthShift | (needsEscapes ? kEscapesBit : 0)) {}

  bool needsEscapes() const noexcept { return (rest() & kEscapesBit) != 0; }
  WideView text() const noexcept {
    return {reinterpret_cast<const char16_t*>(this + 1), rest() >> kLengthShift};
  }
  bool isText() const noexcept { return kind() == NodeKind::kText || kind() == NodeKind::kCdata; }

 private:
  static constexpr std::uint64_t kEscapesBit = 8;
  static constexpr unsigned kLengthShift = 4;
};

inline Element* ToElement(Node* node) noexcept {
  return static_cast<Element*>(node);
}
inline const Element* ToElement(const Node* node) noexcept {
  return static_cast<const Element*>(node);
}
inline const CharacterNode* ToCharacters(const Node* node) noexcept {
  return static_cast<const CharacterNode*>(node);
}

}  // namespace native
}  // namespace sbx::xml
