#include "xml/xml_dom_helper.h"

#include <algorithm>
#include <new>

#include "diag/dbg_log_facade.h"
#include "xml/byte_string.h"
#include "xml/text_scan.h"
#include "xml/xml_element_ref.h"

namespace sbx {
namespace {

constexpr WideView kRootName = u"JobScriptXMLDescription";
constexpr WideView kRootText = u"<JobScriptXMLDescription></JobScriptXMLDescription>";

// `<a/>`, and what content adds to it: `<a></a>`.
constexpr std::uint64_t EmptyElementUnits(std::uint64_t name) noexcept {
  return name + 3;
}
constexpr std::uint64_t EndTagUnits(std::uint64_t name) noexcept {
  return name + 2;
}

}  // namespace

Status XMLDOMHelper::CreateDocument() {
  if (document_ != nullptr) {
    g_DBGLog.Printf(0, u"Init error for creating new document.");
    return kState;
  }
  std::unique_ptr<xml::Document> document = xml::Document::New();
  if (document == nullptr) {
    g_DBGLog.Printf(0, u"COM error for creating new document.");
    return kDom;
  }
  if (!document->LoadXml(kRootText)) {
    g_DBGLog.Printf(0, u"COM error for creating new document when loading XML(Root: %s).", kRootText);
    return kDom;
  }
  xml::NodeRef root = document->DocumentElement();
  if (!root) {
    g_DBGLog.Printf(0, u"COM error for creating new document when getting root element(Root: %s).",
                    kRootText);
    return kDom;
  }
  document_ = std::move(document);
  root_ = std::move(root);
  current_ = root_;
  currentUnits_ = {.name = kRootName.size()};
  units_ = EmptyElementUnits(kRootName.size());
  return kOk;
}

Status XMLDOMHelper::NewElement(WideView name) {
  if (document_ == nullptr) {
    g_DBGLog.Printf(0, u"Init error for creating new element(document).");
    return kState;
  }
  if (!current_) {
    g_DBGLog.Printf(0, u"Init error for creating new element(element).");
    return kState;
  }
  if (name.empty()) {
    g_DBGLog.Printf(0, u"Invalid parameters for creating new element.");
    return kParameter;
  }
  xml::NodeRef element = document_->CreateElement(name);
  if (!element) {
    g_DBGLog.Printf(0, u"COM error for creating element(Name: %s).", name);
    return kDom;
  }
  const std::uint64_t opening = currentUnits_.hasContent ? 0 : EndTagUnits(currentUnits_.name);
  const std::uint64_t added = opening + EmptyElementUnits(name.size());
  if (!Fits(added)) return kMemory;
  if (!document_->AppendChild(current_.get(), element.get())) {
    g_DBGLog.Printf(0, u"COM error for appending element(Name: %s).", name);
    return kDom;
  }
  units_ += added;
  current_ = std::move(element);
  currentUnits_ = {.name = name.size()};
  return kOk;
}

void XMLDOMHelper::BackToParent() {
  if (document_ == nullptr || !current_ || current_.get() == root_.get()) return;
  const xml::NodeRef node = document_->ParentNode(current_.get());
  if (!node) return;
  xml::NodeRef parent = document_->AsElement(node.get());
  if (!parent) return;
  current_ = std::move(parent);
  // Its end tag was counted with its first child, and nothing more needs to be known of it.
  currentUnits_ = {.hasContent = true};
}

Status XMLDOMHelper::SetFlagAttribute(const char16_t* value) {
  if (document_ == nullptr || !current_) {
    g_DBGLog.Printf(0, u"Init error for setting element attribute.");
    return kState;
  }
  if (value == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for setting element attribute.");
    return kParameter;
  }
  const WideView text = value;
  const std::uint64_t units = kFlagAttribute.size() + 4 + xml::EscapedAttributeUnits(text);  // blank, =""
  if (!Fits(units - std::min(units, currentUnits_.flag))) throw std::bad_alloc();
  if (!document_->SetAttribute(current_.get(), kFlagAttribute, text)) {
    g_DBGLog.Printf(0, u"Invalid XML info for setting element attribute(Name: %s, Value: %s).",
                    kFlagAttribute, text);
    return kContent;
  }
  units_ = units_ - currentUnits_.flag + units;
  currentUnits_.flag = units;
  return kOk;
}

Status XMLDOMHelper::SetContent(WideView text) {
  if (const Status rc = CheckContent(text); rc != kOk) return rc;
  const xml::TextTraits traits = xml::ScanText(text);
  if (!traits.isSafe) return SetBinaryContent(text);
  return PutContent(text, traits.needsEscapes ? xml::EscapedTextUnits(text) : text.size(), traits);
}

Status XMLDOMHelper::SetPlainContent(WideView text) {
  if (const Status rc = CheckContent(text); rc != kOk) return rc;
  return PutContent(text, text.size(), xml::TextTraits());
}

Status XMLDOMHelper::CheckContent(WideView text) const {
  if (document_ == nullptr || !current_) {
    g_DBGLog.Printf(0, u"Init error for setting element content.");
    return kState;
  }
  if (text.data() == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for setting element content.");
    return kParameter;
  }
  return kOk;
}

Status XMLDOMHelper::SetBinaryContent(WideView text) {
  if (!Fits(std::uint64_t{text.size()} * 4)) return kMemory;  // before the digits take up memory
  const std::optional<WideString> digits = xml::EncodeContent(text);
  if (!digits) return kMemory;
  SetFlagAttribute(u"binary");  // content counts, flag or not
  return PutContent(*digits, digits->size(), xml::TextTraits());
}

Status XMLDOMHelper::PutContent(WideView text, std::uint64_t units, const xml::TextTraits& traits) {
  const std::uint64_t before = currentUnits_.content;
  const std::uint64_t endTag = EndTagUnits(currentUnits_.name);
  // An element that has been left before keeps what was counted for it.
  const bool opens = !text.empty() && !currentUnits_.hasContent;
  const bool closes = text.empty() && before != 0;
  const std::uint64_t added = units + (opens ? endTag : 0);
  const std::uint64_t removed = before + (closes ? endTag : 0);
  if (added > removed && !Fits(added - removed)) return kMemory;
  if (!document_->PutScannedText(current_.get(), text, traits)) {
    g_DBGLog.Printf(0, u"Invalid XML info for setting element content xx.");
    return kContent;
  }
  units_ = units_ + added - removed;
  currentUnits_.content = units;
  currentUnits_.hasContent = (currentUnits_.hasContent || opens) && !closes;
  return kOk;
}

std::unique_ptr<xml::SerializedText> XMLDOMHelper::GetXml() {
  return document_ == nullptr ? nullptr : document_->GetXml();
}

}  // namespace sbx
