#include "rules/rule_set.h"

#include <gtest/gtest.h>
#include <typeinfo>

#include "rules/rule_item.h"
#include "support/failing_document.h"
#include "support/recording_log.h"

namespace sbx {
namespace {

using ::sbx::testing::DomCall;
using ::sbx::testing::LogLine;
using ::sbx::testing::ScopedFailures;
using ::sbx::testing::ScopedLog;

using Lines = std::vector<LogLine>;

// The names of the entries, each with those of its rules: "A(x,y) B()".
std::string Outline(const JSConvertRulesDesc& set) {
  std::string out;
  for (const JSRuleDesc& rule : set.rules()) {
    if (!out.empty()) out += ' ';
    out.append(rule.name.begin(), rule.name.end());
    out += '(';
    for (const auto& item : rule.items) {
      if (out.back() != '(') out += ',';
      out.append(item->name.begin(), item->name.end());
    }
    out += ')';
  }
  return out;
}

TEST(RuleDocument, KeepsEntriesAndRulesInDocumentOrder) {
  JSConvertRulesDesc set;
  ASSERT_EQ(set.LoadFromXML(u"<ConvertRuleDesc>"
                            u"<Rules name='Z'><RuleItem name='b' type='AlterType'/>"
                            u"<RuleItem name='a' type='StructArrayPtr'/></Rules>"
                            u"<Rules name='A'><RuleItem name='c' type='ConvertNameList'/></Rules>"
                            u"<Rules name='M'/></ConvertRuleDesc>"),
            kOk);
  EXPECT_EQ(Outline(set), "Z(b,a) A(c) M()");
}

TEST(RuleDocument, EntriesAndRulesStandAtAnyDepth) {
  JSConvertRulesDesc set;
  ASSERT_EQ(
      set.LoadFromXML(u"<ConvertRuleDesc><x><Rules name='A'><y><RuleItem name='a' type='t'/></y>"
                      u"<Rules name='B'><RuleItem name='b' type='t'/></Rules></Rules></x></ConvertRuleDesc>"),
      kOk);
  EXPECT_EQ(Outline(set), "A(a,b) B(b)") << "a nested entry is one of its own, and its rules count for both";
}

TEST(RuleDocument, WithoutEntriesIsEmptyAndNoFailure) {
  JSConvertRulesDesc set;
  const ScopedLog log;
  EXPECT_EQ(set.LoadFromXML(u"<ConvertRuleDesc a='1'><!-- none --><Other/></ConvertRuleDesc>"), kOk);
  EXPECT_EQ(Outline(set), "");
  EXPECT_EQ(log.lines(), Lines{});
}

TEST(RuleDocument, RuleNamesMayRepeat) {
  JSConvertRulesDesc set;
  ASSERT_EQ(set.LoadFromXML(u"<ConvertRuleDesc><Rules name='A'><RuleItem name='a' type='AlterType'/>"
                            u"<RuleItem name='a' type='AlterType'/></Rules></ConvertRuleDesc>"),
            kOk);
  EXPECT_EQ(Outline(set), "A(a,a)");
}

TEST(RuleDocument, ADeclaredNumberOfItemsMeansNothing) {
  JSConvertRulesDesc set;
  EXPECT_EQ(set.LoadFromXML(u"<ConvertRuleDesc><Rules name='A' numOfItems='7'/></ConvertRuleDesc>"), kOk);
}

TEST(RuleDocument, TheTypeChoosesTheClassExactly) {
  JSConvertRulesDesc set;
  ASSERT_EQ(set.LoadFromXML(u"<ConvertRuleDesc><Rules name='A'>"
                            u"<RuleItem name='n' type='StructArrayPtr'/><RuleItem name='n' type='AlterType'/>"
                            u"<RuleItem name='n' type='RelocateStructName'/>"
                            u"<RuleItem name='n' type='ConvertNameList'/>"
                            u"<RuleItem name='n' type='Bogus'/><RuleItem name='n' type='altertype'/>"
                            u"<RuleItem name='n' type=' AlterType'/></Rules></ConvertRuleDesc>"),
            kOk);
  const auto& items = set.rules().front().items;
  ASSERT_EQ(items.size(), 7u);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const JSRuleItemDesc& item = *items[i];
    EXPECT_EQ(typeid(item) == typeid(JSRuleItemDesc), i >= 4) << i;
    for (std::size_t k = 0; k < i && i < 4; ++k) {
      const JSRuleItemDesc& other = *items[k];
      EXPECT_NE(typeid(item), typeid(other)) << i << " and " << k;
    }
  }
  EXPECT_EQ(items[1]->type, u"AlterType");
  EXPECT_EQ(items[4]->type, u"Bogus");
}

struct RefusedDocument {
  const char16_t* text;
  Status status;
  WideView message;
  const char* why;
};

const RefusedDocument kRefused[] = {
    {u"<ConvertRuleDesc>", kContent, u"Invalid XML info for loading rule.", "not well-formed"},
    {u"", kContent, u"Invalid XML info for loading rule.", "no document at all"},
    {u"<convertruledesc/>", kContent,
     u"Invalid XML info for getting root element from rule XML(Root name: convertruledesc, Root name "
     u"specified: "
     u"ConvertRuleDesc).",
     "the root's name is compared exactly"},
    {u"<ConvertRuleDesc><Rules><RuleItem name='a' type='t'/></Rules></ConvertRuleDesc>", kContent,
     u"Invalid XML info for rule struct(Name: , NumOfItems: 1).", "an entry needs a name"},
    {u"<ConvertRuleDesc><Rules name=''/></ConvertRuleDesc>", kContent,
     u"Invalid XML info for rule struct(Name: , NumOfItems: 0).", "that is not empty"},
    {u"<ConvertRuleDesc><Rules name='A'/><Rules name='B'/><Rules name='A'><RuleItem name='a' type='t'/>"
     u"<RuleItem name='b' type='t'/></Rules></ConvertRuleDesc>",
     kContent, u"Invalid XML info for rule struct(Name: A, NumOfItems: 2).", "nor taken"},
    {u"<ConvertRuleDesc><Rules name='A'><RuleItem name='a' type='t'/><RuleItem "
     u"type='Bogus'/><RuleItem/></Rules>"
     u"<Rules/></ConvertRuleDesc>",
     kContent, u"Invalid XML info for rule struct item(Name: , Type: Bogus).",
     "a rule needs a name whatever its kind, and the first fault ends both walks"},
    {u"<ConvertRuleDesc><Rules name='A'><RuleItem name='a' type=''/></Rules></ConvertRuleDesc>", kContent,
     u"Invalid XML info for rule struct item(Name: a, Type: ).", "and a type"},
};

TEST(RuleDocument, FaultsFailTheWholeLoadAndLeaveTheSetEmpty) {
  for (const RefusedDocument& row : kRefused) {
    JSConvertRulesDesc set;
    ASSERT_NE(set.AddRule(u"Earlier"), nullptr);
    const ScopedLog log;
    EXPECT_EQ(set.LoadFromXML(row.text), row.status) << row.why;
    EXPECT_EQ(log.lines(), (Lines{{0, WideString(row.message)}})) << row.why;
    EXPECT_EQ(Outline(set), "") << row.why;
    EXPECT_EQ(set.FindRule(u"Earlier"), nullptr) << row.why;
    EXPECT_EQ(set.FindRule(u"A"), nullptr) << row.why;
  }
}

TEST(RuleDocument, ANullTextIsRefusedAndLeavesTheSetAsItWas) {
  JSConvertRulesDesc set;
  ASSERT_NE(set.AddRule(u"Earlier"), nullptr);
  const std::uint64_t stamp = set.stamp();
  const ScopedLog log;
  EXPECT_EQ(set.LoadFromXML(nullptr), kParameter);
  EXPECT_EQ(log.lines(), (Lines{{0, u"Invalid parameters for loading rule from XML."}}));
  EXPECT_EQ(Outline(set), "Earlier()");
  EXPECT_EQ(set.stamp(), stamp);
}

TEST(RuleDocument, ASecondLoadReplacesTheFirst) {
  JSConvertRulesDesc set;
  ASSERT_EQ(set.LoadFromXML(u"<ConvertRuleDesc><Rules name='A'/></ConvertRuleDesc>"), kOk);
  ASSERT_EQ(set.LoadFromXML(u"<ConvertRuleDesc><Rules name='B'/></ConvertRuleDesc>"), kOk);
  EXPECT_EQ(Outline(set), "B()");
  EXPECT_EQ(set.FindRule(u"A"), nullptr);
  EXPECT_EQ(set.FindRule(u"B"), &set.rules().front());
}

struct DomFailureCase {
  DomCall call;
  int nth;
  Status status;
  WideView message;
  const char* why;
};

constexpr DomFailureCase kDomFailures[] = {
    {DomCall::kNew, 1, kDom, u"COM error for loading rule XML.", "no document"},
    {DomCall::kLoadXml, 1, kContent, u"Invalid XML info for loading rule.", "no parse"},
    {DomCall::kDocumentElement, 1, kContent, u"Invalid XML info for getting root element from rule XML.",
     "no root"},
    {DomCall::kTagName, 1, kContent,
     u"Invalid XML info for getting root element from rule XML(Root name: , Root name specified: "
     u"ConvertRuleDesc).",
     "no name of the root"},
    {DomCall::kGetElementsByTagName, 1, kContent,
     u"Invalid XML info for getting struct from rule XML(Struct name: Rules).", "no search for entries"},
    {DomCall::kAsElement, 1, kDom, u"COM error for getting struct from rule XML.",
     "an entry that is no element"},
    {DomCall::kGetElementsByTagName, 2, kContent,
     u"Invalid XML info for getting struct from rule XML(Struct name: RuleItem).", "no search for rules"},
    {DomCall::kGetAttribute, 1, kContent, u"Invalid XML info for rule struct(Name: , NumOfItems: 2).",
     "an attribute that can't be read is absent"},
    {DomCall::kAsElement, 2, kDom, u"COM error for loading rule struct item desc from XML.",
     "a rule that is no element"},
    {DomCall::kGetAttribute, 3, kContent, u"Invalid XML info for rule struct item(Name: a, Type: ).",
     "a rule's attribute likewise"},
    {DomCall::kAsElement, 4, kDom, u"COM error for getting struct from rule XML.",
     "at the second entry, too"},
};

constexpr const char16_t* kSmallDocument =
    u"<ConvertRuleDesc><Rules name='A'><RuleItem name='a' type='t'/><RuleItem name='b' type='t'/></Rules>"
    u"<Rules name='B'/></ConvertRuleDesc>";

TEST(RuleDocument, WhatTheDomRefusesFailsTheWholeLoad) {
  for (const DomFailureCase& row : kDomFailures) {
    ScopedFailures failures;
    JSConvertRulesDesc set;
    ASSERT_NE(set.AddRule(u"Earlier"), nullptr);
    const ScopedLog log;
    failures.Fail(row.call, row.nth);
    EXPECT_EQ(set.LoadFromXML(kSmallDocument), row.status) << row.why;
    EXPECT_EQ(log.lines(), (Lines{{0, WideString(row.message)}})) << row.why;
    EXPECT_EQ(Outline(set), "") << row.why;
  }
}

TEST(RuleDocument, ANodeThatCannotBeHadEndsItsListInSilence) {
  ScopedFailures failures;
  const ScopedLog log;
  JSConvertRulesDesc set;
  failures.Fail(DomCall::kListItem, 2);
  EXPECT_EQ(set.LoadFromXML(kSmallDocument), kOk);
  EXPECT_EQ(Outline(set), "A(a) B()");
  failures.Fail(DomCall::kListNext, 2);
  EXPECT_EQ(set.LoadFromXML(kSmallDocument), kOk);
  EXPECT_EQ(Outline(set), "A(a,b)");
  failures.Fail(DomCall::kListNext);
  EXPECT_EQ(set.LoadFromXML(kSmallDocument), kOk);
  EXPECT_EQ(Outline(set), "");
  EXPECT_EQ(log.lines(), Lines{});
}

TEST(RuleSet, FindsEntriesByTheirExactName) {
  JSConvertRulesDesc set;
  EXPECT_EQ(set.FindRule(u"Job"), nullptr) << "an empty set";
  JSRuleDesc* const job = set.AddRule(u"Job");
  ASSERT_NE(job, nullptr);
  ASSERT_NE(set.AddRule(u"job"), nullptr);
  EXPECT_EQ(set.FindRule(u"Job"), job);
  EXPECT_EQ(set.FindRule(u"JOB"), nullptr);
  EXPECT_EQ(set.FindRule(u"Job "), nullptr);
  EXPECT_EQ(set.FindRule(WideView()), nullptr);
}

TEST(RuleSet, AddsEntriesAtTheEndButNoneWithoutANameOrWithATakenOne) {
  JSConvertRulesDesc set;
  ASSERT_NE(set.AddRule(u"B"), nullptr);
  ASSERT_NE(set.AddRule(u"A"), nullptr);
  EXPECT_EQ(set.AddRule(u"B"), nullptr);
  EXPECT_EQ(set.AddRule(u""), nullptr);
  EXPECT_EQ(set.AddRule(WideView()), nullptr);
  EXPECT_EQ(Outline(set), "B() A()");
}

TEST(RuleSet, EachStateHasAStampOfItsOwn) {
  JSConvertRulesDesc set;
  JSConvertRulesDesc other;
  EXPECT_NE(set.stamp(), 0u);
  EXPECT_NE(set.stamp(), other.stamp());
  const std::uint64_t empty = set.stamp();
  set.AddRule(u"A");
  EXPECT_NE(set.stamp(), empty);
  const std::uint64_t added = set.stamp();
  EXPECT_EQ(set.AddRule(u"A"), nullptr);
  EXPECT_EQ(set.stamp(), added) << "a refused entry changes nothing";
  EXPECT_NE(set.LoadFromXML(u"<broken"), kOk);
  EXPECT_NE(set.stamp(), added);
}

TEST(RuleItem, OfTheBaseClassDoesNothing) {
  JSRuleItemDesc rule;
  JSPDBMemDesc set;
  JSStructDesc& record = set.AddStruct(u"Rec", 8, {}, {});
  JSStructItemDesc& item = *record.AddItem(u"a", u"int", 4, 0, {}, {});
  rule.name = u"a";
  WideString relocated = u"kept";
  const ScopedLog log;
  EXPECT_EQ(rule.B2XApplyRule(set, record, 0, relocated), kOk);
  EXPECT_EQ(rule.X2BApplyRule(set, record, XMLElementRef(), relocated), kOk);
  EXPECT_EQ(relocated, u"kept");
  EXPECT_EQ(item.revision(), 0u);
  EXPECT_EQ(log.lines(), Lines{});
}

TEST(RuleItem, ANullEntryOrNodeIsRefused) {
  const std::unique_ptr<xml::Document> document = xml::Document::New();
  ASSERT_TRUE(document->LoadXml(u"<RuleItem name='a' type='b'/>"));
  const xml::NodeRef node = document->DocumentElement();
  JSRuleDesc rule(u"A");
  const ScopedLog log;
  EXPECT_EQ(LoadRuleItemFromXML(nullptr, node), kParameter);
  EXPECT_EQ(LoadRuleItemFromXML(&rule, xml::NodeRef()), kParameter);
  EXPECT_TRUE(rule.items.empty());
  const LogLine refused{0, u"Invalid parameters for loading rule item desc from XML."};
  EXPECT_EQ(log.lines(), (Lines{refused, refused}));
}

TEST(RuleItem, AnAttributeOfANullElementCountsAsAbsent) {
  const ScopedLog log;
  EXPECT_EQ(RuleAttribute(xml::NodeRef(), u"name"), u"");
  EXPECT_EQ(log.lines(), (Lines{{0, u"Invalid parameters for getting rule XML element attribute."}}));
}

}  // namespace
}  // namespace sbx
