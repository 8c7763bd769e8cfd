#include "x2b/js_handle.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace sbx {
namespace {

TEST(JSHandle, ANewOneHasNothing) {
  const JSHandle handle;
  EXPECT_TRUE(handle.blocks.empty());
  EXPECT_EQ(handle.root, nullptr);
  EXPECT_EQ(handle.totalSize, 0u);
}

TEST(JSHandle, BlocksAreZeroFilledAndCountedInOrder) {
  JSHandle handle;
  auto* const first = static_cast<unsigned char*>(AddBlock(handle, 24));
  auto* const second = static_cast<unsigned char*>(AddBlock(handle, 8));
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(std::all_of(first, first + 24, [](unsigned char byte) { return byte == 0; }));
  EXPECT_TRUE(std::all_of(second, second + 8, [](unsigned char byte) { return byte == 0; }));
  EXPECT_EQ(handle.blocks, (std::vector<void*>{first, second}));
  EXPECT_EQ(handle.totalSize, 32u);
}

TEST(JSHandle, GrowsPastItsFirstCapacity) {
  JSHandle handle;
  for (int i = 0; i < 1000; ++i) ASSERT_NE(AddBlock(handle, 3), nullptr);
  EXPECT_EQ(handle.blocks.size(), 1000u);
  EXPECT_EQ(handle.totalSize, 3000u);
}

TEST(JSHandle, ATotalPast32BitsIsRefusedAndChangesNothing) {
  JSHandle handle;
  ASSERT_NE(AddBlock(handle, 16), nullptr);
  handle.totalSize = std::numeric_limits<std::uint32_t>::max() - 7;
  EXPECT_EQ(AddBlock(handle, 8), nullptr);
  EXPECT_EQ(handle.blocks.size(), 1u);
  EXPECT_NE(AddBlock(handle, 7), nullptr) << "exactly the largest total";
  EXPECT_EQ(handle.totalSize, std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(AddBlock(handle, 1), nullptr);
}

TEST(JSHandle, AnImpossibleSizeIsRefused) {
  JSHandle handle;
  EXPECT_EQ(AddBlock(handle, std::numeric_limits<std::uint64_t>::max()), nullptr);
  EXPECT_EQ(AddBlock(handle, 0), nullptr);
  EXPECT_EQ(handle.totalSize, 0u);
}

}  // namespace
}  // namespace sbx
