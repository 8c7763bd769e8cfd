// Each allocation refused in turn: std::bad_alloc comes out, and nothing leaks.
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <vector>

#include "support/memory_refusal.h"
#include "support/recording_log.h"
#include "support/string_sink.h"
#include "xml/xml_dom_helper.h"
#include "xml/xml_element_ref.h"

SBXML_DEFINE_MEMORY_REFUSAL;

namespace sbx {
namespace {

// Runs `work` with the first, second, ... allocation refused, until it gets through unharmed.
void RefuseEachInTurn(const std::function<void()>& work) {
  work();  // what is made once and kept for good is made here
  for (std::int64_t allowed = 0;; ++allowed) {
    const std::int64_t live = testing::t_memory.live;
    testing::RefuseMemoryAfter(allowed);
    bool threw = false;
    try {
      work();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    testing::GrantMemory();
    ASSERT_EQ(testing::t_memory.live, live) << "leak at " << allowed;
    ASSERT_EQ(threw, testing::t_memory.wasRefused) << "a refusal passed over at " << allowed;
    if (!threw) {
      ASSERT_GT(allowed, 0);
      return;
    }
  }
}

class CountingSink : public xml::TextSink {
 public:
  bool Append(WideView piece) override {
    units += piece.size();
    return true;
  }
  std::uint64_t units = 0;
};

TEST(MemoryRefused, WhileLoading) {
  WideString text =
      u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '&f;'><!ENTITY f 'y'><!ATTLIST a q CDATA '&e;'>]><a>";
  for (char16_t c = u'a'; c <= u'z'; ++c) {
    text += u"<" + WideString(40, c) + u" x='&e;" + WideString(100, c) + u"'>text&e;<![CDATA[z]]><!--c--></" +
            WideString(40, c) + u">";
  }
  text += WideString(300, u'x') + u"</a>";
  RefuseEachInTurn([&] {
    const auto document = xml::Document::New();
    if (!document->LoadXml(text)) GTEST_NONFATAL_FAILURE_("a refusal is no bad document");
  });
}

TEST(MemoryRefused, WhileLoadingLeavesTheDocumentEmpty) {
  const WideString text = u"<a>" + WideString(100000, u'x') + u"</a>";
  const auto document = xml::Document::New();
  for (std::int64_t allowed = 0;; ++allowed) {
    testing::RefuseMemoryAfter(allowed);
    bool threw = false;
    try {
      (void)document->LoadXml(text);
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    testing::GrantMemory();
    if (!threw) break;
    ASSERT_FALSE(document->DocumentElement()) << allowed;
  }
  EXPECT_TRUE(document->DocumentElement());
}

TEST(MemoryRefused, WhileBuildingAndWriting) {
  const WideString large(100000, u'x');
  RefuseEachInTurn([&] {
    XMLDOMHelper helper;
    helper.CreateDocument();
    for (int i = 0; i < 200; ++i) {
      const WideString name = {u'n', static_cast<char16_t>(u'A' + i % 26),
                               static_cast<char16_t>(u'a' + i / 26)};
      helper.NewElement(name);
      helper.SetContent(u"1");
      helper.BackToParent();
    }
    helper.NewElement(u"large");
    helper.SetContent(large);
    CountingSink sink;
    helper.GetXml()->WriteTo(sink);
    if (sink.units != helper.countedUnits()) GTEST_NONFATAL_FAILURE_("text lost");
  });
}

constexpr WideView kUnsafe = u"\x01 a rather long text of control characters";

// What a step that sets unsafe content came to when the first, second, ... allocation was refused.
struct Refusal {
  Status status = kOk;
  bool threw = false;
  WideString written;  // the document afterwards
  std::vector<testing::LogLine> lines;
};

Refusal Refuse(std::int64_t allowed, const std::function<Status()>& step) {
  const testing::ScopedLog log;
  Refusal outcome;
  testing::RefuseMemoryAfter(allowed);
  try {
    outcome.status = step();
  } catch (const std::bad_alloc&) {
    outcome.threw = true;
  }
  testing::GrantMemory();
  outcome.lines = log.lines();
  return outcome;
}

// Of all that may be refused, only the digits have words of their own.
void ExpectWordsForTheDigits(const Refusal& outcome) {
  EXPECT_FALSE(outcome.threw);
  EXPECT_EQ(outcome.status, kMemory);
  EXPECT_EQ(outcome.lines,
            (std::vector<testing::LogLine>{{0, u"No enough memory for converting buffer to byte string."}}));
}

TEST(MemoryRefused, ForTheDigitsOfOutputContent) {
  const auto Try = [](std::int64_t allowed) {
    XMLDOMHelper helper;
    helper.CreateDocument();
    Refusal outcome = Refuse(allowed, [&] { return helper.SetContent(kUnsafe); });
    outcome.written = testing::TextOf(*helper.GetXml());
    EXPECT_EQ(helper.countedUnits(), outcome.written.size()) << allowed;
    return outcome;
  };
  const Refusal first = Try(0);
  ExpectWordsForTheDigits(first);
  EXPECT_EQ(first.written, u"<JobScriptXMLDescription/>") << "no flag without content";
  for (std::int64_t allowed = 1;; ++allowed) {
    const Refusal later = Try(allowed);
    EXPECT_TRUE(later.lines.empty()) << allowed;
    if (!later.threw) {
      EXPECT_EQ(later.status, kOk);
      break;
    }
  }
}

TEST(MemoryRefused, ForTheDigitsOfAnElementsContent) {
  const auto document = xml::Document::New();
  ASSERT_TRUE(document->LoadXml(u"<a>x</a>"));
  const XMLElementRef root(document->DocumentElement());
  ExpectWordsForTheDigits(Refuse(0, [&] { return WriteContent(root, kUnsafe); }));
  EXPECT_EQ(testing::TextOf(*document), u"<a>x</a>");
  EXPECT_EQ(WriteContent(root, kUnsafe), kOk);
}

TEST(MemoryRefused, WhileReadingElements) {
  const auto document = xml::Document::New();
  ASSERT_TRUE(document->LoadXml(u"<r><a flag='binary'>" + WideString(400, u'1') + u"</a><a flag='bin_utf8'>" +
                                WideString(400, u'6') + u"</a><a><b>" + WideString(100, u'x') + u"</b>" +
                                WideString(100, u'y') + u"</a></r>"));
  const XMLElementRef root(document->DocumentElement());
  RefuseEachInTurn([&] {
    auto children = EnumChildren(root);
    while (children->Next()) {
      WideString out;
      ReadContent(children->current(), out);
    }
    if (document->GetElementsByTagName(root.element().get(), u"a").Length() != 3) {
      GTEST_NONFATAL_FAILURE_("nodes lost");
    }
  });
}

}  // namespace
}  // namespace sbx
