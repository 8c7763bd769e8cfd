#include "rules/rule_fixture.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::LogLine;
using ::sbx::testing::RuleTest;

using Lines = std::vector<LogLine>;

class RelocateStructNameTest : public RuleTest {
 protected:
  RelocateStructNameTest() {
    rec_ = &AddRecord(u"Rec", 16, {{u"kind", u"short", 2, 0}, {u"byte", u"char", 1, 2}});
  }

  void LoadRule(const WideString& attributes) {
    LoadRecRules(u"<RuleItem type='RelocateStructName' name='why' " + attributes + u"/>");
  }
  WideString InMemory(std::uint16_t kind) {
    log_.Clear();
    Bytes bytes(24);
    return PassInMemory(*rec_, bytes.Put(0, kind));
  }
  WideString InXml(const WideString& content) {
    LoadXml(u"<Rec>" + content + u"</Rec>");
    log_.Clear();
    return PassInXml(*rec_, Element({u"Rec"}));
  }

  JSStructDesc* rec_;
};

TEST_F(RelocateStructNameTest, WithoutAConditionItFiresAtEachVisitOnBothSides) {
  LoadRule(u"structname='Other'");
  const Lines line{{4, u"{RelocateStructName: name=why structname=Other}."}};
  for (int visit = 0; visit < 2; ++visit) {
    EXPECT_EQ(InMemory(0), u"Other")
        << "no record is looked up here, so an unknown one is named all the same";
    EXPECT_EQ(log_.lines(), line);
    EXPECT_EQ(InXml(u""), u"Other");
    EXPECT_EQ(log_.lines(), line);
  }
}

TEST_F(RelocateStructNameTest, AConditionIsANumberInMemory) {
  LoadRule(u"structname='Other' ref='kind' refvalue='0x10'");
  EXPECT_EQ(InMemory(15), u"");
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_EQ(InMemory(16), u"Other");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{RelocateStructName: ref=kind refvalue=0x10}."},
                                 {4, u"{RelocateStructName: name=why structname=Other}."}}));
}

TEST_F(RelocateStructNameTest, AConditionIsATextInXml) {
  LoadRule(u"structname='Other' ref='kind' refvalue='0x10'");
  EXPECT_EQ(InXml(u"<kind>16</kind>"), u"");
  EXPECT_EQ(InXml(u"<kind>0x10 </kind>"), u"");
  EXPECT_EQ(InXml(u""), u"") << "a missing element is an empty text";
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_EQ(InXml(u"<kind>0x10</kind>"), u"Other");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{RelocateStructName: ref=kind refvalue=0x10}."},
                                 {4, u"{RelocateStructName: name=why structname=Other}."}}));
}

TEST_F(RelocateStructNameTest, WithoutRefOrRefvalueThereIsNoCondition) {
  for (const WideView attribute : {u"ref='missing'", u"refvalue='1'"}) {
    LoadRule(u"structname='Other' " + WideString(attribute));
    EXPECT_EQ(InMemory(0), u"Other");
    EXPECT_EQ(InXml(u""), u"Other");
    EXPECT_EQ(log_.lines(), (Lines{{4, u"{RelocateStructName: name=why structname=Other}."}}));
  }
}

TEST_F(RelocateStructNameTest, APathThatCannotBeResolvedStopsTheRule) {
  LoadRule(u"structname='Other' ref='byte' refvalue='0'");
  EXPECT_EQ(InMemory(0), u"");
  EXPECT_EQ(log_.lines(),
            (Lines{{2, u"Get value from binary: item size error.(Struct=Rec, path=byte, size=1)"}}));
  LoadRule(u"structname='Other' ref='x' refvalue='0'");
  EXPECT_EQ(InXml(u""), u"");
  EXPECT_EQ(
      log_.lines(),
      (Lines{{2, u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec path=x)"}}));
}

TEST_F(RelocateStructNameTest, AnOverflowingPathComparesWhatWasReadLast) {
  LoadRule(u"structname='Other' ref='..\\kind' refvalue='0'");
  EXPECT_EQ(InMemory(5), u"Other") << "0 at first";
  EXPECT_EQ(InXml(u"<kind>0</kind>"), u"") << "an empty text";
}

TEST_F(RelocateStructNameTest, TheLastRuleThatFiresWins) {
  LoadRecRules(
      u"<RuleItem type='RelocateStructName' name='a' structname='A'/>"
      u"<RuleItem type='RelocateStructName' name='b' structname='B' ref='kind' refvalue='1'/>"
      u"<RuleItem type='RelocateStructName' name='c' structname='C' ref='kind' refvalue='2'/>");
  EXPECT_EQ(InMemory(0), u"A");
  EXPECT_EQ(InMemory(1), u"B");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{RelocateStructName: name=a structname=A}."},
                                 {4, u"{RelocateStructName: ref=kind refvalue=1}."},
                                 {4, u"{RelocateStructName: name=b structname=B}."}}));
  EXPECT_EQ(InXml(u"<kind>2</kind>"), u"C");
}

TEST_F(RelocateStructNameTest, AnEmptyNameTakesAnEarlierRelocationBack) {
  LoadRecRules(
      u"<RuleItem type='RelocateStructName' name='a' structname='A'/>"
      u"<RuleItem type='RelocateStructName' name='b'/>");
  EXPECT_EQ(InMemory(0), u"");
  EXPECT_EQ(InXml(u""), u"");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{RelocateStructName: name=a structname=A}."},
                                 {4, u"{RelocateStructName: name=b structname=}."}}));
}

TEST_F(RelocateStructNameTest, TheRuleChangesNoItem) {
  LoadRecRules(u"<RuleItem type='RelocateStructName' name='kind' structname='Other'/>");
  InMemory(0);
  InXml(u"<kind>1</kind>");
  EXPECT_EQ(rec_->FindItem(u"kind")->revision(), 0u);
  EXPECT_EQ(Xml(), u"<Rec><kind>1</kind></Rec>");
}

}  // namespace
}  // namespace sbx
