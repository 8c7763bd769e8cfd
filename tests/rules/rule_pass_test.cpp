#include <utility>

#include "rules/rule_fixture.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::RuleTest;

// Writes down that it ran and what the plain narrow string's type was by then, and asks for a failure.
class ProbeRule : public JSRuleItemDesc {
 public:
  ProbeRule(WideView tag, WideString& trace) : tag_(tag), trace_(trace) {}

  Status B2XApplyRule(JSPDBMemDesc&, JSStructDesc& record, std::uintptr_t, WideString& relocated) override {
    return Note(u"memory:", record, relocated);
  }
  Status X2BApplyRule(JSPDBMemDesc&, JSStructDesc& record, const XMLElementRef&,
                      WideString& relocated) override {
    return Note(u"xml:", record, relocated);
  }

 private:
  Status Note(WideView side, const JSStructDesc& record, WideString& relocated) {
    const JSStructItemDesc* const text = record.FindItem(u"text");
    trace_.append(side).append(tag_).append(u" ").append(record.name);
    if (text != nullptr) trace_.append(u" ").append(text->type());
    trace_.append(u"; ");
    relocated.append(tag_);
    return kAddress;
  }

  WideString tag_;
  WideString& trace_;
};

class RulePassTest : public RuleTest {
 protected:
  void AddProbe(WideView record, WideView tag) {
    JSRuleDesc* rule = rules_.FindRule(record);
    if (rule == nullptr) rule = rules_.AddRule(record);
    rule->items.push_back(std::make_unique<ProbeRule>(tag, trace_));
  }
  WideString TakeTrace() { return std::exchange(trace_, WideString()); }

  WideString trace_;
};

TEST_F(RulePassTest, PlainNarrowStringsBecomeWideOnes) {
  JSStructDesc& record = AddRecord(u"Rec", 64,
                                   {{u"plain", u"char*", 8, 0},
                                    {u"array", u"char*[3]", 8, 8},
                                    {u"spaced", u"char *", 8, 16},
                                    {u"blank", u" char*", 8, 24},
                                    {u"deep", u"char**", 8, 32},
                                    {u"upper", u"Char*", 8, 40},
                                    {u"one", u"char", 1, 48},
                                    {u"second", u"char*", 8, 56}});
  PassInMemory(record, 0);
  const auto type = [&](WideView name) { return record.FindItem(name)->type(); };
  EXPECT_EQ(type(u"plain"), u"wchar_t*");
  EXPECT_EQ(type(u"second"), u"wchar_t*");
  EXPECT_EQ(type(u"array"), u"char*[3]");
  EXPECT_EQ(type(u"spaced"), u"char *");
  EXPECT_EQ(type(u"blank"), u" char*");
  EXPECT_EQ(type(u"deep"), u"char**");
  EXPECT_EQ(type(u"upper"), u"Char*");
  EXPECT_EQ(type(u"one"), u"char");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RulePassTest, PlainNarrowStringsAreWidenedOnBothSidesAndOnEveryCall) {
  JSStructDesc& record = AddRecord(u"Rec", 8, {{u"text", u"char*", 8, 0}});
  JSStructItemDesc& item = *record.FindItem(u"text");
  PassInXml(record, XMLElementRef());
  EXPECT_EQ(item.type(), u"wchar_t*");
  item.SetType(u"char*");
  PassInXml(record, XMLElementRef());
  EXPECT_EQ(item.type(), u"wchar_t*");
  item.SetType(u"char*");
  PassInMemory(record, 0);
  EXPECT_EQ(item.type(), u"wchar_t*");
}

TEST_F(RulePassTest, ItemsAddedAfterAPassAreWidenedByTheNext) {
  JSStructDesc& record = AddRecord(u"Rec", 16, {{u"a", u"int", 4, 0}});
  PassInMemory(record, 0);
  record.AddItem(u"b", u"char*", 8, 8, {}, {});
  PassInMemory(record, 0);
  EXPECT_EQ(record.FindItem(u"b")->type(), u"wchar_t*");
}

