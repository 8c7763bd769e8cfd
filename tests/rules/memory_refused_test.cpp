#include <new>

#include "rules/rule_fixture.h"
#include "support/memory_refusal.h"

SBXML_DEFINE_MEMORY_REFUSAL;

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::GrantMemory;
using ::sbx::testing::RefuseMemoryAfter;
using ::sbx::testing::RuleTest;
using ::sbx::testing::t_memory;

constexpr const char16_t* kDocument =
    u"<ConvertRuleDesc><Rules name='RecordWithAName'>"
    u"<RuleItem type='ConvertNameList' name='aListOfNames' num='theCountOfNames'/>"
    u"<RuleItem type='StructArrayPtr' name='anArrayOfJobs' structname='AJobOfSomeKind' "
    u"num='..\\theCount.ofJobs'/>"
    u"<RuleItem type='AlterType' name='anArrayOfJobs' alterto='anotherTypeOfText' ref='theCountOfNames' "
    u"refmethod='|' refvalue='1'/>"
    u"<RuleItem type='RelocateStructName' name='why' structname='AnotherRecordName'/></Rules>"
    u"<Rules name='AnotherRecordName'/></ConvertRuleDesc>";

class RulesWithoutMemory : public RuleTest {
 protected:
  // Runs `step` with the n-th allocation refused, for n from 0 until it gets through; `check` after each
  // refusal.
  template <class Step, class Check>
  static void Starve(Step step, Check check) {
    for (int allowed = 0;; ++allowed) {
      ASSERT_LT(allowed, 10000);
      bool refused = false;
      RefuseMemoryAfter(allowed);
      try {
        step();
      } catch (const std::bad_alloc&) {
        refused = true;
      }
      GrantMemory();
      EXPECT_EQ(refused, t_memory.wasRefused) << "a refusal that stayed inside, after " << allowed;
      if (!refused) return;
      check();
    }
  }
};

TEST_F(RulesWithoutMemory, ALoadThatIsRefusedMemoryLeavesTheSetEmptyAndLeaksNothing) {
  ASSERT_EQ(rules_.LoadFromXML(kDocument), kOk);
  ASSERT_EQ(rules_.LoadFromXML(u"<ConvertRuleDesc/>"), kOk);
  const std::int64_t before = t_memory.live;
  Starve([this] { EXPECT_EQ(rules_.LoadFromXML(kDocument), kOk); },
         [&] {
           EXPECT_TRUE(rules_.rules().empty());
           EXPECT_EQ(rules_.FindRule(u"RecordWithAName"), nullptr);
           EXPECT_EQ(t_memory.live, before);
         });
  EXPECT_EQ(rules_.rules().size(), 2u);
}

TEST_F(RulesWithoutMemory, AnEntryThatIsRefusedMemoryIsNotThere) {
  Starve([this] { EXPECT_NE(rules_.AddRule(u"RecordWithAName"), nullptr); },
         [this] {
           EXPECT_TRUE(rules_.rules().empty());
           EXPECT_EQ(rules_.FindRule(u"RecordWithAName"), nullptr);
         });
}

TEST_F(RulesWithoutMemory, APassThatIsRefusedMemoryCanBeRunAgain) {
  const testing::ScopedLog quiet(-1);  // keeping lines takes memory, which an output must do without
  ASSERT_EQ(rules_.LoadFromXML(kDocument), kOk);
  JSStructDesc& record = AddRecord(u"RecordWithAName", 32,
                                   {{u"aListOfNames", u"char*", 8, 0},
                                    {u"theCountOfNames", u"int", 4, 8},
                                    {u"anArrayOfJobs", u"Job*", 8, 16}});
  Bytes name(64);
  Bytes bytes(40);
  bytes.Point(0, name.Put(0, u'a')).Put<std::uint32_t>(8, 1);
  WideString relocated;
  Starve([&] { B2XApplyRuleForJSStruct(set_, record, bytes.address(), relocated); },
         [&] { relocated.clear(); });
  EXPECT_EQ(record.FindItem(u"aListOfNames")->type(), u"wchar_t[2]*");
  EXPECT_EQ(record.FindItem(u"anArrayOfJobs")->type(), u"anotherTypeOfText");
  EXPECT_EQ(relocated, u"AnotherRecordName");

  LoadXml(
      u"<RecordWithAName><aListOfNames>a text of more than a few characters</aListOfNames>"
      u"<theCountOfNames>7</theCountOfNames><anArrayOfJobs><Job/><Job/></anArrayOfJobs></RecordWithAName>");
  const XMLElementRef element = Element({u"RecordWithAName"});
  Starve([&] { X2BApplyRuleForJSStruct(element, set_, record, relocated); }, [&] { relocated.clear(); });
  EXPECT_EQ(record.FindItem(u"anArrayOfJobs")->type(), u"anotherTypeOfText");
  EXPECT_EQ(relocated, u"AnotherRecordName");
}

}  // namespace
}  // namespace sbx
