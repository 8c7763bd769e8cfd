// SBXGetLastError, SBXVerifyStructSize and the loading of a module's documents.
#include <cstring>
#include <thread>

#include "api/conversion_lock.h"
#include "api/conversion_sets.h"
#include "desc/structure_description.h"
#include "export_fixture.h"
#include "rules/rule_set.h"
#include "support/child_process.h"
#include "support/edge_of_memory.h"

namespace sbx::testing {
namespace {

// --- SBXGetLastError ---------------------------------------------------------------------------------------

using GetLastError = ExportTest;

TEST_F(GetLastError, CopiesTheTextAndItsZero) {
  StoreLastErrorText(u"abc");
  char16_t text[5] = u"????";
  SBXGetLastError(text, 5);
  EXPECT_EQ(std::u16string(text, 5), std::u16string(u"abc\0\0", 5)) << "the rest is untouched";
}

TEST_F(GetLastError, CutsTheTextToTheCapacity) {
  StoreLastErrorText(u"abc");
  char16_t text[4] = u"???";
  SBXGetLastError(text, 3);
  EXPECT_EQ(std::u16string(text), u"ab");
  SBXGetLastError(text, 1);
  EXPECT_EQ(std::u16string(text), u"");
}

TEST_F(GetLastError, DoesNothingWithoutABuffer) {
  char16_t text[4] = u"???";
  SBXGetLastError(nullptr, 4);
  SBXGetLastError(text, 0);
  SBXGetLastError(text, -1);
  SBXGetLastError(Nowhere<char16_t*>(), 100);
  EXPECT_EQ(std::u16string(text), u"???");
  EXPECT_TRUE(Lines().empty());
}

TEST_F(GetLastError, WritesNoFurtherThanTheText) {
  StoreLastErrorText(u"abc");
  const EdgeOfMemory edge(8);
  SBXGetLastError(reinterpret_cast<char16_t*>(edge.data()), 100);
  EXPECT_EQ(std::memcmp(edge.data(), u"abc", 8), 0);
  const EdgeOfMemory small(6);
  SBXGetLastError(reinterpret_cast<char16_t*>(small.data()), 100);
  EXPECT_EQ(small.data()[0], 0) << "what can't be written whole is not written";
}

TEST_F(GetLastError, WritesAtAnyAlignment) {
  StoreLastErrorText(u"abc");
  unsigned char bytes[16] = {};
  SBXGetLastError(reinterpret_cast<char16_t*>(bytes + 1), 4);
  EXPECT_EQ(std::memcmp(bytes + 1, u"abc", 8), 0);
}

TEST_F(GetLastError, HoldsWhatFailedLast) {
  SetLastErrorText(-1, u"%s %d", u"first", 1);
  SetLastErrorText(-1, u"second");
  EXPECT_EQ(LastError(), u"second");
  SetLastErrorText(-1, WideView());
  EXPECT_EQ(LastError(), u"second") << "a null format does nothing";
  StoreLastErrorText(u"100 %s");
  EXPECT_EQ(LastError(), u"100 %s") << "stored as it stands";
}

TEST_F(GetLastError, ALongTextIsCut) {
  StoreLastErrorText(WideString(5000, u'x'));
  EXPECT_EQ(LastError(), WideString(4095, u'x'));
}

// --- SBXVerifyStructSize -----------------------------------------------------------------------------------

class VerifyStructSize : public ExportTest {
 protected:
  std::int32_t Verify(const char16_t* name, std::uint64_t expected, std::int64_t* actual = nullptr,
                      std::uint32_t pdb = kPdbId, std::uint32_t rule = kRuleId) {
    return SBXVerifyStructSize(module.handle(), pdb, rule, name, expected, actual);
  }
};

TEST_F(VerifyStructSize, GivesTheDescribedSize) {
  std::int64_t actual = -1;
  EXPECT_EQ(Verify(u"Job", 16, &actual), SBX_OK);
  EXPECT_EQ(actual, 16);
  EXPECT_EQ(Lines(), (Log{{3, u"Verify xml structure description for structure [Job]"},
                          {3, u"PDB XML Loaded"},
                          {3, u"Rule XML Loaded"}}));
  EXPECT_EQ(LastError(), u"(nothing set)");
  EXPECT_EQ(Verify(u"Job", 16), SBX_OK) << "the actual size may be left out";
}

TEST_F(VerifyStructSize, AnotherSizeIsStoredAllTheSame) {
  std::int64_t actual = -1;
  EXPECT_EQ(Verify(u"Job", 24, &actual), SBX_E_STATE);
  EXPECT_EQ(actual, 16);
  EXPECT_EQ(Lines(0), Texts{u"Structure size is changed from 16 to 24."});
  EXPECT_EQ(LastError(), u"(nothing set)");
}

TEST_F(VerifyStructSize, ComparesAllSixtyFourBits) {
  EXPECT_EQ(Verify(u"Job", 0x1'0000'0010), SBX_E_STATE);
  EXPECT_EQ(Lines(0), Texts{u"Structure size is changed from 16 to 16."}) << "though the line shows 32";
}

TEST_F(VerifyStructSize, NeedsAName) {
  EXPECT_EQ(Verify(nullptr, 16), SBX_E_PARAMETER);
  EXPECT_EQ(Verify(u"", 16), SBX_E_PARAMETER);
  EXPECT_EQ(Verify(Nowhere<const char16_t*>(), 16), SBX_E_PARAMETER);
  EXPECT_EQ(Lines(), (Log{{3, u"Verify xml structure description for structure [(null)]"},
                          {0, u"structure name is missed."},
                          {3, u"Verify xml structure description for structure []"},
                          {0, u"structure name is missed."},
                          {3, u"Verify xml structure description for structure [(null)]"},
                          {0, u"structure name is missed."}}));
  EXPECT_EQ(LastError(), u"(nothing set)");
}

TEST_F(VerifyStructSize, TheNameIsLookedAtBeforeTheModule) {
  EXPECT_EQ(SBXVerifyStructSize(nullptr, 0, 1, u"", 16, nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(Lines(0), Texts{u"structure name is missed."});
  EXPECT_EQ(LastError(), u"(nothing set)") << "nothing was loaded";
}

TEST_F(VerifyStructSize, ANameThatLeavesMemoryBeforeItsEndCountsAsNull) {
  const EdgeOfMemory edge(6);
  std::memcpy(edge.data(), u"Job", 6);
  EXPECT_EQ(Verify(reinterpret_cast<const char16_t*>(edge.data()), 16), SBX_E_PARAMETER);
  const EdgeOfMemory whole(8);
  std::memcpy(whole.data(), u"Job", 8);
  EXPECT_EQ(Verify(reinterpret_cast<const char16_t*>(whole.data()), 16), SBX_OK);
}

TEST_F(VerifyStructSize, ANameAtAnOddAddressIsRead) {
  const EdgeOfMemory edge(9);
  std::memcpy(edge.data(), "\0J\0o\0b\0\0\0", 9);
  // The text begins one byte before a unit's place and its zero ends with memory.
  EXPECT_EQ(Verify(reinterpret_cast<const char16_t*>(edge.data() + 1), 16), SBX_OK);
}

TEST_F(VerifyStructSize, ASizeThatCannotBeStoredCountsAsLeftOut) {
  EXPECT_EQ(Verify(u"Job", 16, Nowhere<std::int64_t*>()), SBX_OK);
}

struct LoadCase {
  bool module;
  std::uint32_t pdb;
  std::uint32_t rule;
  std::int32_t code;
  const char16_t* log;
};

TEST_F(VerifyStructSize, AFailedLoadSetsOneFixedText) {
  const LoadCase cases[] = {
      {false, kPdbId, kRuleId, SBX_E_PARAMETER, u"Invalid module handle."},
      {true, 0, kRuleId, SBX_E_PARAMETER, u"Invalid PDB resouce ID."},
      {true, kPdbId, 0, SBX_E_PARAMETER, u"Invalid rule resouce ID."},
      {false, 0, 0, SBX_E_PARAMETER, u"Invalid module handle."},
      {true, 0, 0, SBX_E_PARAMETER, u"Invalid PDB resouce ID."},
      {true, 9, 9, SBX_E_RESOURCE, u"Find PDB resource failed."},
      {true, 9, kRuleId, SBX_E_RESOURCE, u"Find PDB resource failed."},
      {true, kPdbId, 9, SBX_E_RESOURCE, u"Find rule resource failed."},
  };
  for (const LoadCase& test : cases) {
    SCOPED_TRACE(std::string(test.log, test.log + WideView(test.log).size()));
    DeleteConversionSets();
    log.Clear();
    StoreLastErrorText(u"");
    EXPECT_EQ(SBXVerifyStructSize(test.module ? module.handle() : nullptr, test.pdb, test.rule, u"Job", 16,
                                  nullptr),
              test.code);
    EXPECT_EQ(Lines(0), Texts{test.log});
    EXPECT_EQ(LastError(), u"The JSPDBMemDesc needs to be initialized");
  }
}

TEST_F(VerifyStructSize, TheLowSixteenBitsOfAnIdCount) {
  EXPECT_EQ(Verify(u"Job", 16, nullptr, 0x10000 + kPdbId, 0xFFFF0000 + kRuleId), SBX_OK);
  EXPECT_EQ(Verify(u"Job", 16, nullptr, 0x10000, kRuleId), SBX_E_RESOURCE)
      << "not zero, but looked up as zero";
}

TEST_F(VerifyStructSize, StopsTheProcessForANameThatTheSetLacks) {
  EXPECT_EQ(InChild([this] { Verify(u"job", 16); }), "signal 4");
  module.SetDescriptions(u"<StructureDescription/>");
  EXPECT_EQ(InChild([this] { Verify(u"Job", 16); }), "signal 4") << "an empty set";
}

// --- loading -----------------------------------------------------------------------------------------------

class LoadSets : public ExportTest {
 protected:
  std::int32_t Load() { return LoadConversionSets(module.handle(), kPdbId, kRuleId); }
};

TEST_F(LoadSets, ReadsBothDocumentsAfreshForEachCall) {
  EXPECT_EQ(Load(), kOk);
  ASSERT_NE(g_conversion.cachedDescSet->FindStruct(u"Job"), nullptr);
  module.SetDescriptions(
      u"<StructureDescription><JSStruct name=\"New\" size=\"1\" numOfItems=\"0\"/></StructureDescription>");
  EXPECT_EQ(Load(), kOk);
  EXPECT_EQ(g_conversion.cachedDescSet->FindStruct(u"Job"), nullptr);
  EXPECT_NE(g_conversion.cachedDescSet->FindStruct(u"New"), nullptr);
  EXPECT_EQ(
      Lines(),
      (Log{
          {3, u"PDB XML Loaded"}, {3, u"Rule XML Loaded"}, {3, u"PDB XML Loaded"}, {3, u"Rule XML Loaded"}}));
}

TEST_F(LoadSets, ANullModuleWithoutIdsKeepsTheSetsOfTheCallBefore) {
  ASSERT_EQ(Load(), kOk);
  const JSPDBMemDesc* const set = g_conversion.cachedDescSet;
  log.Clear();
  EXPECT_EQ(LoadConversionSets(nullptr, 0, 0), kOk);
  EXPECT_EQ(g_conversion.cachedDescSet, set);
  EXPECT_TRUE(Lines().empty());
}

TEST_F(LoadSets, ANullModuleWithOneIdDropsBothSets) {
  for (const bool pdb : {false, true}) {
    ASSERT_EQ(Load(), kOk);
    log.Clear();
    EXPECT_EQ(LoadConversionSets(nullptr, pdb ? 1 : 0, pdb ? 0 : 1), kParameter);
    EXPECT_EQ(g_conversion.cachedDescSet, nullptr);
    EXPECT_EQ(g_conversion.cachedRuleSet, nullptr);
    EXPECT_EQ(Lines(), (Log{{0, u"Invalid module handle."}}));
  }
}

TEST_F(LoadSets, ANullModuleWithoutIdsNeedsBothSets) {
  DeleteConversionSets();
  EXPECT_EQ(LoadConversionSets(nullptr, 0, 0), kParameter);
  module.SetRules(u"bad");
  ASSERT_EQ(Load(), kResource);
  EXPECT_EQ(LoadConversionSets(nullptr, 0, 0), kParameter) << "the descriptions alone do not do";
  EXPECT_EQ(g_conversion.cachedDescSet, nullptr);
}

TEST_F(LoadSets, ABadDescriptionDocumentLeavesNoSet) {
  ASSERT_EQ(Load(), kOk);
  log.Clear();
  module.SetDescriptions(u"<Wrong/>");
  EXPECT_EQ(Load(), kResource);
  EXPECT_EQ(Lines(0).back(), u"Load PDB resource from XML failed.");
  EXPECT_EQ(g_conversion.cachedDescSet, nullptr);
  EXPECT_EQ(g_conversion.cachedRuleSet, nullptr);
}

TEST_F(LoadSets, ABadRuleDocumentLeavesTheDescriptions) {
  module.SetRules(u"<Wrong/>");
  EXPECT_EQ(Load(), kResource);
  EXPECT_EQ(Lines(0).back(), u"Load rule resource from XML failed.");
  EXPECT_NE(g_conversion.cachedDescSet, nullptr);
  EXPECT_EQ(g_conversion.cachedRuleSet, nullptr);
  module.SetRules(u"<ConvertRuleDesc/>");
  EXPECT_EQ(Load(), kOk) << "the next call loads both";
  EXPECT_NE(g_conversion.cachedRuleSet, nullptr);
}

TEST_F(LoadSets, AByteOrderMarkIsSkipped) {
  module.SetDescriptions(u"\uFEFF" + WideString(kJobDescriptions));
  module.SetRules(u"\uFEFF<ConvertRuleDesc/>");
  EXPECT_EQ(Load(), kOk);
}

TEST_F(LoadSets, TextEndsAtItsFirstZero) {
  module.SetDescriptions(WideString(kJobDescriptions) + WideString(u"\0<junk", 6));
  EXPECT_EQ(Load(), kOk);
}

// --- the lock ----------------------------------------------------------------------------------------------

TEST(Lock, IsLeftByEveryCall) {
  const ScopedLog log;
  TestModule module{kJobDescriptions};
  SBXVerifyStructSize(module.handle(), kPdbId, kRuleId, u"Job", 16, nullptr);
  SBXVerifyStructSize(module.handle(), kPdbId, kRuleId, u"Job", 17, nullptr);
  SBXVerifyStructSize(nullptr, 0, 1, u"Job", 17, nullptr);
  SBXVerifyStructSize(nullptr, 0, 0, nullptr, 17, nullptr);
  bool free = false;
  std::thread([&free] {
    free = ConversionMutex().try_lock();
    if (free) ConversionMutex().unlock();
  }).join();
  EXPECT_TRUE(free);
}

}  // namespace
}  // namespace sbx::testing
