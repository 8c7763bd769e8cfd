#include "rules/rule_fixture.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::LogLine;
using ::sbx::testing::RuleTest;

using Lines = std::vector<LogLine>;

class AlterTypeTest : public RuleTest {
 protected:
  AlterTypeTest() {
    rec_ = &AddRecord(u"Rec", 16, {{u"v", u"old", 4, 0}, {u"kind", u"int", 4, 8}, {u"byte", u"char", 1, 12}});
  }

  void LoadRule(const WideString& attributes) {
    LoadRecRules(u"<RuleItem type='AlterType' name='v' " + attributes + u"/>");
  }
  WideString TypeInMemory(std::uint32_t kind) {
    Reset();
    Bytes bytes(24);
    EXPECT_EQ(PassInMemory(*rec_, bytes.Put(8, kind)), u"");
    return rec_->FindItem(u"v")->type();
  }
  WideString TypeInXml(const WideString& content) {
    LoadXml(u"<Rec>" + content + u"</Rec>");
    Reset();
    EXPECT_EQ(PassInXml(*rec_, Element({u"Rec"})), u"");
    return rec_->FindItem(u"v")->type();
  }
  void Reset() {
    rec_->FindItem(u"v")->SetType(u"old");
    log_.Clear();
  }

  JSStructDesc* rec_;
};

TEST_F(AlterTypeTest, WithoutAConditionItFiresAtEachVisitOnBothSides) {
  LoadRule(u"alterto='short'");
  for (int visit = 0; visit < 2; ++visit) {
    const Lines line{{4, u"{AlterType:Convert type of v from old to short}"}};
    EXPECT_EQ(TypeInMemory(0), u"short");
    EXPECT_EQ(log_.lines(), line);
    EXPECT_EQ(TypeInXml(u""), u"short");
    EXPECT_EQ(log_.lines(), line);
  }
}

TEST_F(AlterTypeTest, AConditionThatHoldsIsLoggedFirst) {
  LoadRule(u"alterto='short' ref='kind' refmethod='=' refvalue='2'");
  const Lines lines{{4, u"{AlterType: ref=kind refmethod== refvalue=2}"},
                    {4, u"{AlterType:Convert type of v from old to short}"}};
  EXPECT_EQ(TypeInMemory(2), u"short");
  EXPECT_EQ(log_.lines(), lines);
  EXPECT_EQ(TypeInXml(u"<kind>2</kind>"), u"short");
  EXPECT_EQ(log_.lines(), lines);
  EXPECT_EQ(TypeInMemory(1), u"old");
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_EQ(TypeInXml(u"<kind>1</kind>"), u"old");
  EXPECT_EQ(log_.lines(), Lines{});
}

struct ConditionCase {
  WideView method;
  WideView refvalue;
  std::uint32_t number;  // in memory
  bool inMemory;
  WideView text;  // in XML
  bool inXml;
  const char* why;
};

constexpr ConditionCase kConditions[] = {
    {u"=", u"16", 16, true, u"16", true, "equal in both forms"},
    {u"=", u"0x10", 16, true, u"16", false, "a number in memory, a text in XML"},
    {u"=", u"0x10", 16, true, u"0x10", true, "in the very form of the rule"},
    {u"=", u"0x10", 17, false, u"0X10", false, "unit by unit"},
    {u"=", u"-1", 0xFFFFFFFF, true, u"-1", true, "all 32 bits"},
    {u"=", u"x", 0, true, u"0", false, "no number is 0 in memory"},
    {u"=", u"1", 1, true, u" 1", false, "white space counts"},
    {u"&amp;", u"0x4", 6, true, u"6", true, "a bit in common"},
    {u"&amp;", u"0x4", 3, false, u"3", false, "none"},
    {u"&amp;", u"0x4", 4, true, u"0x4 (name)", false, "hexadecimal text must be digits to its end"},
    {u"&amp;", u"4", 4, true, u"4  (name)", true, "decimal text stops at the blank"},
    {u"&amp;", u"0", 0xFFFFFFFF, false, u"-1", false, "nothing is in common with 0"},
    {u"|", u"1", 0, true, u"0", true, "a value of the rule that is not 0 always holds"},
    {u"|", u"1", 0, true, u"x", true, "whatever stands there"},
    {u"|", u"0", 8, true, u"8", true, "so does one of the record"},
    {u"|", u"0", 0, false, u"0", false, "neither"},
    {u"|", u"x", 0, false, u"x", false, "texts that are no numbers are 0"},
    {u"==", u"1", 1, false, u"1", false, "one character exactly"},
    {u"= ", u"1", 1, false, u"1", false, "without a blank"},
    {u"!", u"1", 0, false, u"0", false, "an unknown method never holds"},
    {u"", u"1", 0, true, u"1", false, "no method: no condition in memory, one that never holds in XML"},
};

