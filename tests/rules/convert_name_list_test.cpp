#include <optional>

#include "rules/rule_fixture.h"
#include "support/edge_of_memory.h"
#include "support/failing_document.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::DomCall;
using ::sbx::testing::EdgeOfMemory;
using ::sbx::testing::LogLine;
using ::sbx::testing::RuleTest;
using ::sbx::testing::ScopedFailures;

using Lines = std::vector<LogLine>;
using namespace std::string_view_literals;

class ConvertNameListTest : public RuleTest {
 protected:
  ConvertNameListTest() {
    rec_ = &AddRecord(u"Rec", 32, {{u"count", u"int", 4, 0}, {u"names", u"wchar_t*", 8, 8}});
    names_ = rec_->FindItem(u"names");
    names_->SetRestrict(u"[fmt:hex]");
  }

  void LoadRule(const WideString& attributes) {
    LoadRecRules(u"<RuleItem type='ConvertNameList' name='names' " + attributes + u"/>");
  }
  // A record with a count, and a pointer to a run of units.
  void InMemory(std::uint32_t count, WideView run) {
    Bytes text(run.size() * sizeof(char16_t));
    for (std::size_t i = 0; i < run.size(); ++i) text.Put(i * sizeof(char16_t), run[i]);
    Bytes bytes(40);
    Pass(bytes.Put(0, count).Point(8, text));
  }
  void Pass(const Bytes& bytes) {
    log_.Clear();
    EXPECT_EQ(PassInMemory(*rec_, bytes), u"");
  }
  // The document's text after a pass.
  WideString InXml(const WideString& content) {
    LoadXml(u"<Rec>" + content + u"</Rec>");
    log_.Clear();
    EXPECT_EQ(PassInXml(*rec_, Element({u"Rec"})), u"");
    const WideString text = Xml();
    return text.substr(5, text.size() - 11);
  }

  JSStructDesc* rec_;
  JSStructItemDesc* names_;
};

// --- memory ------------------------------------------------------------------------------------------------

struct RunCase {
  std::uint32_t count;
  WideView run;
  WideView type;
  WideView command;
  const char* why;
};

constexpr RunCase kRuns[] = {
    {2, u"ab\0c\0\0d\0\0"sv, u"wchar_t[5]*", u"[namelist:2]", "terminators of the names passed count"},
    {3, u"ab\0c\0\0d\0\0"sv, u"wchar_t[5]*", u"[namelist:3]", "an empty string ends the run"},
    {1, u"ab\0c\0\0d\0\0"sv, u"wchar_t[3]*", u"[namelist:1]", "as does the count"},
    {0, u"ab\0c\0\0d\0\0"sv, u"wchar_t[0]*", u"[namelist:0]", "no names at all"},
    {2, u"\0ab\0"sv, u"wchar_t[0]*", u"[namelist:2]", "an empty string at the start"},
    {0xFFFFFFFF, u"a\0\0"sv, u"wchar_t[2]*", u"[namelist:-1]", "the count is unsigned, its text is not"},
};

TEST_F(ConvertNameListTest, InMemoryTheRunIsMeasuredAndTheCountBecomesACommand) {
  for (const RunCase& row : kRuns) {
    LoadRule(u"num='count'");
    InMemory(row.count, row.run);
    EXPECT_EQ(names_->type(), row.type) << row.why;
    EXPECT_EQ(names_->restrictText(), row.command) << row.why;
    EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=names num=count}."}})) << row.why;
  }
}

TEST_F(ConvertNameListTest, InMemoryANullOrUnreadableListIsEmpty) {
  LoadRule(u"num='count'");
  for (const std::uint64_t list : {std::uint64_t{0}, std::uint64_t{8}, ~std::uint64_t{0}}) {
    names_->SetType(u"wchar_t*");
    Pass(Bytes(40).Put<std::uint32_t>(0, 4).Put(8, list));
    EXPECT_EQ(names_->type(), u"wchar_t[0]*");
    EXPECT_EQ(names_->restrictText(), u"[namelist:4]");
  }
}

TEST_F(ConvertNameListTest, InMemoryASlotThatCannotBeReadCountsAsNull) {
  LoadRule(u"num='count'");
  names_->offset = 36;
  const EdgeOfMemory edge(40);
  edge.data()[0] = 4;
  edge.data()[36] = 'a';  // would be a name if the slot were taken for the list
  memory_.Forget();
  WideString relocated;
  B2XApplyRuleForJSStruct(set_, *rec_, edge.address(), relocated);
  EXPECT_EQ(names_->type(), u"wchar_t[0]*");
  EXPECT_EQ(names_->restrictText(), u"[namelist:4]");
}

