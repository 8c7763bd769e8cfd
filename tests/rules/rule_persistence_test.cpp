// What rules leave behind: their order, and what of their writing stays for later records of the conversion.
#include "rules/rule_fixture.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::RuleTest;

class RulePersistenceTest : public RuleTest {
 protected:
  RulePersistenceTest() {
    rec_ = &AddRecord(u"Rec", 32,
                      {{u"list", u"Job*", 8, 0},
                       {u"count", u"int", 4, 8},
                       {u"kind", u"int", 4, 12},
                       {u"names", u"wchar_t*", 8, 16}});
  }

  void InMemory(std::uint32_t count, std::uint32_t kind) {
    Bytes bytes(40);
    PassInMemory(*rec_, bytes.Put(8, count).Put(12, kind));
  }
  void InXml(const WideString& content) {
    LoadXml(u"<Rec>" + content + u"</Rec>");
    PassInXml(*rec_, Element({u"Rec"}));
  }
  const WideString& Type(WideView item) { return rec_->FindItem(item)->type(); }

  JSStructDesc* rec_;
};

// --- order, on the side of XML -----------------------------------------------------------------------------

TEST_F(RulePersistenceTest, InXmlLaterRulesSeeAndOutdoWhatEarlierOnesWrote) {
  LoadRecRules(
      u"<RuleItem name='list' type='AlterType' alterto='First*'/>"
      u"<RuleItem name='list' type='StructArrayPtr' structname='Entry' num='count'/>");
  InXml(u"<list><Entry/><Entry/></list><count>9</count>");
  EXPECT_EQ(Type(u"list"), u"Entry[2]*");
  LoadRecRules(
      u"<RuleItem name='list' type='StructArrayPtr' structname='Entry' num='count'/>"
      u"<RuleItem name='list' type='AlterType' alterto='First*'/>");
  InXml(u"<list><Entry/><Entry/></list><count>9</count>");
  EXPECT_EQ(Type(u"list"), u"First*") << "in the other order the other one wins";
  EXPECT_EQ(Xml(), u"<Rec><list><Entry/><Entry/></list><count>2</count></Rec>")
      << "the count is revised all the same";
}

TEST_F(RulePersistenceTest, InXmlAConditionSeesTheCountThatAnEarlierRuleRevised) {
  const WideString counting = u"<RuleItem name='list' type='StructArrayPtr' structname='Job' num='count'/>";
  const WideString altering =
      u"<RuleItem name='names' type='AlterType' alterto='int64' ref='count' refmethod='=' refvalue='1'/>";
  LoadRecRules(counting + altering);
  InXml(u"<list><Job/></list><count>7</count>");
  EXPECT_EQ(Type(u"names"), u"int64");
  rec_->FindItem(u"names")->SetType(u"wchar_t*");
  LoadRecRules(altering + counting);
  InXml(u"<list><Job/></list><count>7</count>");
  EXPECT_EQ(Type(u"names"), u"wchar_t*") << "not one that a later rule will revise";
}

TEST_F(RulePersistenceTest, TheSameConditionTwiceIsDecidedByTheLaterRule) {
  LoadRecRules(
      u"<RuleItem name='names' type='AlterType' alterto='int64' ref='kind' refmethod='=' refvalue='1'/>"
      u"<RuleItem name='names' type='AlterType' alterto='uint64' ref='kind' refmethod='=' refvalue='1'/>");
  InMemory(0, 1);
  EXPECT_EQ(Type(u"names"), u"uint64");
  InXml(u"<kind>1</kind>");
  EXPECT_EQ(Type(u"names"), u"uint64");
}

// --- what stays --------------------------------------------------------------------------------------------

TEST_F(RulePersistenceTest, InXmlAnAlteredTypeStaysForLaterInstances) {
  LoadRecRules(
      u"<RuleItem name='names' type='AlterType' alterto='int64' ref='kind' refmethod='=' refvalue='1'/>");
  InXml(u"<kind>0</kind>");
  EXPECT_EQ(Type(u"names"), u"wchar_t*");
  InXml(u"<kind>1</kind>");
  EXPECT_EQ(Type(u"names"), u"int64");
  InXml(u"<kind>0</kind>");
  EXPECT_EQ(Type(u"names"), u"int64") << "not firing restores nothing";
}