TEST_F(RulePassTest, StringsAreWidenedBeforeTheRulesRunAndAlsoWithoutARuleSet) {
  JSStructDesc& record = AddRecord(u"Rec", 8, {{u"text", u"char*", 8, 0}});
  AddProbe(u"Rec", u"a");
  PassInMemory(record, 0);
  EXPECT_EQ(TakeTrace(), u"memory:a Rec wchar_t*; ");
  g_conversion.cachedRuleSet = nullptr;
  record.FindItem(u"text")->SetType(u"char*");
  EXPECT_EQ(PassInMemory(record, 0), u"");
  EXPECT_EQ(record.FindItem(u"text")->type(), u"wchar_t*");
  EXPECT_EQ(TakeTrace(), u"");
}

TEST_F(RulePassTest, ATypeThatARuleMadeNarrowStaysForTheInstanceAndIsWidenedAtTheNext) {
  LoadRecRules(
      u"<RuleItem name='text' type='AlterType' alterto='char*' ref='on' refmethod='=' refvalue='1'/>");
  JSStructDesc& record = AddRecord(u"Rec", 24, {{u"text", u"char*", 8, 0}, {u"on", u"int", 4, 8}});
  Bytes bytes(24);
  bytes.Put<std::uint32_t>(8, 1);
  PassInMemory(record, bytes);
  EXPECT_EQ(record.FindItem(u"text")->type(), u"char*");
  bytes.Put<std::uint32_t>(8, 0);
  PassInMemory(record, bytes);
  EXPECT_EQ(record.FindItem(u"text")->type(), u"wchar_t*");
}

TEST_F(RulePassTest, RulesRunInDocumentOrderWhateverTheyReturn) {
  JSStructDesc& record = AddRecord(u"Rec", 8, {});
  AddProbe(u"Other", u"no");
  for (const WideView tag : {u"c", u"a", u"b"}) AddProbe(u"Rec", tag);
  EXPECT_EQ(PassInMemory(record, 0), u"cab");
  EXPECT_EQ(TakeTrace(), u"memory:c Rec; memory:a Rec; memory:b Rec; ");
  EXPECT_EQ(PassInXml(record, XMLElementRef()), u"cab");
  EXPECT_EQ(TakeTrace(), u"xml:c Rec; xml:a Rec; xml:b Rec; ");
}

TEST_F(RulePassTest, ARecordWithoutRulesOrWithAnEmptyEntryIsLeftAlone) {
  JSStructDesc& none = AddRecord(u"None", 8, {{u"a", u"int", 4, 0}});
  JSStructDesc& empty = AddRecord(u"Empty", 8, {{u"a", u"int", 4, 0}});
  rules_.AddRule(u"Empty");
  EXPECT_EQ(PassInMemory(none, 0), u"");
  EXPECT_EQ(PassInMemory(empty, 0), u"");
  EXPECT_EQ(none.FindItem(u"a")->revision(), 0u);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RulePassTest, EntriesAreFoundByTheRecordsExactName) {
  JSStructDesc& record = AddRecord(u"rec", 8, {});
  AddProbe(u"Rec", u"a");
  PassInMemory(record, 0);
  EXPECT_EQ(TakeTrace(), u"");
}

TEST_F(RulePassTest, WhatWasLookedUpIsForgottenWhenTheRuleSetChanges) {
  JSStructDesc& record = AddRecord(u"Rec", 8, {});
  PassInMemory(record, 0);
  AddProbe(u"Rec", u"late");
  PassInMemory(record, 0);
  EXPECT_EQ(TakeTrace(), u"memory:late Rec; ") << "an entry added since";
  ASSERT_EQ(rules_.LoadFromXML(u"<ConvertRuleDesc/>"), kOk);
  PassInMemory(record, 0);
  EXPECT_EQ(TakeTrace(), u"") << "a set loaded anew";
  JSConvertRulesDesc other;
  other.AddRule(u"Rec")->items.push_back(std::make_unique<ProbeRule>(u"other", trace_));
  g_conversion.cachedRuleSet = &other;
  PassInMemory(record, 0);
  EXPECT_EQ(TakeTrace(), u"memory:other Rec; ") << "another set";
}

