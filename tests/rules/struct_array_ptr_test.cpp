#include "rules/rule_fixture.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::LogLine;
using ::sbx::testing::RuleTest;

using Lines = std::vector<LogLine>;

class StructArrayPtrTest : public RuleTest {
 protected:
  StructArrayPtrTest() {
    rec_ = &AddRecord(u"Rec", 32,
                      {{u"list", u"Job*", 8, 0},
                       {u"count", u"int", 4, 8},
                       {u"kind", u"int", 4, 12},
                       {u"wide", u"__int64", 8, 16},
                       {u"sub", u"Sub", 8, 24}});
    AddRecord(u"Sub", 8, {{u"count", u"int", 4, 0}, {u"list", u"Job*", 8, 0}});
  }

  void LoadRule(const WideString& attributes) {
    LoadRecRules(u"<RuleItem type='StructArrayPtr' name='list' " + attributes + u"/>");
  }
  static Bytes Instance(std::uint32_t count, std::uint32_t kind) {
    Bytes bytes(40);
    bytes.Put(8, count).Put(12, kind);
    return bytes;
  }
  const WideString& TypeInMemory(const Bytes& bytes) {
    log_.Clear();
    EXPECT_EQ(PassInMemory(*rec_, bytes), u"");
    return rec_->FindItem(u"list")->type();
  }
  const WideString& TypeInXml(const WideString& document) {
    LoadXml(document);
    log_.Clear();
    EXPECT_EQ(PassInXml(*rec_, Element({u"Rec"})), u"");
    return rec_->FindItem(u"list")->type();
  }

  JSStructDesc* rec_;
};

// --- memory ------------------------------------------------------------------------------------------------

TEST_F(StructArrayPtrTest, InMemoryTheCountComesFromTheItemThatNumNames) {
  LoadRule(u"structname='Job' num='count'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job[4]*");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job* to Job[4]*}"}}));
  EXPECT_EQ(TypeInMemory(Instance(0, 0)), u"Job[0]*") << "a count of 0 is written as it is";
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job[4]* to Job[0]*}"}}));
  EXPECT_EQ(TypeInMemory(Instance(0xFFFFFFFF, 0)), u"Job[-1]*") << "and taken as signed";
}

TEST_F(StructArrayPtrTest, InMemoryAnUnchangedTypeIsLoggedAllTheSame) {
  LoadRule(u"structname='Job' num='count'");
  TypeInMemory(Instance(4, 0));
  const std::uint32_t revision = rec_->FindItem(u"list")->revision();
  TypeInMemory(Instance(4, 0));
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job[4]* to Job[4]*}"}}));
  EXPECT_EQ(rec_->FindItem(u"list")->revision(), revision);
}

TEST_F(StructArrayPtrTest, InMemoryNumAndRefArePaths) {
  LoadRule(u"structname='Job' num='sub.count' ref='Root.id' refvalue='3'");
  AddRecord(u"Root", 8, {{u"id", u"short", 2, 0}});
  Bytes root(16);
  root.Put<std::uint16_t>(0, 3);
  NameRoot(u"Root", root.address());
  EXPECT_EQ(TypeInMemory(Instance(4, 0).Put<std::uint32_t>(24, 9)), u"Job[9]*");
}

TEST_F(StructArrayPtrTest, InMemoryTheConditionComparesNumbersWithoutALine) {
  LoadRule(u"structname='Job' num='count' ref='kind' refvalue='0x10'");
  EXPECT_EQ(TypeInMemory(Instance(4, 15)), u"Job*");
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_EQ(TypeInMemory(Instance(4, 16)), u"Job[4]*");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job* to Job[4]*}"}}));
}

TEST_F(StructArrayPtrTest, InMemoryWithoutRefOrRefvalueThereIsNoCondition) {
  LoadRule(u"structname='Job' num='count' ref='missing'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job[4]*");
  LoadRule(u"structname='Job' num='count' refvalue='5'");
  EXPECT_EQ(TypeInMemory(Instance(5, 0)), u"Job[5]*");
}

TEST_F(StructArrayPtrTest, InMemoryAConditionThatCannotBeReadStopsTheRule) {
  LoadRule(u"structname='Job' num='count' ref='missing' refvalue='0'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job*");
  EXPECT_EQ(log_.lines(),
            (Lines{{2,
                    u"Get value from binary: Struct item mismatch between rule and pdb(Struct=Rec "
                    u"path=missing)"}}));
}

TEST_F(StructArrayPtrTest, InMemoryANumThatCannotBeReadStopsTheRule) {
  LoadRule(u"structname='Job' num='wide'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job*");
  LoadRule(u"structname='Job'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job*");
  EXPECT_EQ(
      log_.lines(),
      (Lines{{2, u"Get value from binary: Struct item mismatch between rule and pdb(Struct=Rec path=)"}}));
}

