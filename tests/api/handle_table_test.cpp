#include "api/handle_table.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace sbx {
namespace {

class Handles : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(HandleCount(), 0); }
  void TearDown() override {
    FreeAllHandles();
    EXPECT_EQ(HandleCount(), 0);
  }
  static JSHandle* Given() {
    JSHandle* const handle = CreateHandle();
    GiveOutHandle(handle);
    return handle;
  }
  static bool IsKnown(const JSHandle* handle) {
    void* root = nullptr;
    std::uint32_t size = 0;
    return QueryHandle(handle, root, size);
  }
};

TEST_F(Handles, AreFoundOnceGivenOut) {
  JSHandle* const handle = CreateHandle();
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(HandleCount(), 1);
  EXPECT_FALSE(IsKnown(handle));
  FreeHandle(handle);
  EXPECT_EQ(HandleCount(), 1) << "a handle under conversion can't be freed by an old address";
  GiveOutHandle(handle);
  EXPECT_TRUE(IsKnown(handle));
}

TEST_F(Handles, TellTheirRootAndTotalSize) {
  JSHandle* const handle = Given();
  handle->root = AddBlock(*handle, 24);
  AddBlock(*handle, 8);
  void* root = nullptr;
  std::uint32_t size = 0;
  ASSERT_TRUE(QueryHandle(handle, root, size));
  EXPECT_EQ(root, handle->root);
  EXPECT_EQ(size, 32u);
}

TEST_F(Handles, AreRefusedPastOneHundred) {
  for (std::int32_t i = 0; i < kHandleTableSize; ++i) ASSERT_NE(CreateHandle(), nullptr);
  EXPECT_EQ(CreateHandle(), nullptr);
  EXPECT_EQ(HandleCount(), 100);
}

TEST_F(Handles, FreeingTwiceChangesNothing) {
  JSHandle* const first = Given();
  JSHandle* const second = Given();
  FreeHandle(first);
  FreeHandle(first);
  FreeHandle(nullptr);
  EXPECT_EQ(HandleCount(), 1);
  EXPECT_FALSE(IsKnown(first));
  EXPECT_TRUE(IsKnown(second));
}

TEST_F(Handles, FreeingAMiddleEntryKeepsTheOthers) {
  std::vector<JSHandle*> handles;
  for (int i = 0; i < 5; ++i) handles.push_back(Given());
  FreeHandle(handles[2]);
  EXPECT_EQ(HandleCount(), 4);
  for (const std::size_t i : {0u, 1u, 3u, 4u}) EXPECT_TRUE(IsKnown(handles[i])) << i;
  JSHandle* const last = Given();
  EXPECT_TRUE(IsKnown(last));
  EXPECT_EQ(HandleCount(), 5);
}

TEST_F(Handles, DiscardingFreesWhatWasNeverGivenOut) {
  JSHandle* const handle = CreateHandle();
  AddBlock(*handle, 100);
  DiscardHandle(handle);
  EXPECT_EQ(HandleCount(), 0);
}

TEST_F(Handles, MayBeFreedAndQueriedWhileOthersAreMade) {
  std::atomic<bool> stop{false};
  std::atomic<JSHandle*> latest{nullptr};
  std::thread reader([&] {
    while (!stop) {
      IsKnown(latest);
      FreeHandle(latest);
    }
  });
  for (int i = 0; i < 2000; ++i) {
    JSHandle* const handle = CreateHandle();
    ASSERT_NE(handle, nullptr);
    handle->root = AddBlock(*handle, 16);
    GiveOutHandle(handle);
    latest = handle;
    if (i % 50 == 0) FreeAllHandles();
    FreeHandle(handle);
  }
  stop = true;
  reader.join();
}

}  // namespace
}  // namespace sbx
