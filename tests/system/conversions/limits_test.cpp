// The way back through the built library where a description or a document asks for more than there is.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "chain_module.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sbx::testing {
namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

// A record "Link" of that size with the one item "a".
std::u16string OneItem(const std::string& recordSize, const std::string& type, const std::string& size,
                       const std::string& offset = "0") {
  const std::string text = "<StructureDescription><JSStruct name=\"Link\" size=\"" + recordSize +
                           "\" numOfItems=\"1\"><JSStructItem name=\"a\" type=\"" + type + "\" size=\"" +
                           size + "\" offset=\"" + offset + "\"/></JSStruct></StructureDescription>";
  return std::u16string(text.begin(), text.end());
}

std::int32_t ToMemory(const ChainModule& module, const std::u16string& items, JSHandle** handle) {
  const std::u16string xml = u"<J><Link>" + items + u"</Link></J>";
  return SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), handle);
}

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

TEST(Limits, AGraphPast4GigabytesIsRefusedWhateverTheMachineHas) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer needs address space of its own";
  EXPECT_EQ(InChild([]() noexcept {
              const std::u16string large = OneItem("8", "uchar[1000000000]*", "8");
              const ChainModule module(large);
              std::u16string items;
              for (int i = 0; i < 5; ++i) items += u"<a/>";  // untouched pages cost nothing
              JSHandle* handle = nullptr;
              Require(ToMemory(module, items, &handle) == SBX_E_MEMORY && handle == nullptr);
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

struct FarItem {
  const char* why;
  const char* recordSize;
  const char* type;
  const char* size;
  const char* offset;
  const char16_t* text;  // of the error slot
};

constexpr const char16_t* kOutside = u"Invalid the PDB info for the struct item a";

constexpr FarItem kFarItems[] = {
    {"a sum that passes 32 bits", "24", "int", "4", "2147483647", kOutside},
    {"an item of 2 GiB", "24", "uchar[2147483647]", "2147483647", "0", kOutside},
    {"both", "24", "uchar[2147483647]", "2147483647", "2147483647", kOutside},
    {"the last byte of a record of 2 GiB", "2147483647", "uchar", "1", "2147483647", kOutside},
    {"a count whose product with the size wraps to the item's", "24", "int[1073741825]", "4", "0",
     u"Invalid size 4 for the type int[1073741825]"},
};

TEST(Limits, AnItemThatLeavesItsRecordEndsInACode) {
  const Link link;
  for (const FarItem& row : kFarItems) {
    SCOPED_TRACE(row.why);
    const std::u16string descriptions = OneItem(row.recordSize, row.type, row.size, row.offset);
    const ChainModule module(descriptions);
    std::int32_t units = 0x7FFFFFFF;
    EXPECT_EQ(SBXBinaryToXML_Text(module.handle(), 1, 2, u"Link", &link, 0x7FFFFFFF, nullptr, &units, 0),
              SBX_E_DESCRIPTION);
    char16_t text[200];
    SBXGetLastError(text, 200);
    EXPECT_EQ(std::u16string(text), row.text);
  }
}

std::u16string Nested(std::u16string_view tag, std::size_t levels, std::u16string_view inside) {
  std::u16string text;
  for (std::size_t i = 0; i < levels; ++i) text.append(u"<").append(tag).append(u">");
  text += inside;
  for (std::size_t i = 0; i < levels; ++i) text.append(u"</").append(tag).append(u">");
  return text;
}

TEST(Limits, AHundredThousandLevelsEndInACode) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  const ChainModule module;
  JSHandle* handle = nullptr;
  const std::int32_t rc = ToMemory(module, Nested(u"Next", 100'000, u"<Number>1</Number>"), &handle);
  EXPECT_TRUE(rc == SBX_OK || rc == SBX_E_MEMORY) << rc;
  SBXFreeJSHandle(handle);
  EXPECT_EQ(ToMemory(module, Nested(u"Unknown", 100'000, u""), &handle), SBX_OK) << "nobody looks into it";
  SBXFreeJSHandle(handle);
  EXPECT_EQ(ToMemory(module, u"<Name>" + Nested(u"b", 100'000, u"deep") + u"</Name>", &handle), SBX_OK);
  void* root = nullptr;
  ASSERT_EQ(SBXHandleToBuffer(handle, &root, nullptr), SBX_OK);
  EXPECT_EQ(std::u16string(static_cast<const Link*>(root)->name), u"deep");
  SBXFreeJSHandle(handle);
}

}  // namespace
}  // namespace sbx::testing