TEST_F(StructArrayPtrTest, InMemoryAnItemThatTheRecordLacksStopsTheRuleInSilence) {
  LoadRecRules(u"<RuleItem type='StructArrayPtr' name='nowhere' structname='Job' num='count'/>");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job*");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(StructArrayPtrTest, InMemoryAnEmptyRecordNameIsWrittenAsItIs) {
  LoadRule(u"num='count'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"[4]*");
}

TEST_F(StructArrayPtrTest, InMemoryAnOverflowingPathUsesTheNumberLastRead) {
  LoadRule(u"structname='Job' num='..\\count'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job[0]*") << "0 at first";
  EXPECT_EQ(log_.lines(),
            (Lines{{2, u"Get value from binary: Previous level of path overflow(path=..\\count)"},
                   {4, u"{Convert type of list from Job* to Job[0]*}"}}));
  LoadRule(u"structname='Job' num='..\\count' ref='kind' refvalue='6'");
  EXPECT_EQ(TypeInMemory(Instance(4, 6)), u"Job[6]*") << "then that of the condition";
}

TEST_F(StructArrayPtrTest, InMemoryTheNumberLastReadOutlivesAConversionButNotALoad) {
  LoadRule(u"structname='Job' num='count' ref='..\\kind' refvalue='7'");
  EXPECT_EQ(TypeInMemory(Instance(7, 0)), u"Job*") << "0 is not 7";
  const WideString rule =
      u"<RuleItem type='StructArrayPtr' name='list' structname='Job' num='count' ref='..\\kind' "
      u"refvalue='0'/>";
  LoadRecRules(rule);
  EXPECT_EQ(TypeInMemory(Instance(7, 0)), u"Job[7]*");
  const std::unique_ptr<JSPDBMemDesc> next = set_.Clone();
  rec_ = next->FindStruct(u"Rec");
  rec_->FindItem(u"list")->SetType(u"Job*");
  EXPECT_EQ(TypeInMemory(Instance(9, 0)), u"Job*") << "7 is kept, and is not 0";
  LoadRecRules(rule);
  EXPECT_EQ(TypeInMemory(Instance(9, 0)), u"Job[9]*") << "a set loaded anew begins with 0";
}

TEST_F(StructArrayPtrTest, ATypeTextHoldsTwoHundredAndFiftyFiveCharacters) {
  const WideString longest(255 - 4, u'J');
  LoadRule(u"structname='" + longest + u"' num='count'");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), longest + u"[4]*");
  LoadRule(u"structname='J" + longest + u"' num='count'");
  rec_->FindItem(u"list")->SetType(u"Job*");
  EXPECT_EQ(TypeInMemory(Instance(4, 0)), u"Job*") << "one more stops the rule";
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/></list><count>7</count></Rec>"), u"Job*");
  EXPECT_EQ(Xml(), u"<Rec><list><Job/></list><count>7</count></Rec>") << "the count stays, too";
  EXPECT_EQ(log_.lines(), Lines{});
}

// --- XML ---------------------------------------------------------------------------------------------------

TEST_F(StructArrayPtrTest, InXmlElementsAreCountedAndTheCountIsRevised) {
  LoadRule(u"structname='Job' num='count'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/>text<Other/><!-- no element --><Job/></list><count>7</count></Rec>"),
            u"Job[3]*");
  EXPECT_EQ(Element({u"Rec", u"count"}) ? Xml().substr(Xml().find(u"<count>")) : u"",
            u"<count>3</count></Rec>");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job* to Job[3]*}"},
                                 {4, u"{Revise value of count from 7 to 3}"}}));
}

TEST_F(StructArrayPtrTest, InXmlTheCountMayStandBeforeTheArrayAndAnywhere) {
  LoadRule(u"structname='Job' num='sub.count'");
  EXPECT_EQ(TypeInXml(u"<Rec><sub><count>1</count></sub><list><Job/><Job/></list></Rec>"), u"Job[2]*");
  EXPECT_EQ(Xml(), u"<Rec><sub><count>2</count></sub><list><Job/><Job/></list></Rec>");
}

TEST_F(StructArrayPtrTest, InXmlAnArrayWithoutElementsCountsNone) {
  LoadRule(u"structname='Job' num='count'");
  EXPECT_EQ(TypeInXml(u"<Rec><list>text</list><count>7</count></Rec>"), u"Job[0]*");
  EXPECT_EQ(Xml(), u"<Rec><list>text</list><count>0</count></Rec>");
}

TEST_F(StructArrayPtrTest, InXmlAMissingArrayLeavesAllAsItIs) {
  LoadRule(u"structname='Job' num='missing' ref='missing' refvalue='1'");
  EXPECT_EQ(TypeInXml(u"<Rec><count>7</count></Rec>"), u"Job*");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(StructArrayPtrTest, InXmlAMissingCountIsLoggedAsRevisedFromNothing) {
  LoadRule(u"structname='Job' num='count'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/></list></Rec>"), u"Job[1]*");
  EXPECT_EQ(Xml(), u"<Rec><list><Job/></list></Rec>");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job* to Job[1]*}"},
                                 {4, u"{Revise value of count from  to 1}"}}));
}

