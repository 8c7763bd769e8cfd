#include "xml/xml_element_ref.h"

#include "diag/dbg_log_facade.h"
#include "xml/byte_string.h"

namespace sbx {
namespace {

constexpr WideView kBinary = u"binary";

xml::Document& DocumentOf(const XMLElementRef& ref) noexcept {
  return *ref.element().document();
}

}  // namespace

XMLElementRef ChildByName(const XMLElementRef& ref, WideView name) {
  if (name.data() == nullptr || !ref) return {};
  xml::Document& document = DocumentOf(ref);
  const xml::NodeRef node = document.SelectChildElement(ref.element().get(), name);
  return node ? XMLElementRef(document.AsElement(node.get())) : XMLElementRef();
}

void ReadContent(const XMLElementRef& ref, WideString& out) {
  out.clear();
  if (!ref) return;
  xml::Document& document = DocumentOf(ref);
  const std::optional<WideView> text = document.GetText(ref.element().get());
  if (!text) return;
  out = *text;  // a copy: the view ends with the next question
  const std::optional<WideView> flag = document.GetAttribute(ref.element().get(), kFlagAttribute);
  if (flag) out = xml::DecodeContent(out, *flag);
}

Status WriteContent(const XMLElementRef& ref, WideView text) {
  if (text.data() == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for setting content.");
    return kParameter;
  }
  xml::Document& document = DocumentOf(ref);
  xml::Node* const element = ref.element().get();
  bool isPut = false;
  if (xml::IsSafeText(text)) {
    isPut = document.PutText(element, text);
  } else {
    const std::optional<WideString> digits = xml::EncodeContent(text);
    if (!digits) return kMemory;
    if (!document.SetAttribute(element, kFlagAttribute, kBinary)) {
      g_DBGLog.Printf(0, u"Invalid XML info for setting element attribute(Name: %s, Value: %s).",
                      kFlagAttribute, kBinary);
    }
    isPut = document.PutText(element, *digits);
  }
  if (isPut) return kOk;
  g_DBGLog.Printf(0, u"Invalid XML info for setting element content.");
  return kContent;
}

std::optional<XMLChildEnum> EnumChildren(const XMLElementRef& ref) {
  if (!ref) {
    g_DBGLog.Printf(0, u"Invalid XML parent element when enumerating the child elements.");
    return std::nullopt;
  }
  return XMLChildEnum(DocumentOf(ref).SelectChildElements(ref.element().get()));
}

bool XMLChildEnum::Next() {
  current_ = XMLElementRef();
  const xml::NodeRef node = list_.Next();
  if (!node) return false;
  current_ = XMLElementRef(node.document()->AsElement(node.get()));
  return static_cast<bool>(current_);
}

}  // namespace sbx
