// Tables of resources that are none, or not what they say.
#include "api/conversion_sets.h"
#include "export_fixture.h"
#include "support/edge_of_memory.h"

namespace sbx::testing {
namespace {

// A table of one description resource and a good rule document.
class BadResource : public ExportTest {
 protected:
  std::int32_t Load(const void* bytes, std::uint32_t size) {
    SBXModuleResource entries[2] = {{"XML", 1, size, bytes}, {"XML", 2, 36, u"<ConvertRuleDesc/>"}};
    const SBXModuleResources table = {2, entries};
    return LoadConversionSets(&table, 1, 2);
  }
};

TEST_F(BadResource, NullBytesCannotBeRead) {
  EXPECT_EQ(Load(nullptr, 10), kResource);
  EXPECT_EQ(Lines(), (Log{{0, u"Load PDB resource failed."}}));
}

TEST_F(BadResource, BytesWithoutMemoryCannotBeRead) {
  EXPECT_EQ(Load(Nowhere<const void*>(), 10), kResource);
  const EdgeOfMemory edge(64);
  EXPECT_EQ(Load(edge.data(), 65), kResource);
  EXPECT_EQ(Load(edge.data(), 0xFFFFFFFF), kResource);
  EXPECT_EQ(Lines(), Log(3, {0, u"Load PDB resource failed."}));
}

TEST_F(BadResource, AnEmptyOneIsNoDocument) {
  EXPECT_EQ(Load(u"", 0), kResource);
  EXPECT_EQ(Lines(0).back(), u"Load PDB resource from XML failed.");
}

TEST_F(BadResource, AnOddSizeEndsInAUnitOfItsOwn) {
  const WideView good = u"<StructureDescription/>";
  EXPECT_EQ(Load(good.data(), static_cast<std::uint32_t>(good.size() * 2 - 1)), kOk)
      << "the missing high byte reads as the zero that it is";
}

TEST_F(BadResource, ResourcesOfAnotherTypeDoNotCount) {
  SBXModuleResource entries[1] = {{"TXT", 1, 2, u"x"}};
  const SBXModuleResources table = {1, entries};
  EXPECT_EQ(LoadConversionSets(&table, 1, 1), kResource);
  EXPECT_EQ(Lines(), (Log{{0, u"Find PDB resource failed."}}));
}

TEST_F(BadResource, AModuleThatIsNone) {
  EXPECT_EQ(LoadConversionSets(Nowhere<const void*>(), 1, 2), kResource);
  const SBXModuleResources wild = {0xFFFFFFFF, Nowhere<const SBXModuleResource*>()};
  EXPECT_EQ(LoadConversionSets(&wild, 1, 2), kResource);
  EXPECT_EQ(Lines(), Log(2, {0, u"Find PDB resource failed."}));
}

TEST_F(BadResource, TheRuleDocumentHasWordsOfItsOwn) {
  SBXModuleResource entries[2] = {{"XML", 1, 46, u"<StructureDescription/>"}, {"XML", 2, 36, nullptr}};
  SBXModuleResources table = {2, entries};
  EXPECT_EQ(LoadConversionSets(&table, 1, 2), kResource);
  table.count = 1;
  EXPECT_EQ(LoadConversionSets(&table, 1, 2), kResource);
  EXPECT_EQ(Lines(0), (Texts{u"Load rule resource failed.", u"Find rule resource failed."}));
}

}  // namespace
}  // namespace sbx::testing