TEST_F(StructArrayPtrTest, InXmlANumThatCannotBeResolvedSkipsTheRevisionOnly) {
  LoadRule(u"structname='Job'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/></list><count>7</count></Rec>"), u"Job[1]*");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job* to Job[1]*}"},
                                 {2,
                                  u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec "
                                  u"path=)"}}));
  LoadRule(u"structname='Job' num='sub.count'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/><Job/></list></Rec>"), u"Job[2]*");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job[1]* to Job[2]*}"},
                                 {2,
                                  u"Get value from xml: Struct mismatch between rule and xml(Struct=Rec "
                                  u"path=sub.count)"}}));
}

TEST_F(StructArrayPtrTest, InXmlAnOverflowingNumIsReportedByBothWalks) {
  LoadRule(u"structname='Job' num='..\\count'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/></list><count>7</count></Rec>"), u"Job[1]*");
  const LogLine overflow{2, u"Get value from binary: Previous level of path overflow(path=..\\count)"};
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{Convert type of list from Job* to Job[1]*}"},
                                 overflow,
                                 overflow,
                                 {4, u"{Revise value of ..\\count from  to 1}"}}));
}

TEST_F(StructArrayPtrTest, InXmlTheConditionComparesTextsAndIsLogged) {
  LoadRule(u"structname='Job' num='count' ref='kind' refvalue='0x10'");
  EXPECT_EQ(TypeInXml(u"<Rec><list/><kind>16</kind></Rec>"), u"Job*");
  EXPECT_EQ(TypeInXml(u"<Rec><list/><kind> 0x10</kind></Rec>"), u"Job*");
  EXPECT_EQ(TypeInXml(u"<Rec><list/></Rec>"), u"Job*") << "a missing element is an empty text";
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_EQ(TypeInXml(u"<Rec><list/><kind>0x10</kind></Rec>"), u"Job[0]*");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{StructArrayPtr: ref=kind refvalue=0x10}"},
                                 {4, u"{Convert type of list from Job* to Job[0]*}"},
                                 {4, u"{Revise value of count from  to 0}"}}));
}

TEST_F(StructArrayPtrTest, InXmlAConditionComparesDecodedContent) {
  LoadRule(u"structname='Job' num='count' ref='kind' refvalue='56'");
  EXPECT_EQ(TypeInXml(u"<Rec><list/><kind flag='binary'>35003600</kind></Rec>"), u"Job[0]*");
}

TEST_F(StructArrayPtrTest, InXmlAConditionThatCannotBeResolvedStopsTheRule) {
  LoadRule(u"structname='Job' num='count' ref='sub.count' refvalue='1'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/></list></Rec>"), u"Job*");
  EXPECT_EQ(log_.lines(), (Lines{{2,
                                  u"Get value from xml: Struct mismatch between rule and xml(Struct=Rec "
                                  u"path=sub.count)"}}));
}

TEST_F(StructArrayPtrTest, InXmlAnOverflowingConditionComparesAnEmptyText) {
  LoadRule(u"structname='Job' num='count' ref='..\\kind' refvalue='1'");
  EXPECT_EQ(TypeInXml(u"<Rec><list/><kind>1</kind></Rec>"), u"Job*");
}

TEST_F(StructArrayPtrTest, InXmlAnItemThatTheRecordLacksStopsTheRuleAfterItsCondition) {
  LoadRecRules(
      u"<RuleItem type='StructArrayPtr' name='extra' structname='Job' num='count' ref='kind' refvalue='1'/>");
  TypeInXml(u"<Rec><extra><Job/></extra><kind>1</kind><count>7</count></Rec>");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{StructArrayPtr: ref=kind refvalue=1}"}}));
  EXPECT_EQ(Xml(), u"<Rec><extra><Job/></extra><kind>1</kind><count>7</count></Rec>");
}

TEST_F(StructArrayPtrTest, InXmlTheRevisionMayRewriteTheArrayItself) {
  LoadRule(u"structname='Job' num='list'");
  EXPECT_EQ(TypeInXml(u"<Rec><list><Job/><Job/></list></Rec>"), u"Job[2]*");
  EXPECT_EQ(Xml(), u"<Rec><list><Job>2</Job><Job/></list></Rec>")
      << "the type has a count by then, so the path leads to the first entry";
  LoadRule(u"structname='Job' num='Rec.list'");
  NameRoot(u"Rec", 0);
  AddRecord(u"Job", 8, {});
  EXPECT_EQ(TypeInXml(u"<Rec><list/></Rec>"), u"Job[0]*");
  EXPECT_EQ(Xml(), u"<Rec><list>0</list></Rec>");
}

}  // namespace
}  // namespace sbx