TEST_F(ConvertNameListTest, InMemoryARunThatLeavesMemoryCountsItsWholeNames) {
  LoadRule(u"num='count'");
  const EdgeOfMemory edge(12);  // "ab", its zero, and three units of a name without an end
  std::memcpy(edge.data(), u"ab\0cde", 12);
  Pass(Bytes(40).Put<std::uint32_t>(0, 9).Put(8, edge.address()));
  EXPECT_EQ(names_->type(), u"wchar_t[3]*");
  EXPECT_EQ(names_->restrictText(), u"[namelist:9]");
}

TEST_F(ConvertNameListTest, InMemoryARunMayEndWithMemory) {
  LoadRule(u"num='count'");
  const EdgeOfMemory edge(6);
  std::memcpy(edge.data(), u"ab", 6);
  Pass(Bytes(40).Put<std::uint32_t>(0, 0xFFFFFFFF).Put(8, edge.address()));
  EXPECT_EQ(names_->type(), u"wchar_t[3]*");
}

TEST_F(ConvertNameListTest, InMemoryAFailedCountLeavesTheTypeAndShowsTheNumberLastRead) {
  LoadRule(u"num='missing'");
  InMemory(2, u"ab\0c\0\0"sv);
  EXPECT_EQ(names_->type(), u"wchar_t*");
  EXPECT_EQ(names_->restrictText(), u"[namelist:0]") << "0 at first";
  EXPECT_EQ(
      log_.lines(),
      (Lines{
          {2, u"Get value from binary: Struct item mismatch between rule and pdb(Struct=Rec path=missing)"},
          {4, u"{ConvertNameList: name=names num=missing}."}}));
}

TEST_F(ConvertNameListTest, InMemoryTheNumberLastReadIsThatOfAnEarlierInstance) {
  AddRecord(u"Sub", 8, {{u"count", u"int", 4, 0}});
  rec_->AddItem(u"sub", u"Sub*", 8, 16, {}, {});
  LoadRule(u"num='sub.count'");
  Bytes sub(16);
  sub.Put<std::uint32_t>(0, 3);
  Bytes text(16);
  Bytes bytes(40);
  Pass(bytes.Point(8, text.Put(0, u'a')).Point(16, sub));
  EXPECT_EQ(names_->restrictText(), u"[namelist:3]");
  EXPECT_EQ(names_->type(), u"wchar_t[2]*");
  Pass(bytes.Put<std::uint64_t>(16, 0).Put<std::uint64_t>(8, 0));
  EXPECT_EQ(names_->restrictText(), u"[namelist:3]");
  EXPECT_EQ(names_->type(), u"wchar_t[2]*") << "and the type is that of the earlier instance, too";
}

TEST_F(ConvertNameListTest, InMemoryAnOverflowingCountMeasuresWithTheNumberLastRead) {
  LoadRule(u"num='..\\count'");
  InMemory(2, u"ab\0\0"sv);
  EXPECT_EQ(names_->type(), u"wchar_t[0]*");
  EXPECT_EQ(names_->restrictText(), u"[namelist:0]");
}

TEST_F(ConvertNameListTest, InMemoryWithoutNumOnlyTheCommandIsSet) {
  LoadRule(u"");
  names_->SetType(u"wchar_t[8]");
  InMemory(2, u"ab\0c\0\0"sv);
  EXPECT_EQ(names_->type(), u"wchar_t[8]");
  EXPECT_EQ(names_->restrictText(), u"[namelist]");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=names}."}}));
}

TEST_F(ConvertNameListTest, InMemoryAnItemThatTheRecordLacksChangesNothing) {
  for (const WideView num : {u"num='count'", u""}) {
    LoadRecRules(u"<RuleItem type='ConvertNameList' name='nowhere' " + WideString(num) + u"/>");
    InMemory(2, u"ab\0c\0\0"sv);
    EXPECT_EQ(names_->type(), u"wchar_t*");
    EXPECT_EQ(names_->restrictText(), u"[fmt:hex]");
    EXPECT_EQ(log_.lines(), Lines{});
  }
}

// --- XML, one name -----------------------------------------------------------------------------------------

struct NameCase {
  std::int32_t size;  // of the item
  WideView content;
  WideView codes;
  const char* why;
};

