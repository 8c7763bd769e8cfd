// Conversions through the built library on data that tries to end the process.
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "chain_module.h"
#include "platform/guarded_pages.h"
#include "sized_stack.h"
#include "support/child_process.h"
#include "support/host_system.h"
#include "support/sanitizers.h"
#include "support/written_xml.h"

namespace sbx::testing {
namespace {

std::u16string LastError() {
  char16_t text[4096];
  SBXGetLastError(text, 4096);
  return text;
}

std::vector<Link> Chain(std::size_t links) {
  std::vector<Link> chain(links);
  for (std::size_t i = 0; i + 1 < links; ++i) chain[i].next = &chain[i + 1];
  return chain;
}

// --- depth -------------------------------------------------------------------------------------------------

TEST(Depth, AChainOfAHundredThousandEndsInACode) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  const ChainModule module;
  const std::vector<Link> chain = Chain(100'000);
  std::int32_t units = 0;
  EXPECT_EQ(module.Measure(chain.data(), &units), SBX_E_MEMORY);
  EXPECT_EQ(LastError(), u"Stack exhausted for converting struct Link");
  EXPECT_EQ(module.Measure(&chain.back(), &units), SBX_OK) << "and the next call works";
}

TEST(Depth, CyclesEndInACodeOnStacksOfAnySize) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  const ChainModule module;
  Link ring[3];
  ring[0].next = &ring[1];
  ring[1].next = &ring[2];
  ring[2].next = &ring[0];
  for (const std::size_t kilobytes : {128u, 256u, 512u, 2048u, 16384u}) {
    SCOPED_TRACE(kilobytes);
    if (IsWine() && kilobytes > 2048) continue;  // its time grows with the square of the depth
    std::int32_t rc = 0;
    OnStack(kilobytes * 1024, [&] {
      std::int32_t units = 0;
      rc = module.Measure(ring, &units);
    });
    EXPECT_EQ(rc, SBX_E_MEMORY);
    EXPECT_EQ(LastError(), u"Stack exhausted for converting struct Link");
  }
}

TEST(Depth, AThreadOfOrdinarySizeConvertsThousandsOfLevels) {
  const ChainModule module;
  const std::vector<Link> chain = Chain(2'000);
  OnStack(std::size_t{8} << 20, [&] {
    std::u16string xml;
    EXPECT_EQ(module.Convert(chain.data(), xml), SBX_OK);
    EXPECT_EQ(AsEverywhere(xml).size(),
              std::u16string_view(u"<JobScriptXMLDescription><Link>").size() + 1'999 * 48 +
                  std::u16string_view(u"<Next flag=\"null\"/><Name>link</Name><Number>5</Number>"
                                      u"</Link></JobScriptXMLDescription>")
                      .size());
  });
}

// --- documents ---------------------------------------------------------------------------------------------

// Documents with declarations of their own are validated by MSXML and fail there, but not by Wine's.
constexpr std::int32_t kDeclared = kIsMsxml ? SBX_E_RESOURCE : SBX_E_DESCRIPTION;

struct DocumentCase {
  std::u16string_view descriptions;
  std::u16string_view rules;
  std::int32_t code;
  const char* why;
};

TEST(Documents, OfEveryKindOfDamageEndInACode) {
  const std::u16string_view good = kLinkDescriptions;
  const DocumentCase cases[] = {
      {u"", kNoRules, SBX_E_RESOURCE, "an empty document"},
      {u"text", kNoRules, SBX_E_RESOURCE, "no markup"},
      {u"<", kNoRules, SBX_E_RESOURCE, "the start of a tag"},
      {u"<StructureDescription>", kNoRules, SBX_E_RESOURCE, "not closed"},
      {u"<StructureDescription></structureDescription>", kNoRules, SBX_E_RESOURCE, "closed by another name"},
      {u"<StructureDescription/><x/>", kNoRules, SBX_E_RESOURCE, "two roots"},
      {u"<structureDescription/>", kNoRules, SBX_E_RESOURCE, "another root"},
      {u"<StructureDescription>&undefined;</StructureDescription>", kNoRules, SBX_E_RESOURCE,
       "an unknown entity"},
      {u"<!DOCTYPE a SYSTEM \"/etc/passwd\"><StructureDescription/>", kNoRules, kDeclared,
       "an external subset is not fetched: the set is empty"},
      {u"<!DOCTYPE a [<!ENTITY x SYSTEM \"/etc/passwd\">]><StructureDescription>&x;</StructureDescription>",
       kNoRules, SBX_E_RESOURCE, "an external entity"},
      {u"<!DOCTYPE a [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
       u"<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
       u"<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\"><!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">"
       u"<!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\"><!ENTITY h \"&g;&g;&g;&g;&g;&g;&g;&g;&g;&g;\">"
       u"<!ENTITY i \"&h;&h;&h;&h;&h;&h;&h;&h;&h;&h;\"><!ENTITY j \"&i;&i;&i;&i;&i;&i;&i;&i;&i;&i;\">]>"
       u"<StructureDescription>&j;</StructureDescription>",
       kNoRules, SBX_E_RESOURCE, "entities that grow without measure"},
      {u"<StructureDescription>\x01</StructureDescription>", kNoRules, SBX_E_RESOURCE, "a control character"},
      {u"<StructureDescription>\xD800</StructureDescription>", kNoRules, SBX_E_RESOURCE, "a lone surrogate"},
      {u"<StructureDescription><JSStruct name=\"Link\" size=\"24\" numOfItems=\"9\"/></StructureDescription>",
       kNoRules, SBX_E_RESOURCE, "a wrong count"},
      {u"<StructureDescription><JSStruct name=\"Link\" size=\"0x18\" "
       u"numOfItems=\"0\"/></StructureDescription>",
       kNoRules, SBX_E_RESOURCE, "a size that is no number"},
      {u"<StructureDescription/>", kNoRules, SBX_E_DESCRIPTION, "no records"},
      {good, u"", SBX_E_RESOURCE, "empty rules"},
      {good, u"<ConvertRuleDesc><Rules/></ConvertRuleDesc>", SBX_E_RESOURCE, "rules without a name"},
      {good, u"<ConvertRuleDesc><Rules name=\"Link\"><RuleItem/></Rules></ConvertRuleDesc>", SBX_E_RESOURCE,
       "a rule without a name"},
      {good, u"<StructureDescription/>", SBX_E_RESOURCE, "descriptions for rules"},
  };
  const Link link;
  for (const DocumentCase& test : cases) {
    SCOPED_TRACE(test.why);
    if (kIsWindows && (test.descriptions.empty() || test.rules.empty()))
      continue;  // empty_documents_win_test.cpp
    if (IsWine() && test.descriptions.starts_with(u"<!DOCTYPE")) continue;
    const ChainModule module(test.descriptions, test.rules);
    std::int32_t units = 0;
    EXPECT_EQ(module.Measure(&link, &units), test.code);
  }
}

TEST(Documents, EveryPrefixOfAGoodOneEndsInACode) {
  const Link link;
  std::int32_t units = 0;
  // That of no bytes is in empty_documents_win_test.cpp there.
  for (std::size_t length = kIsWindows ? 1 : 0; length < kLinkDescriptions.size(); ++length) {
    const std::u16string prefix(kLinkDescriptions.substr(0, length));
    EXPECT_EQ(ChainModule(prefix).Measure(&link, &units), SBX_E_RESOURCE) << length;
  }
}

TEST(Documents, NestedADeepWayDownAreRead) {
  if (IsWine()) GTEST_SKIP() << "it loads 256 levels";
  std::u16string deep = u"<StructureDescription>";
  for (int i = 0; i < 200'000; ++i) deep += u"<a>";
  for (int i = 0; i < 200'000; ++i) deep += u"</a>";
  deep += u"</StructureDescription>";
  const Link link;
  std::int32_t units = 0;
  EXPECT_EQ(ChainModule(deep).Measure(&link, &units), SBX_E_DESCRIPTION) << "read, but without the record";
}

// --- memory that comes and goes ----------------------------------------------------------------------------

TEST(Memory, ThatVanishesDuringAConversionEndsInACode) {
  const ChainModule module;
  constexpr std::size_t kPages = 64;
  platform::GuardedPages pages(kPages);
  // One link in each page, so that each is asked for by itself.
  const auto linkIn = [&](std::size_t page) {
    return reinterpret_cast<Link*>(pages.PageAt(page) + sizeof(Link));
  };
  for (std::size_t i = 0; i < kPages; ++i) {
    linkIn(i)->next = i + 1 < kPages ? linkIn(i + 1) : nullptr;
    linkIn(i)->name = u"x";
  }
  std::atomic<bool> stop = false;
  std::thread vandal([&] {
    while (!stop) {
      pages.Protect(32, platform::PageAccess::kNone);
      pages.Protect(32, platform::PageAccess::kReadWrite);
    }
  });
  int read = 0;
  int refused = 0;
  const int rounds = IsWine() ? 100 : 500;  // it asks a server for each change
  for (int i = 0; i < rounds; ++i) {
    std::int32_t units = 0;
    const std::int32_t rc = module.Measure(linkIn(0), &units);
    ASSERT_TRUE(rc == SBX_OK || rc == SBX_E_ADDRESS) << rc;
    (rc == SBX_OK ? read : refused) += 1;
  }
  stop = true;
  vandal.join();
  RecordProperty("read", read);
  RecordProperty("refused", refused);
}

TEST(Memory, PointersOfEveryWrongKindEndInACode) {
  const ChainModule module;
  const std::uintptr_t wrong[] = {1,
                                  8,
                                  0xFFF,
                                  0x0000'8000'0000'0000,  // not canonical
                                  0xFFFF'8000'0000'0000,  // the system's
                                  UINTPTR_MAX - 7,
                                  UINTPTR_MAX};
  for (const std::uintptr_t address : wrong) {
    Link link;
    std::memcpy(&link.next, &address, sizeof address);
    std::int32_t units = 0;
    EXPECT_EQ(module.Measure(&link, &units), SBX_E_ADDRESS) << std::hex << address;
    link = Link();
    std::memcpy(&link.name, &address, sizeof address);
    EXPECT_EQ(module.Measure(&link, &units), SBX_E_ADDRESS) << std::hex << address;
    const void* root = nullptr;
    std::memcpy(&root, &address, sizeof address);
    EXPECT_EQ(module.Measure(root, &units), SBX_E_ADDRESS) << std::hex << address;
  }
}

// --- threads -----------------------------------------------------------------------------------------------

TEST(Threads, ConvertBesideEachOther) {
  const ChainModule modules[4];
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([id, &module = modules[id]] {
      std::vector<Link> chain = Chain(20);
      for (Link& link : chain) link.number = id;
      for (int round = 0; round < 50; ++round) {
        std::u16string xml;
        ASSERT_EQ(module.Convert(chain.data(), xml), SBX_OK);
        ASSERT_NE(xml.find(u"<Number>" + std::u16string(1, static_cast<char16_t>(u'0' + id)) + u"</Number>"),
                  std::u16string::npos);
        JSHandle* handle = nullptr;
        ASSERT_EQ(SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), &handle), SBX_OK);
        ASSERT_EQ(SBXFreeJSHandle(handle), SBX_OK);
        LastError();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Verification, OfANameThatTheSetLacksStopsTheProcess) {
  EXPECT_EQ(InChild([] {
              const ChainModule module;
              SBXVerifyStructSize(module.handle(), 1, 2, u"Gone", 24, nullptr);
            }),
            "signal 4");
}

}  // namespace
}  // namespace sbx::testing
