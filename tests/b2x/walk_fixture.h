// A walk over records of the test's own memory, with the verbs that its tests are told in.
#pragma once

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

#include "b2x/js_bin2xml.h"
#include "support/host_system.h"
#include "support/recording_log.h"
#include "support/written_xml.h"

namespace sbx::testing {

struct Item {
  WideView name;
  WideView type;
  std::int32_t size;
  std::int32_t offset;
};

// A formatted message, as a log line or an error text shows it.
template <class... Args>
WideString Text(WideView format, const Args&... args) {
  return WideString(Message(format, args...).view());
}

inline std::string Narrow(WideView text) {
  std::string narrow;
  for (const char16_t unit : text) narrow += unit < 0x80 ? static_cast<char>(unit) : '?';
  return narrow;
}

inline std::uintptr_t AddressOf(const void* memory) {
  return reinterpret_cast<std::uintptr_t>(memory);
}

class WalkTest : public ::testing::Test {
 protected:
  using Element = JSBin2XML::Element;

  WalkTest() {
    walk.desc = std::make_unique<JSPDBMemDesc>();
    walk.helper = &helper;
    walk.memory = &memory;
    walk.itemHook = [](const JSStructDesc&, const JSStructItemDesc&, std::uintptr_t, XMLDOMHelper&) {
      return kOk;
    };
    EXPECT_EQ(helper.CreateDocument(), kOk);
  }

  JSStructDesc* Describe(WideView name, std::int32_t size, std::initializer_list<Item> items = {}) {
    JSStructDesc& record = walk.desc->AddStruct(name, size, {}, {});
    for (const Item& item : items) {
      EXPECT_NE(record.AddItem(item.name, item.type, item.size, item.offset, {}, {}), nullptr);
    }
    return &record;
  }

  Status Convert(JSStructDesc* record, const void* address, Element element = Element::kOwn) {
    memory.Forget();
    return walk.ConvertStruct(record, AddressOf(address), element);
  }

  Status ConvertItemOf(JSStructDesc* record, WideView item, const void* address) {
    memory.Forget();  // the test's memory has changed since the last conversion
    return walk.ConvertItem(record, record->FindItem(item), AddressOf(address));
  }

  // One item of this type and size at offset 0 of a record "Root", converted by itself.
  Status ConvertItem(WideView type, std::int32_t size, const void* address) {
    JSStructDesc* record = Describe(u"Root", 1000, {{u"Item", type, size, 0}});
    return ConvertItemOf(record, u"Item", address);
  }

  // What stands in the document's root element.
  std::string Xml() {
    const auto text = helper.GetXml();
    struct Collector : xml::TextSink {
      bool Append(WideView piece) override {
        all += piece;
        return true;
      }
      WideString all;
    } collector;
    if (text == nullptr || !text->WriteTo(collector)) return "(no text)";
    const std::string all = Narrow(testing::AsEverywhere(collector.all));
    const std::string open = "<JobScriptXMLDescription>";
    const std::string close = "</JobScriptXMLDescription>";
    if (all == "<JobScriptXMLDescription/>") return "";
    if (!all.starts_with(open) || !all.ends_with(close)) return all;
    return all.substr(open.size(), all.size() - open.size() - close.size());
  }

  std::string CurrentElement() {
    const xml::NodeRef& element = helper.currentElement();
    return Narrow(element.document()->TagName(element.get()).value_or(u"(none)"));
  }

  // The level 0 lines, or those of another level.
  std::vector<WideString> Lines(std::int32_t level = 0) const {
    std::vector<WideString> lines;
    for (const LogLine& line : log.lines()) {
      if (line.level == level) lines.push_back(line.text);
    }
    return lines;
  }

  using Texts = std::vector<WideString>;

  ScopedLog log;
  platform::CallerMemory memory;
  XMLDOMHelper helper;
  JSBin2XML walk;
};

}  // namespace sbx::testing