TEST_F(RulePassTest, RulesAddedToAnEntryThatIsKnownRun) {
  JSStructDesc& record = AddRecord(u"Rec", 8, {});
  AddProbe(u"Rec", u"a");
  PassInMemory(record, 0);
  AddProbe(u"Rec", u"b");
  TakeTrace();
  PassInMemory(record, 0);
  EXPECT_EQ(TakeTrace(), u"memory:a Rec; memory:b Rec; ");
}

TEST_F(RulePassTest, ACopyOfTheDescriptionsLooksItsRulesUpAfresh) {
  JSStructDesc& record = AddRecord(u"Rec", 8, {{u"text", u"char*", 8, 0}});
  AddProbe(u"Rec", u"a");
  PassInMemory(record, 0);
  record.FindItem(u"text")->SetType(u"char*");
  const std::unique_ptr<JSPDBMemDesc> copy = set_.Clone();
  TakeTrace();
  PassInMemory(*copy->FindStruct(u"Rec"), 0);
  EXPECT_EQ(TakeTrace(), u"memory:a Rec wchar_t*; ");
  EXPECT_EQ(record.FindItem(u"text")->type(), u"char*");
}

TEST_F(RulePassTest, AnUnknownKindDoesNothingOnEitherSide) {
  LoadRecRules(u"<RuleItem name='a' type='Bogus' alterto='short' structname='Other' num='a'/>");
  JSStructDesc& record = AddRecord(u"Rec", 8, {{u"a", u"int", 4, 0}});
  EXPECT_EQ(PassInMemory(record, Bytes(8)), u"");
  LoadXml(u"<Rec><a>1</a></Rec>");
  EXPECT_EQ(PassInXml(record, Element({u"Rec"})), u"");
  EXPECT_EQ(record.FindItem(u"a")->revision(), 0u);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RulePassTest, LaterRulesSeeAndOutdoWhatEarlierOnesWrote) {
  LoadRecRules(
      u"<RuleItem name='list' type='AlterType' alterto='First*'/>"
      u"<RuleItem name='list' type='StructArrayPtr' structname='Entry' num='count'/>");
  JSStructDesc& record = AddRecord(u"Rec", 16, {{u"list", u"void*", 8, 0}, {u"count", u"int", 4, 8}});
  Bytes bytes(16);
  bytes.Put<std::uint32_t>(8, 3);
  PassInMemory(record, bytes);
  EXPECT_EQ(record.FindItem(u"list")->type(), u"Entry[3]*");
  EXPECT_EQ(log_.lines(),
            (std::vector<testing::LogLine>{{4, u"{AlterType:Convert type of list from void* to First*}"},
                                           {4, u"{Convert type of list from First* to Entry[3]*}"}}));
}

TEST_F(RulePassTest, AnAlteredTypeStaysForLaterInstancesOfTheConversion) {
  LoadRecRules(
      u"<RuleItem name='v' type='AlterType' alterto='short' ref='kind' refmethod='=' refvalue='1'/>");
  JSStructDesc& record = AddRecord(u"Rec", 16, {{u"kind", u"int", 4, 0}, {u"v", u"int", 4, 8}});
  PassInMemory(record, Bytes(16));
  EXPECT_EQ(record.FindItem(u"v")->type(), u"int");
  PassInMemory(record, Bytes(16).Put<std::uint32_t>(0, 1));
  EXPECT_EQ(record.FindItem(u"v")->type(), u"short");
  PassInMemory(record, Bytes(16));
  EXPECT_EQ(record.FindItem(u"v")->type(), u"short") << "not firing restores nothing";
}

TEST_F(RulePassTest, ARuleThatCannotResolveItsPathLeavesTheTypeAsItWas) {
  LoadRecRules(
      u"<RuleItem name='v' type='AlterType' alterto='short' ref='missing' refmethod='=' refvalue='1'/>");
  JSStructDesc& record = AddRecord(u"Rec", 16, {{u"v", u"int", 4, 8}});
  PassInMemory(record, Bytes(16));
  EXPECT_EQ(record.FindItem(u"v")->type(), u"int");
}

}  // namespace
}  // namespace sbx