constexpr NameCase kNames[] = {
    {1, u"<names>Hi</names>", u"72 105 0 ", "each unit as a number, and a zero"},
    {3, u"<names>Hi</names>", u"72 105 0 ", "as long as the size already"},
    {4, u"<names>Hi</names>", u"72 105 0 0 ", "filled up to the size, bytes or not"},
    {8, u"<names>Hi</names>", u"72 105 0 0 0 0 0 0 ", "with zeros"},
    {1, u"<names/>", u"0 ", "no name is a zero"},
    {2, u"<names/>", u"0 0 ", "filled up as well"},
    {1, u"<names> </names>", u"32 0 ", "the blank that stands for an empty name is one"},
    {1, u"<names>\u00e9\ufffd\U0001F600</names>", u"233 65533 55357 56832 0 ", "any unit"},
    {1, u"<names><Name>a</Name>b</names>", u"97 98 0 ", "the element's whole text"},
};

TEST_F(ConvertNameListTest, InXmlANameBecomesADecimalListFilledWithZeros) {
  LoadRule(u"");
  for (const NameCase& row : kNames) {
    names_->size = row.size;
    EXPECT_EQ(InXml(WideString(row.content)), u"<names>" + WideString(row.codes) + u"</names>") << row.why;
    EXPECT_EQ(names_->type(), u"wchar_t*") << row.why;
    EXPECT_EQ(names_->restrictText(), u"[fmt:hex]") << row.why;
    EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=names}."}})) << row.why;
  }
}

TEST_F(ConvertNameListTest, InXmlANameWithAFlagIsReadDecodedAndTheFlagStays) {
  LoadRule(u"");
  names_->size = 1;
  EXPECT_EQ(InXml(u"<names flag='binary'>01003100</names>"), u"<names flag=\"binary\">1 49 0 </names>");
}

TEST_F(ConvertNameListTest, InXmlANameOfAnItemThatTheRecordLacksIsNotFilled) {
  LoadRecRules(u"<RuleItem type='ConvertNameList' name='extra'/>");
  EXPECT_EQ(InXml(u"<extra>A</extra>"), u"<extra>65 0 </extra>");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=extra}."}}));
}

TEST_F(ConvertNameListTest, InXmlAMissingElementLeavesAllAsItIs) {
  for (const WideView num : {u"num='count'", u""}) {
    LoadRule(WideString(num));
    EXPECT_EQ(InXml(u"<count>7</count>"), u"<count>7</count>");
    EXPECT_EQ(names_->revision(), 1u) << "the fixture's own";
    EXPECT_EQ(log_.lines(), Lines{});
  }
}

// --- XML, several names ------------------------------------------------------------------------------------

struct ListCase {
  WideView names;
  WideView after;
  WideView type;
  WideView count;
  const char* why;
};

constexpr ListCase kLists[] = {
    {u"<names><Name>ab</Name><Name>c</Name></names>", u"<names>97 98 0 99 0 </names>", u"wchar_t[5]*", u"2",
     "a number for each unit and a zero for each name"},
    {u"<names><a>ab</a>text<!-- no --><Name/><b><x>c</x>d</b></names>", u"<names>97 98 0 0 99 100 0 </names>",
     u"wchar_t[7]*", u"3", "all child elements count, whatever their names, with their whole text"},
    {u"<names/>", u"<names/>", u"wchar_t[0]*", u"0", "no children and no text"},
    {u"<names>65 66 0 67 0</names>", u"<names>65 66 0 67 0</names>", u"wchar_t[5]*", u"2",
     "a decimal list that stands there already"},
    {u"<names>65 66 0 67 0 </names>", u"<names>65 66 0 67 0 </names>", u"wchar_t[6]*", u"3",
     "one too many with a blank at the end"},
    {u"<names>65 0 0 0 66 0</names>", u"<names>65 0 0 0 66 0</names>", u"wchar_t[6]*", u"4",
     "places may share a blank"},
    {u"<names>65</names>", u"<names>65</names>", u"wchar_t[1]*", u"1", "one number is one name"},
    {u"<names>10 00 100 0</names>", u"<names>10 00 100 0</names>", u"wchar_t[4]*", u"1",
     "only a zero of its own ends a name"},
    {u"<names><!-- only a comment --></names>", u"<names><!-- only a comment --></names>", u"wchar_t[0]*",
     u"0", "the content stays as it is without child elements"},
};

