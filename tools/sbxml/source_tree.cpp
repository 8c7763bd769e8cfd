#include "sbxml/source_tree.h"

#include "sbxml/xml_reading.h"
#include "xml/native/xml_names.h"

namespace sbx::tool {
namespace {

bool IsBlank(WideView text) noexcept {
  return text.find_first_not_of(u" \t\r\n") == WideView::npos;
}

}  // namespace

// Fills a tree from a reader's events and places.
class SourceTreeBuilder final : public xml::native::ParseEvents {
 public:
  SourceTreeBuilder(SourceTree& tree, SourcePosition start) : tree_(tree), start_(start) {}

  void Read(WideView text) {
    if (!ReadPlacedXml(text, *this, report_)) {
      tree_.failure_ = ParseFailure{PositionOf(report_.faultPlace), report_.fault};
    }
  }

  bool StartElement(WideView name, std::span<const xml::native::ParsedAttribute> attributes) override {
    if (!xml::native::IsName(name)) return false;
    const std::size_t index = tree_.nodes_.size();
    SourceNode& node = Add(SourceNode::Kind::kElement, name);
    for (const xml::native::ParsedAttribute& attribute : attributes) {
      if (!xml::native::IsName(attribute.name)) return false;
      node.attributes.push_back({WideString(attribute.name), WideString(attribute.value)});
    }
    tree_.elements_.push_back(index);
    open_.push_back(index);
    return true;
  }

  void EndElement() override {
    tree_.nodes_[open_.back()].end = tree_.nodes_.size();
    open_.pop_back();
  }

  // The reader hands text over in pieces.
  void Characters(WideView text) override {
    SourceNode& last = tree_.nodes_.back();
    if (last.kind == SourceNode::Kind::kText && last.parent == open_.back()) {
      last.text.append(text);
    } else {
      Add(SourceNode::Kind::kText, text);
    }
  }

  void StartCdata() override {}
  void EndCdata() override {}
  void Comment(WideView text) override { Add(SourceNode::Kind::kComment, text); }
  void Instruction(WideView target, WideView data) override {
    WideString text(target);
    if (!data.empty()) text.append(1, u' ').append(data);
    Add(SourceNode::Kind::kInstruction, text);
  }

 private:
  // The text's first line begins where the file's declaration ended.
  SourcePosition PositionOf(xml::native::TextPlace place) const noexcept {
    const std::uint32_t before = place.line == 1 ? start_.column - 1 : 0;
    return {start_.line + place.line - 1, before + place.column};
  }

  SourceNode& Add(SourceNode::Kind kind, WideView text) {
    const std::size_t index = tree_.nodes_.size();
    const std::size_t parent = open_.empty() ? index : open_.back();
    tree_.nodes_.push_back({kind, WideString(text), {}, PositionOf(report_.here()), parent, index + 1});
    return tree_.nodes_.back();
  }

  SourceTree& tree_;
  SourcePosition start_;
  xml::native::ReadingReport report_;
  std::vector<std::size_t> open_;
};

SourceTree::SourceTree(WideView text, SourcePosition start) {
  SourceTreeBuilder(*this, start).Read(text);
}

bool SourceTree::HasElements(std::size_t node) const {
  bool has = false;
  ForEachChild(node, [&](std::size_t child) { has |= nodes_[child].kind == SourceNode::Kind::kElement; });
  return has;
}

bool SourceTree::HasOwnText(std::size_t node) const {
  bool has = false;
  ForEachChild(node, [&](std::size_t child) {
    has |= nodes_[child].kind == SourceNode::Kind::kText && !IsBlank(nodes_[child].text);
  });
  return has;
}

WideString SourceTree::TextOf(std::size_t node) const {
  WideString text;
  for (std::size_t at = node; at < nodes_[node].end; ++at) {
    if (nodes_[at].kind == SourceNode::Kind::kText) text += nodes_[at].text;
  }
  return text;
}

WideView SourceTree::AttributeOf(std::size_t node, WideView name) const {
  for (const SourceAttribute& attribute : nodes_[node].attributes) {
    if (attribute.name == name) return attribute.value;
  }
  return {};
}

}  // namespace sbx::tool
