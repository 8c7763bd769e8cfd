#include "xml/native/native_document.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/string_sink.h"
#include "xml/document.h"

namespace sbx::xml {
namespace {

using testing::StringSink;
using testing::TextOf;

class ADocument : public ::testing::Test {
 protected:
  NodeRef Load(WideView text) {
    EXPECT_TRUE(document_->LoadXml(text));
    return document_->DocumentElement();
  }
  NodeRef Append(const NodeRef& parent, WideView name) {
    NodeRef child = document_->CreateElement(name);
    EXPECT_TRUE(document_->AppendChild(parent.get(), child.get()));
    return child;
  }
  WideString NameOf(const NodeRef& element) {
    return element ? WideString(document_->TagName(element.get()).value()) : u"(null)";
  }
  WideString Names(NodeList list) {
    WideString names;
    while (const NodeRef node = list.Next()) names += NameOf(node) + u" ";
    return names;
  }
  WideString Children(const NodeRef& element) { return Names(document_->SelectChildElements(element.get())); }
  WideString Text(const NodeRef& element) { return WideString(document_->GetText(element.get()).value()); }

  std::unique_ptr<Document> document_ = Document::New();
};

TEST_F(ADocument, IsEmptyAtFirst) {
  EXPECT_FALSE(document_->DocumentElement());
  EXPECT_EQ(TextOf(*document_), u"");
}

TEST_F(ADocument, HasTheRootThatItLoaded) {
  EXPECT_EQ(NameOf(Load(u"<!-- x --><?y?><root/>")), u"root");
}

TEST_F(ADocument, LoadsAgainFromScratch) {
  Load(u"<a/>");
  EXPECT_EQ(NameOf(Load(u"<b/>")), u"b");
  EXPECT_EQ(TextOf(*document_), u"<b/>");
  EXPECT_FALSE(document_->LoadXml(u"<c>"));
  EXPECT_FALSE(document_->DocumentElement());
  EXPECT_EQ(TextOf(*document_), u"");
}

TEST_F(ADocument, LoadsAgainBehindManyComments) {
  WideString front;
  for (int i = 0; i < 50; ++i) front += u"<!---->";
  for (const WideView name : {u"a", u"b", u"c"}) {
    EXPECT_EQ(NameOf(Load(front + u"<" + WideString(name) + u"/>")), name);
    EXPECT_EQ(NameOf(document_->DocumentElement()), name);
  }
}

TEST_F(ADocument, RefusesBadNames) {
  EXPECT_TRUE(document_->CreateElement(u"a:b"));
  EXPECT_FALSE(document_->CreateElement(u""));
  EXPECT_FALSE(document_->CreateElement(u"1a"));
  EXPECT_FALSE(document_->CreateElement(u"a b"));
  EXPECT_FALSE(document_->CreateElement(u"a b")) << "the second time too";
  EXPECT_FALSE(document_->CreateElement(u"a>"));
  EXPECT_FALSE(document_->CreateElement(WideView(u"a\0", 2)));
  const NodeRef root = Load(u"<r/>");
  EXPECT_FALSE(document_->SetAttribute(root.get(), u"1", u"x"));
  EXPECT_FALSE(document_->SetAttribute(root.get(), u"", u"x"));
}

TEST_F(ADocument, AppendsAsTheLastChild) {
  const NodeRef root = Load(u"<r>t</r>");
  const NodeRef a = Append(root, u"a");
  Append(a, u"b");
  Append(root, u"c");
  EXPECT_EQ(TextOf(*document_), u"<r>t<a><b/></a><c/></r>");
}

TEST_F(ADocument, AppendsABranchBuiltBefore) {
  const NodeRef root = Load(u"<r/>");
  const NodeRef a = document_->CreateElement(u"a");
  Append(a, u"b");
  EXPECT_EQ(TextOf(*document_), u"<r/>");
  EXPECT_TRUE(document_->AppendChild(root.get(), a.get()));
  EXPECT_EQ(TextOf(*document_), u"<r><a><b/></a></r>");
}

TEST_F(ADocument, RefusesToAppendWhatWasAppended) {
  const NodeRef root = Load(u"<r/>");
  const NodeRef a = Append(root, u"a");
  const NodeRef b = Append(root, u"b");
  EXPECT_FALSE(document_->AppendChild(b.get(), a.get())) << "moved";
  EXPECT_FALSE(document_->AppendChild(root.get(), a.get())) << "twice";
  EXPECT_FALSE(document_->AppendChild(a.get(), root.get())) << "the root";
  ASSERT_TRUE(document_->PutText(root.get(), u""));
  EXPECT_FALSE(document_->AppendChild(root.get(), a.get())) << "detached";
  EXPECT_EQ(TextOf(*document_), u"<r/>");
}

TEST_F(ADocument, RefusesCircles) {
  const NodeRef a = document_->CreateElement(u"a");
  const NodeRef b = Append(Append(a, u"x"), u"b");
  EXPECT_FALSE(document_->AppendChild(a.get(), a.get()));
  EXPECT_FALSE(document_->AppendChild(b.get(), a.get()));
  const NodeRef leaf = document_->CreateElement(u"leaf");
  EXPECT_FALSE(document_->AppendChild(leaf.get(), leaf.get()));
}

TEST_F(ADocument, RefusesNodesThatAreNoElements) {
  const NodeRef root = Load(u"<r/>");
  const NodeRef above = document_->ParentNode(root.get());
  ASSERT_TRUE(above);
  const NodeRef a = document_->CreateElement(u"a");
  EXPECT_FALSE(document_->AppendChild(above.get(), a.get()));
  EXPECT_FALSE(document_->AppendChild(nullptr, a.get()));
  EXPECT_FALSE(document_->AppendChild(root.get(), nullptr));
  EXPECT_FALSE(document_->PutText(above.get(), u"x"));
  EXPECT_FALSE(document_->PutText(nullptr, u"x"));
  EXPECT_FALSE(document_->TagName(above.get()));
  EXPECT_FALSE(document_->GetAttribute(above.get(), u"x"));
  EXPECT_FALSE(document_->SetAttribute(above.get(), u"x", u"y"));
  EXPECT_FALSE(document_->GetText(nullptr));
}

TEST_F(ADocument, GivesTheParent) {
  const NodeRef root = Load(u"<r><a><b/></a></r>");
  const NodeRef a = document_->SelectChildElement(root.get(), u"a");
  const NodeRef b = document_->SelectChildElement(a.get(), u"b");
  EXPECT_EQ(document_->ParentNode(b.get()).get(), a.get());
  EXPECT_EQ(document_->ParentNode(a.get()).get(), root.get());
  EXPECT_FALSE(document_->ParentNode(document_->CreateElement(u"c").get()));
}

TEST_F(ADocument, OwnNodeIsAboveTheRootAndNoElement) {
  const NodeRef root = Load(u"<r/>");
  const NodeRef above = document_->ParentNode(root.get());
  ASSERT_TRUE(above);
  EXPECT_FALSE(document_->AsElement(above.get()));
  EXPECT_FALSE(document_->ParentNode(above.get()));
  EXPECT_EQ(document_->AsElement(root.get()).get(), root.get());
}

struct ChildCase {
  const char16_t* text;
  bool hasChildren;
};

TEST_F(ADocument, CountsEveryNodeAsAChild) {
  const ChildCase cases[] = {{u"<a/>", false},        {u"<a></a>", false},           {u"<a> </a>", true},
                             {u"<a>x</a>", true},     {u"<a><!--c--></a>", true},    {u"<a><?p?></a>", true},
                             {u"<a><b/></a>", true},  {u"<a><!----></a>", true},     {u"<a b='c'/>", false},
                             {u"<a>&#10;</a>", true}, {u"<a><![CDATA[]]></a>", true}};
  for (const ChildCase& c : cases) {
    const NodeRef root = Load(c.text);
    EXPECT_EQ(document_->HasChildNodes(root.get()), c.hasChildren) << std::u16string(c.text).size();
    EXPECT_EQ(TextOf(*document_).find(u"/>") == WideView::npos || !c.hasChildren ||
                  TextOf(*document_) == u"<a><b/></a>",
              true);
  }
}

struct TextCase {
  const char16_t* text;
  const char16_t* expected;
};

TEST_F(ADocument, GivesTextAndCdataOfAllDescendantsUntouched) {
  const TextCase cases[] = {{u"<a/>", u""},
                            {u"<a> x </a>", u" x "},
                            {u"<a>1<b>2<c>3</c></b>4<d/>5</a>", u"12345"},
                            {u"<a>\n<b>1</b>\n<b>2</b>\n</a>", u"\n1\n2\n"},
                            {u"<a>1<!--x-->2<?y z?>3</a>", u"123"},
                            {u"<a><!--x--></a>", u""},
                            {u"<a><?y z?></a>", u""},
                            {u"<a><![CDATA[<&]]></a>", u"<&"},
                            {u"<a><b><![CDATA[1]]>2</b><![CDATA[]]></a>", u"12"},
                            {u"<a><b>1</b></a>", u"1"},
                            {u"<a><b/></a>", u""}};
  for (const TextCase& c : cases) EXPECT_EQ(Text(Load(c.text)), c.expected);
}

TEST_F(ADocument, GivesTextOfABranchOnly) {
  const NodeRef root = Load(u"<r>1<a>2<b>3</b></a>4</r>");
  EXPECT_EQ(Text(document_->SelectChildElement(root.get(), u"a")), u"23");
}

TEST_F(ADocument, ReplacesContentWithOneText) {
  const NodeRef root = Load(u"<r>1<a>2</a><!--3--></r>");
  EXPECT_TRUE(document_->PutText(root.get(), u" <&>\" "));
  EXPECT_EQ(TextOf(*document_), u"<r> &lt;&amp;&gt;\" </r>");
  EXPECT_EQ(Text(root), u" <&>\" ");
  EXPECT_TRUE(document_->PutText(root.get(), u"\r\n"));
  EXPECT_EQ(Text(root), u"\r\n");
  Append(root, u"b");
  EXPECT_EQ(TextOf(*document_), u"<r>&#13;\n<b/></r>");
}

TEST_F(ADocument, EmptyTextLeavesNoChild) {
  const NodeRef root = Load(u"<r>x</r>");
  EXPECT_TRUE(document_->PutText(root.get(), u""));
  EXPECT_EQ(document_->HasChildNodes(root.get()), false);
  EXPECT_EQ(document_->GetText(root.get()), u"");
  EXPECT_EQ(TextOf(*document_), u"<r/>");
}

TEST_F(ADocument, TakesItsOwnTextAsContent) {
  const NodeRef root = Load(u"<r>1<a>2</a></r>");
  EXPECT_TRUE(document_->PutText(root.get(), document_->GetText(root.get()).value()));
  EXPECT_EQ(TextOf(*document_), u"<r>12</r>");
  EXPECT_TRUE(document_->PutText(root.get(), document_->GetText(root.get()).value()));
  EXPECT_EQ(TextOf(*document_), u"<r>12</r>");
}

TEST_F(ADocument, DetachedChildrenStayUsable) {
  const NodeRef root = Load(u"<r><a><b>1</b></a></r>");
  const NodeRef a = document_->SelectChildElement(root.get(), u"a");
  ASSERT_TRUE(document_->PutText(root.get(), u"x"));
  EXPECT_FALSE(document_->ParentNode(a.get()));
  EXPECT_EQ(Text(a), u"1");
  EXPECT_TRUE(document_->PutText(a.get(), u"2"));
  EXPECT_EQ(Text(a), u"2");
  EXPECT_EQ(TextOf(*document_), u"<r>x</r>");
}

TEST_F(ADocument, SelectsChildElements) {
  const NodeRef root = Load(u"<r>t<a><x/></a><!--c--><b/><?p?><a/>t</r>");
  EXPECT_EQ(Children(root), u"a b a ");
  const NodeList list = document_->SelectChildElements(root.get());
  EXPECT_EQ(list.Length(), 3U);
  EXPECT_EQ(NameOf(list.Item(2)), u"a");
  EXPECT_EQ(NameOf(list.Item(1)), u"b");
  EXPECT_EQ(NameOf(list.Item(0)), u"a");
  EXPECT_FALSE(list.Item(3));
  EXPECT_EQ(NameOf(list.Item(1)), u"b") << "after a miss";
}

TEST_F(ADocument, EmptyListsAreASuccess) {
  for (const char16_t* text : {u"<r/>", u"<r>t</r>", u"<r><!--c--></r>"}) {
    const NodeRef root = Load(text);
    NodeList list = document_->SelectChildElements(root.get());
    EXPECT_TRUE(list);
    EXPECT_EQ(list.Length(), 0U);
    EXPECT_FALSE(list.Next());
    EXPECT_FALSE(list.Item(0));
  }
  EXPECT_FALSE(document_->SelectChildElements(nullptr));
  EXPECT_FALSE(NodeList());
}

TEST_F(ADocument, ListsEndAndStayAtTheEnd) {
  const NodeRef root = Load(u"<r><a/>t</r>");
  NodeList list = document_->SelectChildElements(root.get());
  EXPECT_TRUE(list.Next());
  EXPECT_FALSE(list.Next());
  EXPECT_FALSE(list.Next());
}

TEST_F(ADocument, ListsAreSnapshots) {
  const NodeRef root = Load(u"<r><a/><b/><c/></r>");
  NodeList list = document_->SelectChildElements(root.get());
  NodeList moved;
  EXPECT_EQ(NameOf(list.Next()), u"a");
  Append(root, u"d");
  moved = std::move(list);
  EXPECT_EQ(moved.Length(), 3U) << "an append goes on behind the list";
  ASSERT_TRUE(document_->PutText(root.get(), u"gone"));
  EXPECT_EQ(moved.Length(), 3U) << "content replaced";
  EXPECT_EQ(NameOf(moved.Next()), u"b");
  Append(root, u"e");
  EXPECT_EQ(NameOf(moved.Next()), u"c");
  EXPECT_FALSE(moved.Next());
  EXPECT_EQ(NameOf(moved.Item(1)), u"b");
  EXPECT_EQ(Children(root), u"e ");
}

TEST_F(ADocument, SnapshotSurvivesARewriteFarAbove) {
  const NodeRef root = Load(u"<r><x><y><a/><b/></y></x></r>");
  const NodeRef y =
      document_->SelectChildElement(document_->SelectChildElement(root.get(), u"x").get(), u"y");
  NodeList list = document_->SelectChildElements(y.get());
  EXPECT_EQ(NameOf(list.Next()), u"a");
  ASSERT_TRUE(document_->PutText(root.get(), u"gone"));
  EXPECT_EQ(NameOf(list.Next()), u"b");
  EXPECT_FALSE(list.Next());
}

TEST_F(ADocument, AListThatReachedItsEndStaysThereAfterAnAppend) {
  const NodeRef root = Load(u"<r><a/></r>");
  NodeList list = document_->SelectChildElements(root.get());
  EXPECT_TRUE(list.Next());
  Append(root, u"b");
  EXPECT_FALSE(list.Next());
}

TEST_F(ADocument, SelectsTheFirstChildOfAName) {
  const NodeRef root = Load(u"<r><b><a>0</a></b><a>1</a><a>2</a></r>");
  EXPECT_EQ(Text(document_->SelectChildElement(root.get(), u"a")), u"1");
  EXPECT_FALSE(document_->SelectChildElement(root.get(), u"c"));
  EXPECT_FALSE(document_->SelectChildElement(root.get(), u"A"));
  EXPECT_FALSE(document_->SelectChildElement(root.get(), u""));
  EXPECT_FALSE(document_->SelectChildElement(root.get(), u"*"));
  EXPECT_FALSE(document_->SelectChildElement(root.get(), u"b/a"));
  EXPECT_FALSE(document_->SelectChildElement(root.get(), u"1x<")) << "no name at all";
}

// As rules do, which ask for the same child from each record.
TEST_F(ADocument, AskingForTheSameChildAgainIsNoNewSearch) {
  constexpr int kMany = 200000;
  WideString text = u"<r>";
  for (int i = 0; i < kMany; ++i) text += u"<!---->";
  for (int i = 0; i < kMany; ++i) text += u"<x/>";
  const NodeRef root = Load(text + u"<wanted><missing/></wanted></r>");
  const NodeRef wanted = document_->SelectChildElement(root.get(), u"wanted");
  const NodeRef first = document_->SelectChildElement(root.get(), u"x");
  for (int i = 0; i < kMany; ++i) {
    ASSERT_EQ(document_->SelectChildElement(root.get(), u"wanted").get(), wanted.get());
    ASSERT_FALSE(document_->SelectChildElement(root.get(), u"missing"));
    ASSERT_EQ(document_->SelectChildElements(root.get()).Next().get(), first.get());
  }
}

// However many there are, none pushes another out.
TEST_F(ADocument, AskingForManyChildrenInTurnIsNoNewSearch) {
  constexpr int kMany = 100000;
  const auto NameOf = [](int i) { return WideString{u'n', static_cast<char16_t>(u'A' + i)}; };
  WideString text = u"<r>";
  for (int i = 0; i < kMany; ++i) text += u"<!---->";
  for (int i = 0; i < 26; ++i) text += u"<" + NameOf(i) + u"/>";
  const NodeRef root = Load(text + u"</r>");
  for (int i = 0; i < kMany; ++i) {
    const WideString name = NameOf(i % 26);
    ASSERT_EQ(document_->TagName(document_->SelectChildElement(root.get(), name).get()), name);
  }
}

TEST_F(ADocument, ASearchThatIsRememberedFollowsChanges) {
  WideString many;
  for (int i = 0; i < 100; ++i) many += u"<x/>";
  const NodeRef root = Load(u"<r>" + many + u"<a>1</a><b>" + many + u"<a>2</a></b></r>");
  const NodeRef b = document_->SelectChildElement(root.get(), u"b");
  const auto first = [&](const NodeRef& parent, WideView name) {
    const NodeRef child = document_->SelectChildElement(parent.get(), name);
    return child ? Text(child) : u"none";
  };
  EXPECT_EQ(first(root, u"a"), u"1");
  EXPECT_EQ(first(b, u"a"), u"2");
  EXPECT_EQ(first(b, u"b"), u"none");
  ASSERT_TRUE(document_->PutText(Append(b, u"b").get(), u"3"));
  EXPECT_EQ(first(b, u"b"), u"3") << "one that was missing";
  EXPECT_EQ(first(b, u"a"), u"2");
  ASSERT_TRUE(document_->PutText(b.get(), u"gone"));
  EXPECT_EQ(first(b, u"a"), u"none");
  EXPECT_EQ(first(root, u"a"), u"1") << "elsewhere nothing changed";
  Load(u"<r>" + many + u"<a>4</a></r>");
  EXPECT_EQ(first(document_->DocumentElement(), u"a"), u"4");
}

TEST_F(ADocument, FindsDescendantsInDocumentOrder) {
  const NodeRef root = Load(u"<a><b i='1'><a i='2'><a i='3'/></a></b>t<a i='4'/><c/></a>");
  NodeList list = document_->GetElementsByTagName(root.get(), u"a");
  EXPECT_EQ(list.Length(), 3U);
  WideString order;
  while (const NodeRef node = list.Next()) order += document_->GetAttribute(node.get(), u"i").value();
  EXPECT_EQ(order, u"234");
  EXPECT_EQ(document_->GetAttribute(list.Item(0).get(), u"i"), u"2");
  EXPECT_FALSE(list.Item(3));
  EXPECT_FALSE(list.Next());
  const NodeRef b = document_->SelectChildElement(root.get(), u"b");
  EXPECT_EQ(document_->GetElementsByTagName(b.get(), u"a").Length(), 2U) << "of the branch only";
  const NodeList none = document_->GetElementsByTagName(root.get(), u"z");
  EXPECT_TRUE(none);
  EXPECT_EQ(none.Length(), 0U);
  EXPECT_FALSE(document_->GetElementsByTagName(nullptr, u"a"));
}

TEST_F(ADocument, FoundListsSurviveChanges) {
  const NodeRef root = Load(u"<r><x><a/></x><a/></r>");
  NodeList list = document_->GetElementsByTagName(root.get(), u"a");
  ASSERT_TRUE(document_->PutText(root.get(), u""));
  EXPECT_EQ(Names(std::move(list)), u"a a ");
}

TEST_F(ADocument, KeepsAttributesInOrder) {
  const NodeRef root = Load(u"<r b='1' a='2'/>");
  EXPECT_EQ(document_->GetAttribute(root.get(), u"a"), u"2");
  EXPECT_FALSE(document_->GetAttribute(root.get(), u"A"));
  EXPECT_FALSE(document_->GetAttribute(root.get(), u"c"));
  EXPECT_TRUE(document_->SetAttribute(root.get(), u"c", u"3"));
  EXPECT_TRUE(document_->SetAttribute(root.get(), u"b", u"longer than before"));
  EXPECT_TRUE(document_->SetAttribute(root.get(), u"a", u""));
  EXPECT_EQ(document_->GetAttribute(root.get(), u"a"), u"");
  EXPECT_EQ(TextOf(*document_), u"<r b=\"longer than before\" a=\"\" c=\"3\"/>");
}

TEST_F(ADocument, WritesWhatAReaderGivesBack) {
  const NodeRef root = Load(u"<r/>");
  ASSERT_TRUE(document_->SetAttribute(root.get(), u"a", u"<>&\"'\t\n\rx"));
  ASSERT_TRUE(document_->PutText(Append(root, u"t").get(), u"<>&\"'\t\n\rx]]>"));
  const WideString text = TextOf(*document_);
  EXPECT_EQ(text,
            u"<r a=\"&lt;&gt;&amp;&quot;'&#9;&#10;&#13;x\"><t>&lt;&gt;&amp;\"'\t\n&#13;x]]&gt;</t></r>");
  const NodeRef again = Load(text);
  EXPECT_EQ(document_->GetAttribute(again.get(), u"a"), u"<>&\"'\t\n\rx");
  EXPECT_EQ(Text(again), u"<>&\"'\t\n\rx]]>");
}

TEST_F(ADocument, WritesWhatXmlCannotCarryAsItIs) {
  const NodeRef root = Load(u"<r/>");
  const WideString text = {0xD800, u'x', 0xDC00, 0xFFFE, 0xFFFF, 1};
  ASSERT_TRUE(document_->PutText(root.get(), text));
  EXPECT_EQ(TextOf(*document_), u"<r>" + text + u"</r>");
}

TEST_F(ADocument, DeliversLargePieces) {
  const NodeRef root = Load(u"<r/>");
  for (int i = 0; i < 100000; ++i) ASSERT_TRUE(document_->PutText(Append(root, u"e").get(), u"<1>"));
  StringSink sink;
  ASSERT_TRUE(document_->GetXml()->WriteTo(sink));
  EXPECT_EQ(sink.text.size(), 7 + 100000U * 16);
  EXPECT_LT(sink.pieces, 60);
}

TEST_F(ADocument, LargeTextStaysWhole) {
  const WideString clean(1000003, u'x');
  WideString dirty = clean;
  dirty[500000] = u'&';
  const NodeRef root = Load(u"<r/>");
  ASSERT_TRUE(document_->PutText(Append(root, u"a").get(), clean));
  ASSERT_TRUE(document_->PutText(Append(root, u"b").get(), dirty));
  WideString expected = u"<r><a>" + clean + u"</a><b>" + clean.substr(0, 500000) + u"&amp;" +
                        clean.substr(500001) + u"</b></r>";
  EXPECT_EQ(TextOf(*document_), expected);
}

class RefusingSink : public TextSink {
 public:
  explicit RefusingSink(int allowed) : allowed_(allowed) {}
  bool Append(WideView) override {
    ++calls;
    return allowed_-- > 0;
  }
  int calls = 0;