TEST_F(ConvertNameListTest, InXmlNamesBecomeADecimalListAndTheCountIsRevised) {
  for (const ListCase& row : kLists) {
    LoadRule(u"num='count'");
    names_->SetType(u"wchar_t*");
    EXPECT_EQ(InXml(WideString(row.names) + u"<count>9</count>"),
              WideString(row.after) + u"<count>" + WideString(row.count) + u"</count>")
        << row.why;
    EXPECT_EQ(names_->type(), row.type) << row.why;
    EXPECT_EQ(names_->restrictText(), u"[fmt:hex]") << row.why;
    EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=names num=count}."},
                                   {4, u"{Revise value of count from 9 to " + WideString(row.count) + u"}"}}))
        << row.why;
  }
}

TEST_F(ConvertNameListTest, InXmlNamesWithAFlagAreReadDecoded) {
  LoadRule(u"num='count'");
  EXPECT_EQ(InXml(u"<names><Name flag='binary'>01003100</Name></names>"), u"<names>1 49 0 </names>");
}

TEST_F(ConvertNameListTest, InXmlAFlatListWithAFlagIsCountedDecoded) {
  LoadRule(u"num='count'");
  InXml(u"<names flag='binary'>3600350020003000</names>");
  EXPECT_EQ(names_->type(), u"wchar_t[2]*") << "\"65 0\"";
}

TEST_F(ConvertNameListTest, InXmlAnItemThatTheRecordLacksIsFlattenedButNotCounted) {
  LoadRecRules(u"<RuleItem type='ConvertNameList' name='extra' num='count'/>");
  EXPECT_EQ(InXml(u"<extra><Name>A</Name></extra><count>9</count>"), u"<extra>65 0 </extra><count>9</count>");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(ConvertNameListTest, InXmlAFailedCountWalkSkipsTheRevisionOnly) {
  LoadRule(u"num='missing'");
  EXPECT_EQ(InXml(u"<names><Name>A</Name></names><count>9</count>"), u"<names>65 0 </names><count>9</count>");
  EXPECT_EQ(names_->type(), u"wchar_t[2]*");
  EXPECT_EQ(
      log_.lines(),
      (Lines{
          {4, u"{ConvertNameList: name=names num=missing}."},
          {2, u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec path=missing)"}}));
}

TEST_F(ConvertNameListTest, InXmlAMissingCountElementIsLoggedAsRevisedFromNothing) {
  LoadRule(u"num='count'");
  EXPECT_EQ(InXml(u"<names><Name>A</Name></names>"), u"<names>65 0 </names>");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=names num=count}."},
                                 {4, u"{Revise value of count from  to 1}"}}));
}

TEST_F(ConvertNameListTest, InXmlTwoRulesOnOneElementSeeEachOthersText) {
  LoadRecRules(
      u"<RuleItem type='ConvertNameList' name='names' num='count'/>"
      u"<RuleItem type='ConvertNameList' name='names' num='count'/>");
  InXml(u"<names><Name>A</Name></names><count>9</count>");
  EXPECT_EQ(names_->type(), u"wchar_t[3]*") << "the list that the first wrote ends in a blank";
}

// --- XML, a document that refuses --------------------------------------------------------------------------

class ConvertNameListFailureTest : public ConvertNameListTest {
 protected:
  // As InXml, with failures set up between load and pass.
  template <class SetUp>
  WideString InXmlWith(const WideString& content, SetUp setUp) {
    LoadXml(u"<Rec>" + content + u"</Rec>");
    const XMLElementRef rec = Element({u"Rec"});
    log_.Clear();
    setUp();
    EXPECT_EQ(PassInXml(*rec_, rec), u"");
    const WideString text = Xml();
    return text.substr(5, text.size() - 11);
  }

  ScopedFailures failures_;
};

constexpr WideView kCannotWrite = u"Invalid XML info for setting element content.";

TEST_F(ConvertNameListFailureTest, EmptyingThatFailsIsLoggedAndTheRuleGoesOn) {
  LoadRule(u"");
  names_->size = 1;
  EXPECT_EQ(InXmlWith(u"<names>A</names>", [&] { failures_.Fail(DomCall::kPutText); }),
            u"<names>65 0 </names>");
  EXPECT_EQ(log_.lines(), (Lines{{0, WideString(kCannotWrite)}, {4, u"{ConvertNameList: name=names}."}}));
  LoadRule(u"num='count'");
  EXPECT_EQ(InXmlWith(u"<names><Name>A</Name><Name>B</Name></names>",
                      [&] { failures_.Fail(DomCall::kPutText, 2); }),
            u"<names>65 0 66 0 </names>");
  EXPECT_EQ(log_.lines(), (Lines{{0, WideString(kCannotWrite)},
                                 {4, u"{ConvertNameList: name=names num=count}."},
                                 {4, u"{Revise value of count from  to 2}"}}));
}

