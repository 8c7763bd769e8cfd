// The way back through the built library in processes whose memory is limited.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "one_item.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sbx::testing {
namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

// No more address space than what the process has now and that much more.
void LimitMemory(std::size_t more) {
  std::size_t pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  Require(file != nullptr && std::fscanf(file, "%zu", &pages) == 1);
  std::fclose(file);
  const rlim_t bytes = pages * 4096 + more;
  const rlimit limit = {bytes, bytes};
  Require(setrlimit(RLIMIT_AS, &limit) == 0);
}

struct Greed {
  const char* why;
  const char* recordSize;
  const char* type;
  const char* size;
  const char16_t* items;
  std::int32_t code;
};

// With 512 megabytes left.
constexpr Greed kGreeds[] = {
    {"a record of 2 GiB", "2147483647", "int", "4", u"<a>1</a>", SBX_E_MEMORY},
    {"a target of 2 GiB", "8", "uchar[2147483647]*", "8", u"<a>1</a>", SBX_E_MEMORY},
    {"a target just past 2 GiB", "8", "int[536870912]*", "8", u"<a>1</a>", SBX_E_CONTENT},
    {"counts whose product leaves 32 bits", "8", "int[1073741824][4]*", "8", u"<a>1</a>", SBX_E_CONTENT},
    {"records whose sizes together leave 32 bits", "2147483647", "Link[2147483647]*", "8", u"<a/>",
     SBX_E_MEMORY},
    {"an array that its item's size can't hold", "8", "int[1073741825]", "4", u"<a>1</a>", SBX_E_DESCRIPTION},
    {"few, each within the limit", "8", "uchar[300000000]*", "8", u"<a>1</a><a>1</a><a>1</a>", SBX_E_MEMORY},
};

TEST(Limits, WhatAsksForMoreThanThereIsEndsInACode) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer needs address space of its own";
  for (const Greed& greed : kGreeds) {
    EXPECT_EQ(InChild([&greed]() noexcept {
                LimitMemory(512 * kMegabyte);
                const std::u16string greedy = OneItem(greed.recordSize, greed.type, greed.size);
                const ChainModule module(greedy);
                JSHandle* handle = nullptr;
                const std::int32_t rc = ToMemory(module, greed.items, &handle);
                if (rc != greed.code) std::fprintf(stderr, "%s: code %d\n", greed.why, static_cast<int>(rc));
                Require(rc == greed.code && handle == nullptr);
                const ChainModule modest;
                Require(ToMemory(modest, u"<Number>1</Number>", &handle) == SBX_OK);
              }),
              "exit 0")
        << greed.why;
  }
}

TEST(Limits, ABlockWithinTheLimitIsHadEvenIfItIsLarge) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer needs address space of its own";
  EXPECT_EQ(InChild([]() noexcept {
              LimitMemory(512 * kMegabyte);
              const std::u16string large = OneItem("8", "uchar[300000000]*", "8");
              const ChainModule module(large);
              JSHandle* handle = nullptr;
              Require(ToMemory(module, u"<a>1 2</a>", &handle) == SBX_OK);
              void* root = nullptr;
              std::uint32_t size = 0;
              Require(SBXHandleToBuffer(handle, &root, &size) == SBX_OK && size == 300'000'008);
              const unsigned char* target = nullptr;
              std::memcpy(&target, root, sizeof target);
              Require(target[1] == 2 && target[2] == 0 && target[299'999'999] == 0);
            }),
            "exit 0");
}

TEST(Limits, ADocumentIsReadOrRefusedInAnyMemory) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer needs address space of its own";
  std::u16string items;
  for (int i = 0; i < 20'000; ++i) items += u"<Number>1</Number><Name>text</Name>";
  const std::u16string xml = u"<J><Link>" + items + u"</Link></J>";
  bool wasRead = false;
  bool wasRefused = false;
  for (std::size_t more = kMegabyte / 4; more <= 64 * kMegabyte; more += more / 2) {
    const std::string end = InChild([&]() noexcept {
      const ChainModule module;
      LimitMemory(more);
      JSHandle* handle = nullptr;
      _exit(10 - SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), &handle));
    });
    ASSERT_TRUE(end == "exit 10" || end == "exit 13") << end << " with " << more;
    wasRead = wasRead || end == "exit 10";
    wasRefused = wasRefused || end == "exit 13";
  }
  EXPECT_TRUE(wasRead);
  EXPECT_TRUE(wasRefused);
}

TEST(Limits, AGraphIsWrittenOrRefusedInAnyMemory) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer needs address space of its own";
  const std::u16string descriptions =
      u"<StructureDescription><JSStruct name=\"Link\" size=\"24\" numOfItems=\"1\">"
      u"<JSStructItem name=\"Next\" type=\"Leaf[60000]*\" size=\"8\" offset=\"0\"/></JSStruct>"
      u"<JSStruct name=\"Leaf\" size=\"24\" numOfItems=\"1\">"
      u"<JSStructItem name=\"Name\" type=\"wchar_t*\" size=\"8\" offset=\"8\"/></JSStruct>"
      u"</StructureDescription>";
  const std::vector<Link> leaves(60'000);
  const Link root = {leaves.data(), nullptr, 0};
  bool wasWritten = false;
  bool wasRefused = false;
  for (std::size_t more = kMegabyte / 4; more <= 128 * kMegabyte; more += more / 2) {
    const std::string end = InChild([&]() noexcept {
      const ChainModule module(descriptions);
      LimitMemory(more);
      std::int32_t units = 0;
      _exit(10 - module.Measure(&root, &units));
    });
    ASSERT_TRUE(end == "exit 10" || end == "exit 13") << end << " with " << more;
    wasWritten = wasWritten || end == "exit 10";
    wasRefused = wasRefused || end == "exit 13";
  }
  EXPECT_TRUE(wasWritten);
  EXPECT_TRUE(wasRefused);
}

}  // namespace
}  // namespace sbx::testing
