// A document as it stands in its file: elements with their places, attributes and own text, in document
// order.
//
// Read from the same text as the library's own document, by the same parser where that one tells places and
// elsewhere by one that takes the same documents (xml_reading.h), so the n-th element here is the n-th
// element there. Nothing recurses: depth is limited by memory alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool {

// Where something stands in a file; both from 1.
struct SourcePosition {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

struct SourceAttribute {
  WideString name;
  WideString value;
};

struct SourceNode {
  enum class Kind { kElement, kText, kComment, kInstruction };

  Kind kind;
  WideString text;  // the tag, or what the node holds; an instruction's target and data with a blank between
  std::vector<SourceAttribute> attributes;
  SourcePosition position;
  std::size_t parent;  // the index of its element; itself for the document element
  std::size_t end;     // the index behind its last descendant
};

struct ParseFailure {
  SourcePosition position;
  std::string message;
};

class SourceTree {
 public:
  // `start` is where the text begins in its file. On failure the tree is of no use and `failure` is set.
  SourceTree(WideView text, SourcePosition start);

  const std::optional<ParseFailure>& failure() const noexcept { return failure_; }

  // All nodes in document order; the comments and instructions around the document element are among them.
  const std::vector<SourceNode>& nodes() const noexcept { return nodes_; }
  // The indexes of the elements among them; the first one is the document element.
  const std::vector<std::size_t>& elements() const noexcept { return elements_; }

  // Calls `visit` with the index of each child of a node, in order.
  template <class Visit>
  void ForEachChild(std::size_t node, Visit visit) const {
    for (std::size_t at = node + 1; at < nodes_[node].end; at = nodes_[at].end) visit(at);
  }
  bool HasElements(std::size_t node) const;
  // Whether text that is more than white space stands directly in an element.
  bool HasOwnText(std::size_t node) const;
  // The text of a node and its descendants.
  WideString TextOf(std::size_t node) const;
  // The value of an attribute; empty if there is none.
  WideView AttributeOf(std::size_t node, WideView name) const;

 private:
  friend class SourceTreeBuilder;

  std::vector<SourceNode> nodes_;
  std::vector<std::size_t> elements_;
  std::optional<ParseFailure> failure_;
};

}  // namespace sbx::tool