TEST_F(ConvertNameListFailureTest, WritingTheListThatFailsIsLoggedAndTheRuleGoesOn) {
  LoadRule(u"num='count'");
  EXPECT_EQ(InXmlWith(u"<names><Name>A</Name></names><count>9</count>",
                      [&] { failures_.Fail(DomCall::kPutText, 2); }),
            u"<names><Name/></names><count>1</count>");
  EXPECT_EQ(names_->type(), u"wchar_t[2]*");
}

TEST_F(ConvertNameListFailureTest, ACountThatCannotBeWrittenIsLoggedAsRevised) {
  LoadRule(u"num='count'");
  EXPECT_EQ(InXmlWith(u"<names/><count>9</count>", [&] { failures_.Fail(DomCall::kPutText); }),
            u"<names/><count>9</count>");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{ConvertNameList: name=names num=count}."},
                                 {0, WideString(kCannotWrite)},
                                 {4, u"{Revise value of count from 9 to 0}"}}));
}

TEST_F(ConvertNameListFailureTest, AFailedQueryForChildrenCountsNone) {
  LoadRule(u"num='count'");
  EXPECT_EQ(InXmlWith(u"<names><Name>65 0</Name></names><count>9</count>",
                      [&] { failures_.Fail(DomCall::kSelectChildElements); }),
            u"<names><Name>65 0</Name></names><count>1</count>")
      << "the element's text is then taken for a list";
  EXPECT_EQ(names_->type(), u"wchar_t[2]*");
}

TEST_F(ConvertNameListFailureTest, AnEnumerationThatEndsEarlyWritesWhatItHad) {
  LoadRule(u"num='count'");
  EXPECT_EQ(InXmlWith(u"<names><Name>A</Name><Name>B</Name></names><count>9</count>",
                      [&] { failures_.Fail(DomCall::kListNext, 2); }),
            u"<names>65 0 </names><count>2</count>")
      << "the names are those of the list's length";
  EXPECT_EQ(names_->type(), u"wchar_t[2]*");
  EXPECT_EQ(InXmlWith(u"<names><Name>A</Name></names><count>9</count>",
                      [&] { failures_.Fail(DomCall::kListNext); }),
            u"<names/><count>1</count>");
  EXPECT_EQ(names_->type(), u"wchar_t[0]*");
}

TEST_F(ConvertNameListFailureTest, TextThatCannotBeReadIsEmpty) {
  LoadRule(u"");
  names_->size = 1;
  EXPECT_EQ(InXmlWith(u"<names>A</names>", [&] { failures_.Fail(DomCall::kGetText); }), u"<names>0 </names>");
}

TEST_F(ConvertNameListFailureTest, ACountThatIsGoneWhenItIsWrittenIsNotLoggedAsRevised) {
  AddRecord(u"Sub", 8, {{u"count", u"int", 4, 0}});
  rec_->AddItem(u"sub", u"Sub", 8, 16, {}, {});
  LoadRule(u"num='sub.count'");
  EXPECT_EQ(InXmlWith(u"<names/><sub><count>9</count></sub>",
                      [&] { failures_.Fail(DomCall::kSelectChildElement, 4); }),
            u"<names/><sub><count>9</count></sub>");
  EXPECT_EQ(
      log_.lines(),
      (Lines{{4, u"{ConvertNameList: name=names num=sub.count}."},
             {2, u"Get value from xml: Struct mismatch between rule and xml(Struct=Rec path=sub.count)"}}));
}

TEST_F(ConvertNameListFailureTest, AStructArrayPtrCountsNoneWhenItsQueryFails) {
  LoadRecRules(u"<RuleItem type='StructArrayPtr' name='names' structname='Job' num='count'/>");
  EXPECT_EQ(InXmlWith(u"<names><Job/></names><count>9</count>",
                      [&] { failures_.Fail(DomCall::kSelectChildElements); }),
            u"<names><Job/></names><count>0</count>");
  EXPECT_EQ(names_->type(), u"Job[0]*");
}

}  // namespace
}  // namespace sbx