 private:
  int allowed_;
};

TEST_F(ADocument, StopsWritingWhenTheSinkHasEnough) {
  const NodeRef root = Load(u"<r/>");
  for (int i = 0; i < 100000; ++i) ASSERT_TRUE(document_->PutText(Append(root, u"e").get(), u"123"));
  for (const int allowed : {0, 1, 3}) {
    RefusingSink sink(allowed);
    EXPECT_FALSE(document_->GetXml()->WriteTo(sink));
    EXPECT_EQ(sink.calls, allowed + 1);
  }
}

TEST_F(ADocument, CopesWithAMillionLevels) {
  constexpr int kDepth = 1000000;
  WideString text;
  for (int i = 0; i < kDepth; ++i) text += u"<a>";
  text += u"x";
  for (int i = 0; i < kDepth; ++i) text += u"</a>";
  const NodeRef root = Load(text);
  EXPECT_EQ(Text(root), u"x");
  EXPECT_EQ(document_->GetElementsByTagName(root.get(), u"a").Length(), kDepth - 1U);
  EXPECT_EQ(TextOf(*document_), text);
}

TEST_F(ADocument, BuildsAMillionLevels) {
  NodeRef at = Load(u"<a/>");
  for (int i = 1; i < 1000000; ++i) at = Append(at, u"a");
  EXPECT_EQ(TextOf(*document_).size(), 999999U * 7 + 4);
}

TEST_F(ADocument, KnowsManyNames) {
  const NodeRef root = Load(u"<r/>");
  const auto Name = [](int i) {
    WideString name = u"n";
    for (const char digit : std::to_string(i)) name += static_cast<char16_t>(digit);
    return name;
  };
  for (int i = 0; i < 20000; ++i) Append(root, Name(i));
  for (int i = 0; i < 20000; i += 997) {
    EXPECT_EQ(NameOf(document_->SelectChildElement(root.get(), Name(i))), Name(i));
  }
}

// A list that takes an index anew each time, as loaders do.
TEST_F(ADocument, IndexedAccessInOrderTakesLinearTime) {
  const NodeRef root = Load(u"<r/>");
  for (int i = 0; i < 200000; ++i) Append(root, u"e");
  const NodeList list = document_->SelectChildElements(root.get());
  std::size_t count = 0;
  while (list.Item(count)) ++count;
  EXPECT_EQ(count, 200000U);
}

}  // namespace
}  // namespace sbx::xml
