// The document operations over the platform's own component, version 3.
//
// A Node is an IXMLDOMNode and its references are the component's own. Names never become part of a query:
// children are compared by name instead, which finds what "./name" finds (the qualified name as written, with
// or without a default namespace) whatever the name holds.
#include <limits>
#include <msxml2.h>

#include "xml/document.h"
#include "xml/msxml/com.h"

namespace sbx::xml {
namespace msxml {
namespace {

constexpr GUID kDocumentClass = {
    0xf6d90f11, 0x9c73, 0x11d3, {0xb3, 0x2e, 0x00, 0xc0, 0x4f, 0x99, 0x0b, 0xb4}};
constexpr GUID kDocumentInterface = {
    0x2933bf95, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
constexpr GUID kElementInterface = {
    0x2933bf86, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};

IXMLDOMNode* ToCom(Node* node) noexcept {
  return reinterpret_cast<IXMLDOMNode*>(node);
}

ComPtr<IXMLDOMElement> ElementOf(Node* node) {
  ComPtr<IXMLDOMElement> element;
  if (node == nullptr || !Succeeded(ToCom(node)->QueryInterface(kElementInterface, element.OutVoid())))
    return {};
  return element;
}

IXMLDOMNodeList* ToList(const ListState& state) noexcept {
  return static_cast<IXMLDOMNodeList*>(state.list);
}

class ComSerializedText : public SerializedText {
 public:
  explicit ComSerializedText(Bstr text) noexcept : text_(std::move(text)) {}
  std::uint64_t Units() const noexcept override { return text_.view().size(); }
  bool WriteTo(TextSink& sink) const override { return sink.Append(text_.view()); }

 private:
  Bstr text_;
};

class MsxmlDocument : public Document {
 public:
  explicit MsxmlDocument(ComPtr<IXMLDOMDocument2> document) noexcept : document_(std::move(document)) {}

  bool PutPreserveWhiteSpace(bool preserve) override {
    return Succeeded(document_->put_preserveWhiteSpace(preserve ? VARIANT_TRUE : VARIANT_FALSE));
  }

  // Malformed text is a success of the call with a false flag.
  bool LoadXml(WideView text) override {
    VARIANT_BOOL loaded = VARIANT_FALSE;
    return Succeeded(document_->loadXML(Bstr(text).get(), &loaded)) && loaded != VARIANT_FALSE;
  }

  NodeRef DocumentElement() override {
    ComPtr<IXMLDOMElement> element;
    return Succeeded(document_->get_documentElement(element.Out())) ? Ref(std::move(element)) : NodeRef();
  }

  NodeRef CreateElement(WideView name) override {
    ComPtr<IXMLDOMElement> element;
    const Bstr tag(name);
    return Succeeded(document_->createElement(tag.get(), element.Out())) ? Ref(std::move(element))
                                                                         : NodeRef();
  }

  std::unique_ptr<SerializedText> GetXml() override {
    Bstr text;
    if (!Succeeded(document_->get_xml(text.Out())) || !text) return nullptr;
    return std::make_unique<ComSerializedText>(std::move(text));
  }

  bool AppendChild(Node* parent, Node* child) override {
    return Succeeded(ToCom(parent)->appendChild(ToCom(child), nullptr));
  }

  NodeRef ParentNode(Node* node) override {
    ComPtr<IXMLDOMNode> parent;
    return Succeeded(ToCom(node)->get_parentNode(parent.Out())) ? Ref(std::move(parent)) : NodeRef();
  }

  NodeRef AsElement(Node* node) override { return Ref(ElementOf(node)); }

  std::optional<bool> HasChildNodes(Node* node) override {
    VARIANT_BOOL has = VARIANT_FALSE;
    if (!Succeeded(ToCom(node)->hasChildNodes(&has))) return std::nullopt;
    return has != VARIANT_FALSE;
  }

  std::optional<WideView> GetText(Node* node) override { return Hold(ToCom(node)->get_text(text_.Out())); }

  bool PutText(Node* node, WideView text) override {
    return Succeeded(ToCom(node)->put_text(Bstr(text).get()));
  }

  NodeList SelectChildElements(Node* node) override {
    ComPtr<IXMLDOMNodeList> list;
    const Bstr query(u"./*");
    return Succeeded(ToCom(node)->selectNodes(query.get(), list.Out())) ? List(std::move(list)) : NodeList();
  }

  NodeRef SelectChildElement(Node* node, WideView name) override {
    ComPtr<IXMLDOMNode> child;
    if (!Succeeded(ToCom(node)->get_firstChild(child.Out()))) return {};
    while (child) {
      if (IsElementNamed(child.get(), name)) return Ref(std::move(child));
      ComPtr<IXMLDOMNode> next;
      if (!Succeeded(child->get_nextSibling(next.Out()))) return {};
      child = std::move(next);
    }
    return {};
  }

  std::optional<WideView> TagName(Node* element) override {
    const ComPtr<IXMLDOMElement> com = ElementOf(element);
    if (!com) return std::nullopt;
    return Hold(com->get_tagName(text_.Out()));
  }

  std::optional<WideView> GetAttribute(Node* element, WideView name) override {
    const ComPtr<IXMLDOMElement> com = ElementOf(element);
    if (!com || !Succeeded(com->getAttribute(Bstr(name).get(), attribute_.Out()))) return std::nullopt;
    if (!attribute_.HoldsString()) return std::nullopt;
    return attribute_.view();
  }

  bool SetAttribute(Node* element, WideView name, WideView value) override {
    const ComPtr<IXMLDOMElement> com = ElementOf(element);
    return com && Succeeded(com->setAttribute(Bstr(name).get(), Variant(value).value()));
  }

  NodeList GetElementsByTagName(Node* element, WideView name) override {
    const ComPtr<IXMLDOMElement> com = ElementOf(element);
    ComPtr<IXMLDOMNodeList> list;
    if (!com || !Succeeded(com->getElementsByTagName(Bstr(name).get(), list.Out()))) return {};
    return List(std::move(list));
  }

  void Retain(Node* node) noexcept override { ToCom(node)->AddRef(); }
  void Release(Node* node) noexcept override { ToCom(node)->Release(); }

  std::size_t ListLength(ListState& state) override {
    long length = 0;
    return Succeeded(ToList(state)->get_length(&length)) && length > 0 ? static_cast<std::size_t>(length) : 0;
  }

  NodeRef ListItem(ListState& state, std::size_t index) override {
    ComPtr<IXMLDOMNode> node;
    if (index > static_cast<std::size_t>(std::numeric_limits<long>::max())) return {};
    const HRESULT result = ToList(state)->get_item(static_cast<long>(index), node.Out());
    return Succeeded(result) ? Ref(std::move(node)) : NodeRef();
  }

  // By index and not by the component's cursor, which an access by index moves.
  NodeRef ListNext(ListState& state) override {
    NodeRef node = ListItem(state, state.position);
    if (node) ++state.position;
    return node;
  }

  void ReleaseList(ListState& state) noexcept override { ToList(state)->Release(); }

 private:
  template <class Interface>
  NodeRef Ref(ComPtr<Interface> node) noexcept {
    IXMLDOMNode* const base = node.Detach();
    return base == nullptr ? NodeRef() : NodeRef(this, reinterpret_cast<Node*>(base));
  }

  NodeList List(ComPtr<IXMLDOMNodeList> list) noexcept {
    if (!list) return {};
    ListState state;
    state.list = list.Detach();
    return {this, state};
  }

  // What a call stored in text_; nothing for a failure or a null string.
  std::optional<WideView> Hold(HRESULT result) {
    if (!Succeeded(result) || !text_) return std::nullopt;
    return text_.view();
  }

  static bool IsElementNamed(IXMLDOMNode* node, WideView name) {
    DOMNodeType type = NODE_INVALID;
    Bstr tag;
    return Succeeded(node->get_nodeType(&type)) && type == NODE_ELEMENT &&
           Succeeded(node->get_nodeName(tag.Out())) && tag.view() == name;
  }

  ComPtr<IXMLDOMDocument2> document_;
  Bstr text_;          // the last text given out
  Variant attribute_;  // the last attribute given out
};

}  // namespace
}  // namespace msxml

// Needs the component runtime on the calling thread, which is the caller's to initialise.
std::unique_ptr<Document> CreatePlatformDocument() {
  using namespace msxml;
  ComPtr<IXMLDOMDocument2> document;
  const HRESULT result =
      CoCreateInstance(kDocumentClass, nullptr, CLSCTX_INPROC_SERVER, kDocumentInterface, document.OutVoid());
  if (!Succeeded(result) || !document) return nullptr;
  return std::make_unique<MsxmlDocument>(std::move(document));
}

// The system keeps what it likes.
void ReleaseSpareMemory() noexcept {}

}  // namespace sbx::xml