TEST_F(AlterTypeTest, MethodsCompareNumbersInMemoryAndTextsOrNumbersInXml) {
  for (const ConditionCase& row : kConditions) {
    LoadRule(u"alterto='short' ref='kind' refmethod='" + WideString(row.method) + u"' refvalue='" +
             WideString(row.refvalue) + u"'");
    EXPECT_EQ(TypeInMemory(row.number), row.inMemory ? u"short" : u"old") << row.why;
    EXPECT_EQ(TypeInXml(u"<kind>" + WideString(row.text) + u"</kind>"), row.inXml ? u"short" : u"old")
        << row.why;
  }
}

TEST_F(AlterTypeTest, AMissingMethodIsNoConditionInMemoryAndHasNoLine) {
  LoadRule(u"alterto='short' ref='missing' refvalue='1'");
  EXPECT_EQ(TypeInMemory(0), u"short");
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{AlterType:Convert type of v from old to short}"}}));
}

TEST_F(AlterTypeTest, WithoutRefOrRefvalueThereIsNoConditionOnEitherSide) {
  for (const WideView attributes : {u"ref='missing' refmethod='='", u"refmethod='=' refvalue='1'"}) {
    LoadRule(u"alterto='short' " + WideString(attributes));
    EXPECT_EQ(TypeInMemory(0), u"short");
    EXPECT_EQ(TypeInXml(u""), u"short");
    EXPECT_EQ(log_.lines(), (Lines{{4, u"{AlterType:Convert type of v from old to short}"}}));
  }
}

TEST_F(AlterTypeTest, InXmlAMissingElementIsAnEmptyText) {
  LoadRule(u"alterto='short' ref='kind' refmethod='=' refvalue='0'");
  EXPECT_EQ(TypeInXml(u""), u"old");
  LoadRule(u"alterto='short' ref='kind' refmethod='|' refvalue='1'");
  EXPECT_EQ(TypeInXml(u""), u"short");
}

TEST_F(AlterTypeTest, InXmlContentIsComparedDecoded) {
  LoadRule(u"alterto='short' ref='kind' refmethod='=' refvalue='56'");
  EXPECT_EQ(TypeInXml(u"<kind flag='binary'>35003600</kind>"), u"short");
}

