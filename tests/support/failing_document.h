// A document whose operations can be made to fail: the real one behind a decorator, for tests of failure
// rows.
//
//   ScopedFailures failures;                     // from here on Document::New() gives failing documents
//   failures.Fail(DomCall::kPutText, 2);         // the second PutText() from now on fails, no other
//   failures.Fail(DomCall::kAppendChild, 1, -1); // every AppendChild() fails
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "xml/document.h"

namespace sbx::testing {

enum class DomCall : std::size_t {
  kNew,
  kPreserveWhiteSpace,
  kLoadXml,
  kDocumentElement,
  kCreateElement,
  kGetXml,
  kAppendChild,
  kParentNode,
  kAsElement,
  kHasChildNodes,
  kGetText,
  kPutText,
  kSelectChildElements,
  kSelectChildElement,
  kTagName,
  kGetAttribute,
  kSetAttribute,
  kGetElementsByTagName,
  kListItem,
  kListNext,
  kCount
};

// When each operation fails, and how often each was called.
class DomFailures {
 public:
  // The `nth` call from now on (1 is the next) and `times` - 1 calls after it fail; -1 for all after it.
  void Fail(DomCall call, int nth = 1, int times = 1) { At(call) = {At(call).calls, nth, times}; }
  int calls(DomCall call) const { return counters_[static_cast<std::size_t>(call)].calls; }
  // What LoadXml() was given last.
  WideString loaded;

  bool Fails(DomCall call) {
    Counter& counter = At(call);
    ++counter.calls;
    if (counter.wait == 0 || --counter.wait > 0) return false;
    if (counter.times != 1) counter.wait = 1;
    if (counter.times > 1) --counter.times;
    return true;
  }

 private:
  struct Counter {
    int calls = 0;
    int wait = 0;  // calls until the next failing one; 0 for none
    int times = 0;
  };
  Counter& At(DomCall call) { return counters_[static_cast<std::size_t>(call)]; }
  std::array<Counter, static_cast<std::size_t>(DomCall::kCount)> counters_ = {};
};

class FailingDocument : public xml::Document {
 public:
  FailingDocument(std::unique_ptr<xml::Document> inner, DomFailures& failures)
      : Document(inner->countsReferences()), inner_(std::move(inner)), failures_(failures) {}

  bool PutPreserveWhiteSpace(bool preserve) override {
    return !Fails(DomCall::kPreserveWhiteSpace) && inner_->PutPreserveWhiteSpace(preserve);
  }
  bool LoadXml(WideView text) override {
    failures_.loaded = text;
    return !Fails(DomCall::kLoadXml) && inner_->LoadXml(text);
  }
  xml::NodeRef DocumentElement() override {
    return Fails(DomCall::kDocumentElement) ? xml::NodeRef() : Own(inner_->DocumentElement());
  }
  xml::NodeRef CreateElement(WideView name) override {
    return Fails(DomCall::kCreateElement) ? xml::NodeRef() : Own(inner_->CreateElement(name));
  }
  std::unique_ptr<xml::SerializedText> GetXml() override {
    return Fails(DomCall::kGetXml) ? nullptr : inner_->GetXml();
  }
  bool AppendChild(xml::Node* parent, xml::Node* child) override {
    return !Fails(DomCall::kAppendChild) && inner_->AppendChild(parent, child);
  }
  xml::NodeRef ParentNode(xml::Node* node) override {
    return Fails(DomCall::kParentNode) ? xml::NodeRef() : Own(inner_->ParentNode(node));
  }
  xml::NodeRef AsElement(xml::Node* node) override {
    return Fails(DomCall::kAsElement) ? xml::NodeRef() : Own(inner_->AsElement(node));
  }
  std::optional<bool> HasChildNodes(xml::Node* node) override {
    if (Fails(DomCall::kHasChildNodes)) return std::nullopt;
    return inner_->HasChildNodes(node);
  }
  std::optional<WideView> GetText(xml::Node* node) override {
    if (Fails(DomCall::kGetText)) return std::nullopt;
    return inner_->GetText(node);
  }
  bool PutText(xml::Node* node, WideView text) override {
    return !Fails(DomCall::kPutText) && inner_->PutText(node, text);
  }
  xml::NodeList SelectChildElements(xml::Node* node) override {
    return Fails(DomCall::kSelectChildElements) ? xml::NodeList() : Own(inner_->SelectChildElements(node));
  }
  xml::NodeRef SelectChildElement(xml::Node* node, WideView name) override {
    return Fails(DomCall::kSelectChildElement) ? xml::NodeRef() : Own(inner_->SelectChildElement(node, name));
  }
  std::optional<WideView> TagName(xml::Node* element) override {
    if (Fails(DomCall::kTagName)) return std::nullopt;
    return inner_->TagName(element);
  }
  std::optional<WideView> GetAttribute(xml::Node* element, WideView name) override {
    if (Fails(DomCall::kGetAttribute)) return std::nullopt;
    return inner_->GetAttribute(element, name);
  }
  bool SetAttribute(xml::Node* element, WideView name, WideView value) override {
    return !Fails(DomCall::kSetAttribute) && inner_->SetAttribute(element, name, value);
  }
  xml::NodeList GetElementsByTagName(xml::Node* element, WideView name) override {
    return Fails(DomCall::kGetElementsByTagName) ? xml::NodeList()
                                                 : Own(inner_->GetElementsByTagName(element, name));
  }

  void Retain(xml::Node* node) noexcept override { inner_->Retain(node); }
  void Release(xml::Node* node) noexcept override { inner_->Release(node); }
  std::size_t ListLength(xml::ListState& state) override { return Inner(state).Length(); }
  xml::NodeRef ListItem(xml::ListState& state, std::size_t index) override {
    return Fails(DomCall::kListItem) ? xml::NodeRef() : Own(Inner(state).Item(index));
  }
  xml::NodeRef ListNext(xml::ListState& state) override {
    return Fails(DomCall::kListNext) ? xml::NodeRef() : Own(Inner(state).Next());
  }
  void ReleaseList(xml::ListState& state) noexcept override { delete &Inner(state); }

 private:
  bool Fails(DomCall call) { return failures_.Fails(call); }
  xml::NodeRef Own(xml::NodeRef ref) {
    xml::Node* const node = ref.Detach();
    return node == nullptr ? xml::NodeRef() : xml::NodeRef(this, node);
  }
  xml::NodeList Own(xml::NodeList list) {
    if (!list) return {};
    return xml::NodeList(this, {.list = new xml::NodeList(std::move(list))});
  }
  static xml::NodeList& Inner(xml::ListState& state) { return *static_cast<xml::NodeList*>(state.list); }

  std::unique_ptr<xml::Document> inner_;
  DomFailures& failures_;
};

// Failing documents for everyone while it lives; one at a time.
class ScopedFailures : public DomFailures {
 public:
  ScopedFailures() {
    current_ = this;
    xml::SetDocumentFactory(&Make);
  }
  ~ScopedFailures() {
    xml::SetDocumentFactory(nullptr);
    current_ = nullptr;
  }
  ScopedFailures(const ScopedFailures&) = delete;
  ScopedFailures& operator=(const ScopedFailures&) = delete;

 private:
  static std::unique_ptr<xml::Document> Make() {
    if (current_->Fails(DomCall::kNew)) return nullptr;
    return std::make_unique<FailingDocument>(xml::CreatePlatformDocument(), *current_);
  }
  static inline ScopedFailures* current_ = nullptr;
};

}  // namespace sbx::testing
