// A conversion as the rules see it: descriptions, a rule set, records in memory or in a document.
#pragma once

#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <vector>

#include "api/conversion_state.h"
#include "desc/structure_description.h"
#include "platform/caller_memory.h"
#include "rules/rule_set.h"
#include "support/recording_log.h"
#include "support/written_xml.h"
#include "xml/document.h"
#include "xml/xml_element_ref.h"

namespace sbx::testing {

// A record instance in memory. Pointers lead into other instances, or anywhere.
class Bytes {
 public:
  explicit Bytes(std::size_t size) : bytes_(size) {}

  template <class Value>
  Bytes& Put(std::size_t offset, Value value) {
    std::memcpy(bytes_.data() + offset, &value, sizeof value);
    return *this;
  }
  Bytes& Point(std::size_t offset, const Bytes& target) { return Put(offset, target.address()); }

  std::uintptr_t address() const { return reinterpret_cast<std::uintptr_t>(bytes_.data()); }

 private:
  std::vector<unsigned char> bytes_;
};

class RuleTest : public ::testing::Test {
 protected:
  RuleTest() {
    g_conversion.callerMemory = &memory_;
    g_conversion.cachedRuleSet = &rules_;
    NameRoot(u"Root", 0);
  }
  ~RuleTest() override { g_conversion = ConversionState{}; }

  // The rule set is this; the text stands inside the document's root.
  void LoadRules(const WideString& rules) {
    const WideString text = u"<ConvertRuleDesc>" + rules + u"</ConvertRuleDesc>";
    ASSERT_EQ(rules_.LoadFromXML(text.c_str()), kOk);
    log_.Clear();
  }
  // The rules of the record "Rec".
  void LoadRecRules(const WideString& items) { LoadRules(u"<Rules name='Rec'>" + items + u"</Rules>"); }

  struct Item {
    WideView name;
    WideView type;
    std::int32_t size;
    std::int32_t offset;
  };
  JSStructDesc& AddRecord(WideView name, std::int32_t size, std::initializer_list<Item> items) {
    JSStructDesc& record = set_.AddStruct(name, size, {}, {});
    for (const Item& item : items) record.AddItem(item.name, item.type, item.size, item.offset, {}, {});
    return record;
  }

  void NameRoot(const char16_t* name, std::uintptr_t binary) {
    g_conversion.rootStructName = name;
    g_conversion.rootStructNameUnits = WideView(name).size();
    g_conversion.rootBinary = binary;
  }

  // Parses a job script's document: what stands in its root element.
  void LoadXml(const WideString& content) {
    rootElement_ = {};  // before its document
    document_ = xml::Document::New();
    document_->PutPreserveWhiteSpace(true);
    ASSERT_TRUE(document_->LoadXml(u"<JobScriptXMLDescription>" + content + u"</JobScriptXMLDescription>"));
    rootElement_ = XMLElementRef(document_->DocumentElement());
    g_conversion.rootElement = &rootElement_;
  }
  // The element that child names lead to from the root element.
  XMLElementRef Element(std::initializer_list<WideView> names) {
    XMLElementRef element = rootElement_;
    for (const WideView name : names) element = ChildByName(element, name);
    return element;
  }
  // The whole document's text behind the root element's start tag.
  WideString Xml() {
    struct Collect : xml::TextSink {
      bool Append(WideView piece) override {
        text.append(piece);
        return true;
      }
      WideString text;
    } sink;
    document_->GetXml()->WriteTo(sink);
    constexpr WideView kOpen = u"<JobScriptXMLDescription>";
    const WideString text = testing::AsEverywhere(sink.text);
    const std::size_t from = text.find(kOpen) + kOpen.size();
    return text.substr(from, text.rfind(u"</") - from);
  }

  // One pass each; the text that the pass left in the relocated name.
  WideString PassInMemory(JSStructDesc& record, std::uintptr_t binary) {
    memory_.Forget();  // a test changes its records between passes, which a conversion's caller may not
    WideString relocated;
    EXPECT_EQ(B2XApplyRuleForJSStruct(set_, record, binary, relocated), kOk);
    return relocated;
  }
  WideString PassInMemory(JSStructDesc& record, const Bytes& bytes) {
    return PassInMemory(record, bytes.address());
  }
  WideString PassInXml(JSStructDesc& record, const XMLElementRef& element) {
    WideString relocated;
    EXPECT_EQ(X2BApplyRuleForJSStruct(element, set_, record, relocated), kOk);
    return relocated;
  }

  ScopedLog log_;
  platform::CallerMemory memory_;
  JSPDBMemDesc set_;
  JSConvertRulesDesc rules_;
  std::unique_ptr<xml::Document> document_;
  XMLElementRef rootElement_;
};

}  // namespace sbx::testing
