#include "platform/thread_stack.h"

#include <gtest/gtest.h>
#include <thread>

#include "platform/stack_recursion.h"

namespace sbx::platform {
namespace {

TEST(ThreadStack, HasRoomLeftAtTheStart) {
  EXPECT_FALSE(IsStackNearlyUsedUp(StackLimit()));
  EXPECT_LT(StackLimit(), reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) - 64 * 1024);
}

TEST(ThreadStack, IsTheSameAtAnyDepth) {
  const std::uintptr_t limit = StackLimit();
  EXPECT_EQ(LimitAtDepth(100), limit);
}

TEST(ThreadStack, EndsARecursionBeforeTheStackEnds) {
  EXPECT_GT(RecurseToTheLimit(StackLimit()), 50u);
}

TEST(ThreadStack, EveryThreadHasItsOwn) {
  std::uintptr_t other = 0;
  std::size_t depth = 0;
  std::thread([&] {
    other = StackLimit();
    depth = RecurseToTheLimit(other);
  }).join();
  EXPECT_NE(other, StackLimit());
  EXPECT_GT(depth, 50u);
}

TEST(ThreadStack, ALimitAboveIsUsedUp) {
  EXPECT_TRUE(IsStackNearlyUsedUp(UINTPTR_MAX));
  EXPECT_FALSE(IsStackNearlyUsedUp(0));
}

}  // namespace
}  // namespace sbx::platform
