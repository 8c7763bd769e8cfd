// The way back through the built library where a description or a document asks for more than there is.
#include <gtest/gtest.h>
#include <string>

#include "one_item.h"
#include "support/child_process.h"
#include "support/host_system.h"
#include "support/sanitizers.h"

namespace sbx::testing {
namespace {

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
  if (IsWine()) GTEST_SKIP() << "it loads 256 levels";
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