TEST_F(AlterTypeTest, APathThatCannotBeResolvedStopsTheRule) {
  LoadRule(u"alterto='short' ref='byte' refmethod='|' refvalue='1'");
  EXPECT_EQ(TypeInMemory(0), u"old");
  EXPECT_EQ(log_.lines(),
            (Lines{{2, u"Get value from binary: item size error.(Struct=Rec, path=byte, size=1)"}}));
  LoadRule(u"alterto='short' ref='x' refmethod='|' refvalue='1'");
  EXPECT_EQ(TypeInXml(u""), u"old");
  EXPECT_EQ(
      log_.lines(),
      (Lines{{2, u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec path=x)"}}));
}

TEST_F(AlterTypeTest, AnOverflowingPathComparesWhatWasReadLast) {
  LoadRule(u"alterto='short' ref='..\\kind' refmethod='=' refvalue='0'");
  const LogLine overflow{2, u"Get value from binary: Previous level of path overflow(path=..\\kind)"};
  EXPECT_EQ(TypeInMemory(1), u"short") << "0 at first";
  EXPECT_EQ(log_.lines(), (Lines{overflow,
                                 {4, u"{AlterType: ref=..\\kind refmethod== refvalue=0}"},
                                 {4, u"{AlterType:Convert type of v from old to short}"}}));
  EXPECT_EQ(TypeInXml(u"<kind>0</kind>"), u"old") << "an empty text";
  EXPECT_EQ(log_.lines(), (Lines{overflow}));
}

TEST_F(AlterTypeTest, AnItemThatTheRecordLacksHasNoEffectBeyondTheConditionsLine) {
  LoadRecRules(
      u"<RuleItem type='AlterType' name='w' alterto='short' ref='kind' refmethod='=' refvalue='1'/>");
  const Lines line{{4, u"{AlterType: ref=kind refmethod== refvalue=1}"}};
  EXPECT_EQ(TypeInMemory(1), u"old");
  EXPECT_EQ(log_.lines(), line);
  EXPECT_EQ(TypeInXml(u"<kind>1</kind>"), u"old");
  EXPECT_EQ(log_.lines(), line);
}

struct TextCase {
  WideView alterto;
  WideView type;
  const char* why;
};

constexpr TextCase kTexts[] = {
    {u"", u"old", "an empty text changes nothing"},
    {u"%%", u"%", "two per cent signs are one"},
    {u"a%%b[4]*", u"a%b[4]*", "anywhere"},
    {u"%", u"old", "a lone one vanishes, which leaves nothing"},
    {u"%s", u"old", "a text that is not there is empty"},
    {u"x%sy", u"xy", "also between others"},
    {u"x%dy", u"x0y", "a number that is not there is 0"},
    {u"x%qy", u"xqy", "an unknown conversion loses its per cent sign"},
};

TEST_F(AlterTypeTest, TheNewTypeIsAFormatWithoutArguments) {
  for (const TextCase& row : kTexts) {
    LoadRule(u"alterto='" + WideString(row.alterto) + u"'");
    EXPECT_EQ(TypeInMemory(0), row.type) << row.why;
    EXPECT_EQ(TypeInXml(u""), row.type) << row.why;
    EXPECT_EQ(log_.lines().size(), row.type == u"old" ? 0u : 1u) << row.why;
  }
}

TEST_F(AlterTypeTest, TheNewTypeHoldsTwoHundredAndFiftyFiveCharacters) {
  const WideString longest(255, u't');
  LoadRule(u"alterto='" + longest + u"'");
  EXPECT_EQ(TypeInMemory(0), longest);
  LoadRule(u"alterto='t" + longest + u"' ref='kind' refmethod='=' refvalue='1'");
  EXPECT_EQ(TypeInMemory(1), u"old") << "one more stops the rule";
  EXPECT_EQ(log_.lines(), (Lines{{4, u"{AlterType: ref=kind refmethod== refvalue=1}"}}));
  EXPECT_EQ(TypeInXml(u"<kind>1</kind>"), u"old");
}

TEST_F(AlterTypeTest, TheLastRuleThatFiresDecides) {
  LoadRecRules(
      u"<RuleItem type='AlterType' name='v' alterto='one' ref='kind' refmethod='&amp;' refvalue='1'/>"
      u"<RuleItem type='AlterType' name='v' alterto='two' ref='kind' refmethod='&amp;' refvalue='2'/>"
      u"<RuleItem type='AlterType' name='v' alterto='four' ref='kind' refmethod='&amp;' refvalue='4'/>");
  EXPECT_EQ(TypeInMemory(1), u"one");
  EXPECT_EQ(TypeInMemory(3), u"two");
  EXPECT_EQ(TypeInMemory(5), u"four");
  EXPECT_EQ(TypeInMemory(8), u"old");
  EXPECT_EQ(TypeInXml(u"<kind>3</kind>"), u"two");
}

TEST_F(AlterTypeTest, AnAlteredRecordTypeIsFollowedByLaterPaths) {
  AddRecord(u"A", 8, {{u"x", u"int", 4, 0}});
  AddRecord(u"B", 8, {{u"x", u"int", 4, 4}});
  rec_->AddItem(u"sub", u"A", 8, 8, {}, {});
  LoadRecRules(
      u"<RuleItem type='AlterType' name='sub' alterto='B'/>"
      u"<RuleItem type='AlterType' name='v' alterto='short' ref='sub.x' refmethod='=' refvalue='5'/>");
  Bytes bytes(24);
  bytes.Put<std::uint32_t>(12, 5);
  Reset();
  PassInMemory(*rec_, bytes);
  EXPECT_EQ(rec_->FindItem(u"v")->type(), u"short");
}

}  // namespace
}  // namespace sbx
