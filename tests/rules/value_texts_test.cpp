// Texts that paths from the root lead to: read once, and again when they change.
#include "rules/value_texts.h"

#include <memory>

#include "rule_fixture.h"
#include "support/failing_document.h"

namespace sbx {
namespace {

using testing::DomCall;
using testing::ScopedFailures;

// Nothing is kept of documents whose nodes come and go: their addresses do not tell them apart.
class ValueTextsTest : public testing::RuleTest {
 protected:
  ValueTextsTest() {
    AddRecord(u"Root", 16, {{u"kind", u"int", 4, 0}, {u"count", u"int", 4, 4}, {u"list", u"Rec*", 8, 8}});
    rec_ = &AddRecord(u"Rec", 8, {{u"item", u"int", 4, 0}, {u"kind", u"int", 4, 4}});
    g_conversion.valueTexts = &texts_;
  }

  // The item's type after a pass over the record's element.
  WideString TypeAfterPass(const XMLElementRef& element) {
    rec_->FindItem(u"item")->SetType(u"int");
    PassInXml(*rec_, element);
    return rec_->FindItem(u"item")->type();
  }

  const bool isKept_ = !xml::Document::New()->countsReferences();
  ScopedFailures failures_;
  ValueTexts texts_;
  JSStructDesc* rec_;
};

struct OnceCase {
  const char16_t* rule;
  const char16_t* kind;  // the element that the condition reads
  bool holds;
  const char* why;
};

TEST_F(ValueTextsTest, AConditionOnTheRootReadsItsTextOnce) {
  const OnceCase cases[] = {
      {u"type='AlterType' alterto='uint' ref='Root.kind' refmethod='=' refvalue='12'", u"<kind>12</kind>",
       true, "equal"},
      {u"type='AlterType' alterto='uint' ref='Root.kind' refmethod='=' refvalue='12'",
       u"<kind>1<!---->2<x>3</x></kind>", false, "put together from several nodes"},
      {u"type='AlterType' alterto='uint' ref='Root.kind' refmethod='&amp;' refvalue='4'",
       u"<kind>0000006</kind>", true, "a bit of a number"},
      {u"type='AlterType' alterto='uint' ref='Root.kind' refmethod='|' refvalue='0'",
       u"<kind flag='binary'>31000000</kind>", true, "decoded"},
      {u"type='StructArrayPtr' structname='Rec' num='kind' ref='Root.kind' refvalue='13'", u"<kind>12</kind>",
       false, "another condition"},
  };
  for (const OnceCase& row : cases) {
    SCOPED_TRACE(row.why);
    texts_ = ValueTexts();
    LoadRecRules(u"<RuleItem name='item' " + WideString(row.rule) + u"/>");
    LoadXml(u"<Root>" + WideString(row.kind) + u"<list><item>1</item></list></Root>");
    const int before = failures_.calls(DomCall::kGetText);
    for (int time = 0; time < 10; ++time) {
      EXPECT_EQ(TypeAfterPass(Element({u"Root", u"list"})), row.holds ? u"uint" : u"int");
    }
    EXPECT_EQ(failures_.calls(DomCall::kGetText), before + (isKept_ ? 1 : 10));
  }
}

TEST_F(ValueTextsTest, ARecordsOwnTextIsReadForEachRecord) {
  LoadRecRules(
      u"<RuleItem name='item' type='AlterType' alterto='uint' ref='kind' refmethod='=' refvalue='1'/>");
  LoadXml(u"<Root><a><kind>1</kind></a><b><kind>2</kind></b></Root>");
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(TypeAfterPass(Element({u"Root", u"a"})), u"uint");
    EXPECT_EQ(TypeAfterPass(Element({u"Root", u"b"})), u"int");
  }
}

TEST_F(ValueTextsTest, ARevisedCountIsReadAgain) {
  LoadRecRules(
      u"<RuleItem name='list' type='StructArrayPtr' structname='Rec' num='Root.count'/>"
      u"<RuleItem name='item' type='AlterType' alterto='uint' ref='Root.count' refmethod='=' refvalue='2'/>");
  rec_->AddItem(u"list", u"Rec*", 8, 0, u"", u"");
  LoadXml(
      u"<Root><count>7</count><a><list><Rec/></list></a><b><list><Rec/><Rec/></list></b>"
      u"<c><list/></c></Root>");
  EXPECT_EQ(TypeAfterPass(Element({u"Root", u"a"})), u"int");
  EXPECT_EQ(TypeAfterPass(Element({u"Root", u"b"})), u"uint");
  EXPECT_EQ(TypeAfterPass(Element({u"Root", u"c"})), u"int");
  EXPECT_EQ(Xml(),
            u"<Root><count>0</count><a><list><Rec/></list></a><b><list><Rec/><Rec/></list></b>"
            u"<c><list/></c></Root>");
}

TEST_F(ValueTextsTest, ANameListIsReadAgainInTheTextAroundIt) {
  LoadRecRules(
      u"<RuleItem name='names' type='ConvertNameList' num='kind'/>"
      u"<RuleItem name='item' type='AlterType' alterto='uint' ref='Root.list' refmethod='=' "
      u"refvalue='65 0 1'/>");
  rec_->AddItem(u"names", u"wchar_t*", 8, 0, u"", u"");
  LoadXml(u"<Root><list><names><Name>A</Name></names><kind>5</kind></list></Root>");
  if (isKept_) {
    EXPECT_EQ(texts_.Of(Element({u"Root", u"list"})).text, u"A5");
  }
  EXPECT_EQ(TypeAfterPass(Element({u"Root", u"list"})), u"uint");
}

TEST_F(ValueTextsTest, AChangeElsewhereForgetsNothing) {
  if (!isKept_) GTEST_SKIP() << "nothing is kept here";
  LoadXml(u"<Root><kind>1</kind><list><item>2</item></list></Root>");
  const KeptText* const kept = &texts_.Of(Element({u"Root", u"kind"}));
  EXPECT_EQ(kept->number, 1U);
  const int before = failures_.calls(DomCall::kGetText);
  EXPECT_EQ(ReplaceContent(Element({u"Root", u"list", u"item"}), u"3"), kOk);
  EXPECT_EQ(&texts_.Of(Element({u"Root", u"kind"})), kept);
  EXPECT_EQ(failures_.calls(DomCall::kGetText), before);
  EXPECT_EQ(texts_.Of(Element({u"Root"})).text, u"13");
  EXPECT_EQ(ReplaceContent(Element({u"Root", u"kind"}), u"0x10"), kOk);
  EXPECT_EQ(texts_.Of(Element({u"Root", u"kind"})).number, 16U);
  EXPECT_EQ(texts_.Of(Element({u"Root"})).text, u"0x103");
}

}  // namespace
}  // namespace sbx