TEST_F(RulePersistenceTest, ARuleWithoutAConditionPutsTheTypeBackAtEachInstance) {
  LoadRecRules(
      u"<RuleItem name='names' type='AlterType' alterto='wchar_t*'/>"
      u"<RuleItem name='names' type='AlterType' alterto='int64' ref='kind' refmethod='=' refvalue='1'/>");
  InMemory(0, 1);
  EXPECT_EQ(Type(u"names"), u"int64");
  InMemory(0, 0);
  EXPECT_EQ(Type(u"names"), u"wchar_t*");
  InXml(u"<kind>1</kind>");
  EXPECT_EQ(Type(u"names"), u"int64");
  InXml(u"<kind>0</kind>");
  EXPECT_EQ(Type(u"names"), u"wchar_t*");
}

TEST_F(RulePersistenceTest, ACountedTypeStaysWhereTheRuleDoesNotFireAgain) {
  LoadRecRules(
      u"<RuleItem name='list' type='StructArrayPtr' structname='Job' num='count' ref='kind' refvalue='1'/>");
  InMemory(4, 1);
  InMemory(9, 0);
  EXPECT_EQ(Type(u"list"), u"Job[4]*");
  InXml(u"<list><Job/></list><kind>1</kind>");
  InXml(u"<list><Job/><Job/></list><kind>0</kind>");
  EXPECT_EQ(Type(u"list"), u"Job[1]*");
  InXml(u"<kind>1</kind>");
  EXPECT_EQ(Type(u"list"), u"Job[1]*") << "nor without the item's element";
}

TEST_F(RulePersistenceTest, CountsAreThoseOfEachInstance) {
  LoadRecRules(u"<RuleItem name='list' type='StructArrayPtr' structname='Job' num='count'/>");
  InMemory(4, 0);
  EXPECT_EQ(Type(u"list"), u"Job[4]*");
  InMemory(2, 0);
  EXPECT_EQ(Type(u"list"), u"Job[2]*");
  InXml(u"<list><Job/></list>");
  EXPECT_EQ(Type(u"list"), u"Job[1]*");
  InXml(u"<list/>");
  EXPECT_EQ(Type(u"list"), u"Job[0]*");
}

TEST_F(RulePersistenceTest, ANameListsCommandAndTypeAreThoseOfEachInstanceInMemory) {
  LoadRecRules(u"<RuleItem name='names' type='ConvertNameList' num='count'/>");
  InMemory(2, 0);
  EXPECT_EQ(rec_->FindItem(u"names")->restrictText(), u"[namelist:2]");
  EXPECT_EQ(Type(u"names"), u"wchar_t[0]*");
  InMemory(5, 0);
  EXPECT_EQ(rec_->FindItem(u"names")->restrictText(), u"[namelist:5]");
}

TEST_F(RulePersistenceTest, InXmlANameListsTypeStaysWhereItsElementIsMissing) {
  LoadRecRules(u"<RuleItem name='names' type='ConvertNameList' num='count'/>");
  InXml(u"<names><Name>ab</Name></names>");
  EXPECT_EQ(Type(u"names"), u"wchar_t[3]*");
  InXml(u"");
  EXPECT_EQ(Type(u"names"), u"wchar_t[3]*");
}

TEST_F(RulePersistenceTest, ACopyMadeBeforeThePassKeepsItsTypes) {
  LoadRecRules(u"<RuleItem name='names' type='AlterType' alterto='int64'/>");
  const std::unique_ptr<JSPDBMemDesc> copy = set_.Clone();
  InMemory(0, 0);
  EXPECT_EQ(Type(u"names"), u"int64");
  EXPECT_EQ(copy->FindStruct(u"Rec")->FindItem(u"names")->type(), u"wchar_t*");
}

TEST_F(RulePersistenceTest, ARelocationIsDecidedAnewAtEachInstance) {
  LoadRecRules(
      u"<RuleItem name='kind' type='RelocateStructName' structname='Other' ref='kind' refvalue='1'/>");
  Bytes bytes(40);
  EXPECT_EQ(PassInMemory(*rec_, bytes.Put<std::uint32_t>(12, 1)), u"Other");
  EXPECT_EQ(PassInMemory(*rec_, bytes.Put<std::uint32_t>(12, 0)), u"");
  LoadXml(u"<Rec><kind>1</kind></Rec>");
  EXPECT_EQ(PassInXml(*rec_, Element({u"Rec"})), u"Other");
  LoadXml(u"<Rec><kind>0</kind></Rec>");
  EXPECT_EQ(PassInXml(*rec_, Element({u"Rec"})), u"");
}

}  // namespace
}  // namespace sbx
