#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <sbxml_module.h>
#include <vector>

#include "platform/guarded_pages.h"
#include "platform/memory_access.h"
#include "platform/module_resources.h"

namespace sbx::platform {
namespace {

const void* BadPointer(std::uintptr_t address) {
  return reinterpret_cast<const void*>(address);
}

TEST(ModuleResources, TheFirstOfTheTypeAndNameIsFound) {
  const char a[] = "a";
  const SBXModuleResource entries[] = {
      {"TXT", 1, 10, a},  {"XML", 2, 20, a + 1},   {"XML", 1, 30, a}, {"XML", 1, 40, nullptr},
      {"XMLX", 3, 50, a}, {"xml", 4, 60, a},       {"XM", 5, 70, a},  {"", 6, 80, a},
      {"XML", 7, 0, a},   {"XML", 8, 90, nullptr},
  };
  const SBXModuleResources module = {10, entries};
  const auto one = FindXmlResource(&module, 1);
  ASSERT_TRUE(one);
  EXPECT_EQ(one->size, 30u);
  EXPECT_EQ(one->bytes, a);
  EXPECT_EQ(FindXmlResource(&module, 2)->size, 20u);
  for (const std::uint16_t id : std::initializer_list<std::uint16_t>{3, 4, 5, 6, 9, 0})
    EXPECT_FALSE(FindXmlResource(&module, id)) << id;
  EXPECT_EQ(FindXmlResource(&module, 7)->size, 0u);
  EXPECT_EQ(FindXmlResource(&module, 8)->bytes, nullptr) << "it exists, but can't be read";
}

TEST(ModuleResources, NamesHave16Bits) {
  const char a[] = "a";
  const SBXModuleResource entries[] = {
      {"XML", 0x00050007, 1, a}, {"XML", 0xFFFFFFFF, 2, a}, {"XML", 0, 3, a}};
  const SBXModuleResources module = {3, entries};
  EXPECT_EQ(FindXmlResource(&module, 7)->size, 1u);
  EXPECT_EQ(FindXmlResource(&module, 0xFFFF)->size, 2u);
  EXPECT_EQ(FindXmlResource(&module, 0)->size, 3u);
  EXPECT_FALSE(FindXmlResource(&module, 5));
}

TEST(ModuleResources, EntriesBeyondTheCountAreNotSeen) {
  const SBXModuleResource entries[] = {{"XML", 1, 1, "a"}, {"XML", 2, 2, "a"}};
  SBXModuleResources module = {1, entries};
  EXPECT_FALSE(FindXmlResource(&module, 2));
  module.count = 0;
  EXPECT_FALSE(FindXmlResource(&module, 1));
}

TEST(ModuleResources, LongTables) {
  std::vector<SBXModuleResource> entries(70000, SBXModuleResource{"TXT", 2, 0, "a"});
  const SBXModuleResources module = {static_cast<std::uint32_t>(entries.size()), entries.data()};
  for (const std::size_t index : {63u, 64u, 127u, 5000u, 65535u}) {
    entries[index] = {"XML", 1, static_cast<std::uint32_t>(index), "a"};
    ASSERT_TRUE(FindXmlResource(&module, 1)) << index;
    EXPECT_EQ(FindXmlResource(&module, 1)->size, index);
    entries[index] = {"TXT", 2, 0, "a"};
  }
  entries[65536] = {"XML", 1, 1, "a"};
  EXPECT_FALSE(FindXmlResource(&module, 1)) << "longer than any table of distinct names";
}

TEST(ModuleResources, NoModuleIsNoHarm) {
  GuardedPages pages(1);
  for (const std::uintptr_t address :
       {std::uintptr_t{1}, pages.AddressOf(0) - 16, pages.AddressOf(4096 - 15), ~std::uintptr_t{0} - 15,
        ~std::uintptr_t{0}, std::uintptr_t{1} << 63}) {
    EXPECT_FALSE(FindXmlResource(BadPointer(address), 1)) << address;
  }
}

TEST(ModuleResources, TablesThatLeaveMemoryEndThere) {
  GuardedPages pages(2);
  // Two entries and a half are readable.
  const std::size_t offset = pages.bytes() - 60;
  const SBXModuleResource entries[] = {{"TXT", 1, 1, "a"}, {"XML", 1, 2, "a"}};
  std::memcpy(pages.At(offset), entries, sizeof entries);
  SBXModuleResources module = {0xFFFFFFFF,
                               static_cast<const SBXModuleResource*>(BadPointer(pages.AddressOf(offset)))};
  EXPECT_EQ(FindXmlResource(&module, 1)->size, 2u);
  EXPECT_FALSE(FindXmlResource(&module, 2));
  for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{1}, ~std::uintptr_t{0} - 100,
                                       ~std::uintptr_t{0}, pages.AddressOf(0) - 1, std::uintptr_t{1} << 63}) {
    module.resources = static_cast<const SBXModuleResource*>(BadPointer(address));
    EXPECT_FALSE(FindXmlResource(&module, 1)) << address;
  }
}

TEST(ModuleResources, TypesThatLeaveMemoryAreNoMatch) {
  GuardedPages pages(1);
  const auto text = [&](const char* content, std::size_t size) {
    std::memcpy(pages.At(pages.bytes() - size), content, size);
    return static_cast<const char*>(BadPointer(pages.AddressOf(pages.bytes() - size)));
  };
  SBXModuleResource entries[] = {{nullptr, 1, 1, "a"}, {"XML", 2, 2, "a"}};
  const SBXModuleResources module = {2, entries};
  EXPECT_FALSE(FindXmlResource(&module, 1));
  entries[0].type = static_cast<const char*>(BadPointer(~std::uintptr_t{0}));
  EXPECT_FALSE(FindXmlResource(&module, 1));
  entries[0].type = text("XML", 3);
  EXPECT_FALSE(FindXmlResource(&module, 1));
  EXPECT_TRUE(FindXmlResource(&module, 2)) << "the next entry is none the worse";
  entries[0].type = text("XML", 4);
  EXPECT_TRUE(FindXmlResource(&module, 1));
}

}  // namespace
}  // namespace sbx::platform
