#include "sbxml/pretty_printer.h"

#include <utility>

namespace sbx::tool {
namespace {

class Printer {
 public:
  explicit Printer(const SourceTree& tree) : tree_(tree) {}

  WideString Print() {
    for (at_ = 0; at_ < tree_.nodes().size(); ++at_) {
      CloseUpTo(at_);
      Open(tree_.nodes()[at_]);
    }
    CloseUpTo(tree_.nodes().size());
    return std::move(out_);
  }

 private:
  struct OpenElement {
    std::size_t index;
    bool hasLines;  // its children stand on lines of their own
  };

  bool IsOnOwnLine() const noexcept { return open_.empty() || open_.back().hasLines; }

  void Open(const SourceNode& node) {
    const bool isBlankBetween = node.kind == SourceNode::Kind::kText && IsOnOwnLine();
    if (isBlankBetween) return;
    if (IsOnOwnLine()) out_.append(2 * open_.size(), u' ');
    switch (node.kind) {
      case SourceNode::Kind::kElement:
        return OpenTag(node);
      case SourceNode::Kind::kText:
        return Escape(node.text, false);
      case SourceNode::Kind::kComment:
        out_.append(u"<!--").append(node.text).append(u"-->");
        break;
      case SourceNode::Kind::kInstruction:
        out_.append(u"<?").append(node.text).append(u"?>");
        break;
    }
    EndLine();
  }

  void OpenTag(const SourceNode& node) {
    out_.append(u"<").append(node.text);
    for (const SourceAttribute& attribute : node.attributes) {
      out_.append(u" ").append(attribute.name).append(u"=\"");
      Escape(attribute.value, true);
      out_.append(u"\"");
    }
    if (node.end == at_ + 1) {
      out_.append(u"/>");
      return EndLine();
    }
    out_.append(u">");
    const bool parentHasLines = IsOnOwnLine();
    const bool hasLines = parentHasLines && tree_.HasElements(at_) && !tree_.HasOwnText(at_);
    open_.push_back({at_, hasLines});
    if (hasLines) out_.append(u"\n");
  }

  // Ends the elements that do not reach to a node.
  void CloseUpTo(std::size_t node) {
    while (!open_.empty() && tree_.nodes()[open_.back().index].end <= node) {
      const OpenElement element = open_.back();
      open_.pop_back();
      if (element.hasLines) out_.append(2 * open_.size(), u' ');
      out_.append(u"</").append(tree_.nodes()[element.index].text).append(u">");
      EndLine();
    }
  }

  void EndLine() {
    if (IsOnOwnLine()) out_.append(u"\n");
  }

  void Escape(WideView text, bool isAttribute) {
    for (const char16_t unit : text) {
      switch (unit) {
        case u'&':
          out_.append(u"&amp;");
          break;
        case u'<':
          out_.append(u"&lt;");
          break;
        case u'>':
          out_.append(u"&gt;");
          break;
        case u'\r':
          out_.append(u"&#13;");
          break;
        default:
          EscapeInAttribute(unit, isAttribute);
      }
    }
  }

  void EscapeInAttribute(char16_t unit, bool isAttribute) {
    if (isAttribute && unit == u'"') {
      out_.append(u"&quot;");
    } else if (isAttribute && unit == u'\t') {
      out_.append(u"&#9;");
    } else if (isAttribute && unit == u'\n') {
      out_.append(u"&#10;");
    } else {
      out_.push_back(unit);
    }
  }

  const SourceTree& tree_;
  std::size_t at_ = 0;
  std::vector<OpenElement> open_;
  WideString out_;
};

}  // namespace

WideString PrettyPrint(const SourceTree& tree) {
  return Printer(tree).Print();
}

}  // namespace sbx::tool
