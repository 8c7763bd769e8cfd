#include "platform/locks.h"

#include <gtest/gtest.h>
#include <latch>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace sbx::platform {
namespace {

template <class Lock>
class Locks : public ::testing::Test {};
using BothLocks = ::testing::Types<ShortLock, RecursiveLock>;
TYPED_TEST_SUITE(Locks, BothLocks);

TYPED_TEST(Locks, LetOneThreadInAtATime) {
  TypeParam lock;
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 5000; ++turn) {
        const std::scoped_lock guard(lock);
        ++counter;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 20000);
}

TYPED_TEST(Locks, AreRefusedToOthersWhileHeld) {
  TypeParam lock;
  lock.lock();
  std::thread([&] { EXPECT_FALSE(lock.try_lock()); }).join();
  lock.unlock();
  std::thread([&] {
    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
  }).join();
}

TEST(RecursiveLock, IsFreeWhenEachTakingHasBeenGivenBack) {
  RecursiveLock lock;
  lock.lock();
  lock.lock();
  EXPECT_TRUE(lock.try_lock());
  lock.unlock();
  lock.unlock();
  std::thread([&] { EXPECT_FALSE(lock.try_lock()); }).join();
  lock.unlock();
  std::thread([&] {
    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
  }).join();
}

// As in a forked child, where the thread that held the lock is gone.
TEST(RecursiveLock, IsFreedOfAThreadThatIsGone) {
  RecursiveLock lock;
  std::thread([&] {
    lock.lock();
    lock.lock();
  }).join();
  EXPECT_TRUE(lock.FreeInChild());
  EXPECT_FALSE(lock.FreeInChild()) << "free already";
  lock.lock();
  EXPECT_FALSE(lock.FreeInChild()) << "its own holder's";
  std::thread([&] { EXPECT_FALSE(lock.try_lock()); }).join();
  lock.unlock();
  std::thread([&] {
    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
  }).join();
}

TEST(ThreadNumber, TellsLivingThreadsApart) {
  const std::uintptr_t own = ThreadNumber();
  EXPECT_NE(own, 0u);
  EXPECT_EQ(ThreadNumber(), own);
  std::thread([own] { EXPECT_NE(ThreadNumber(), own); }).join();
}

TEST(ThreadTurns, StayAndSpread) {
  constexpr std::size_t kThreads = 16;
  std::vector<std::uint32_t> remainders(kThreads);
  std::latch all(kThreads);
  std::vector<std::thread> threads;
  for (std::uint32_t& remainder : remainders) {
    threads.emplace_back([&] {
      const std::uint32_t turn = ThreadTurn();
      remainder = turn % kThreads;
      all.arrive_and_wait();
      EXPECT_EQ(ThreadTurn(), turn);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(std::set<std::uint32_t>(remainders.begin(), remainders.end()).size(), kThreads / 4);
}

}  // namespace
}  // namespace sbx::platform
