#include "xml/native/writer.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "xml/text_scan.h"

namespace sbx::xml::native {
namespace {

constexpr std::size_t kBufferUnits = std::size_t{32} * 1024;

// Collects small pieces into large ones.
class Output {
 public:
  explicit Output(TextSink& sink)
      : sink_(sink), buffer_(std::make_unique_for_overwrite<char16_t[]>(kBufferUnits)) {}

  bool ok() const noexcept { return ok_; }

  // Room for `units` in a row, or null if that is more than fits. What is written there counts at once.
  char16_t* Reserve(std::size_t units) {
    if (units > kBufferUnits - used_) {
      if (units > kBufferUnits) return nullptr;
      Flush();
    }
    char16_t* const room = buffer_.get() + used_;
    used_ += units;
    return room;
  }

  void Put(WideView text) {
    if (text.empty()) return;
    if (char16_t* const room = Reserve(text.size())) {
      std::copy(text.begin(), text.end(), room);  // an empty text may be null
      return;
    }
    Flush();
    for (; ok_ && !text.empty(); text.remove_prefix(std::min(text.size(), kBufferUnits))) {
      ok_ = sink_.Append(text.substr(0, kBufferUnits));
    }
  }

  template <class Escape>
  void PutEscaped(WideView text, Escape escape) {
    std::size_t clean = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const WideView replacement = escape(text[i]);
      if (replacement.empty()) continue;
      Put(text.substr(clean, i - clean));
      Put(replacement);
      clean = i + 1;
    }
    Put(text.substr(clean));
  }

  void Flush() {
    if (ok_ && used_ != 0) ok_ = sink_.Append({buffer_.get(), used_});
    used_ = 0;
  }

 private:
  TextSink& sink_;
  std::unique_ptr<char16_t[]> buffer_;
  std::size_t used_ = 0;
  bool ok_ = true;
};

char16_t* Copy(char16_t* to, WideView text) noexcept {
  std::memcpy(to, text.data(), text.size() * sizeof(char16_t));
  return to + text.size();
}

void PutAttributes(Output& out, const Element& element) {
  for (const Attribute* attribute = element.attributes; attribute != nullptr; attribute = attribute->next) {
    out.Put(u" ");
    out.Put(attribute->name->view());
    out.Put(u"=\"");
    out.PutEscaped(attribute->value(), AttributeEscape);
    out.Put(u"\"");
  }
}

void PutStartTag(Output& out, const Element& element) {
  out.Put(u"<");
  out.Put(element.name()->view());
  PutAttributes(out, element);
  out.Put(element.isEmpty() ? WideView(u"/>") : WideView(u">"));
}

void PutEndTag(Output& out, const Element& element) {
  out.Put(u"</");
  out.Put(element.name()->view());
  out.Put(u">");
}

// The common element, without attributes and with one text that needs no escapes, in one go. False for any
// other.
bool PutPlainElement(Output& out, const Element& element) {
  const Node* const only = element.last;
  if (element.attributes != nullptr || only == nullptr || only->next != only) return false;
  if (only->kind() != NodeKind::kText) return false;
  const CharacterNode& content = *ToCharacters(only);
  const WideView text = content.text();
  const WideView name = element.name()->view();
  if (content.needsEscapes() || text.size() >= kBufferUnits || name.size() >= kBufferUnits) return false;
  char16_t* to = out.Reserve(2 * name.size() + text.size() + 5);
  if (to == nullptr) return false;
  *to++ = u'<';
  to = Copy(to, name);
  *to++ = u'>';
  to = Copy(to, text);
  *to++ = u'<';
  *to++ = u'/';
  to = Copy(to, name);
  *to = u'>';
  return true;
}

// What stands around the units of a node that is neither text nor an element.
struct Frame {
  WideView before;
  WideView after;
};

Frame FrameOf(NodeKind kind) noexcept {
  switch (kind) {
    case NodeKind::kCdata:
      return {u"<![CDATA[", u"]]>"};
    case NodeKind::kComment:
      return {u"<!--", u"-->"};
    case NodeKind::kInstruction:
      return {u"<?", u"?>"};
    case NodeKind::kDocument:
    case NodeKind::kElement:
    case NodeKind::kText:
      break;
  }
  return {};
}

void PutCharacters(Output& out, const CharacterNode& node) {
  const Frame frame = FrameOf(node.kind());
  out.Put(frame.before);
  if (node.needsEscapes()) {
    out.PutEscaped(node.text(), TextEscape);
  } else {
    out.Put(node.text());
  }
  out.Put(frame.after);
}

std::uint64_t CharactersUnits(const CharacterNode& node) noexcept {
  const Frame frame = FrameOf(node.kind());
  const std::uint64_t units = node.needsEscapes() ? EscapedTextUnits(node.text()) : node.text().size();
  return frame.before.size() + units + frame.after.size();
}

// Both tags and the attributes.
std::uint64_t ElementUnits(const Element& element) noexcept {
  const std::uint64_t name = element.name()->length;
  std::uint64_t units = element.isEmpty() ? name + 3 : 2 * name + 5;
  for (const Attribute* attribute = element.attributes; attribute != nullptr; attribute = attribute->next) {
    units += attribute->name->length + 4 + EscapedAttributeUnits(attribute->value());
  }
  return units;
}

}  // namespace

std::uint64_t SerializedUnits(const Element& document) noexcept {
  std::uint64_t units = 0;
  const Element* parent = &document;
  for (const Node* node = document.first(); node != nullptr;) {
    if (!node->isElement()) {
      units += CharactersUnits(*ToCharacters(node));
    } else {
      const Element& element = *ToElement(node);
      units += ElementUnits(element);
      if (!element.isEmpty()) {
        parent = &element;
        node = element.first();
        continue;
      }
    }
    while (node == parent->last && parent != &document) {
      node = parent;
      parent = parent->parent;
    }
    node = node == parent->last ? nullptr : node->next;
  }
  return units;
}

bool Serialize(const Element& document, TextSink& sink) {
  Output out(sink);
  const Element* parent = &document;
  for (const Node* node = document.first(); node != nullptr && out.ok();) {
    if (!node->isElement()) {
      PutCharacters(out, *ToCharacters(node));
    } else if (!PutPlainElement(out, *ToElement(node))) {
      const Element& element = *ToElement(node);
      PutStartTag(out, element);
      if (!element.isEmpty()) {
        parent = &element;
        node = element.first();
        continue;
      }
    }
    while (node == parent->last && parent != &document) {
      PutEndTag(out, *parent);
      node = parent;
      parent = parent->parent;
    }
    node = node == parent->last ? nullptr : node->next;
  }
  out.Flush();
  return out.ok();
}

}  // namespace sbx::xml::native
