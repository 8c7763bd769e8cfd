#include "platform/named_objects.h"

#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "support/killable_process.h"
#include "support/log_sandbox.h"
#include "support/mutex_holder.h"
#include "support/sanitizers.h"

namespace sbx::platform {
namespace {

using sbx::testing::HoldMutex;
using sbx::testing::KillableProcess;

class NamedObjects : public ::testing::Test {
 protected:
  sbx::testing::LogSandbox sandbox_;
};

TEST_F(NamedObjects, OpeningSomethingThatDoesNotExistFindsNothing) {
  NamedMutex mutex;
  NamedEvent event;
  SharedBlock block;
  EXPECT_EQ(mutex.Open(u"Global\\x"), ObjectStatus::kNotFound);
  EXPECT_EQ(event.Open(u"Global\\x"), ObjectStatus::kNotFound);
  EXPECT_EQ(block.Open(u"Global\\x"), ObjectStatus::kNotFound);
  EXPECT_FALSE(EventExists(u"Global\\x"));
  EXPECT_FALSE(mutex.IsOpen());
  EXPECT_EQ(mutex.Wait(0), WaitResult::kFailed);
  EXPECT_EQ(event.Wait(0), WaitResult::kFailed);
  EXPECT_EQ(block.Map(1), nullptr);
}

TEST_F(NamedObjects, TheSecondCreatorLearnsThatTheObjectExisted) {
  SharedBlock first;
  SharedBlock second;
  EXPECT_EQ(first.Create(u"Global\\b", 10'000), ObjectStatus::kOk);
  EXPECT_EQ(second.Create(u"Global\\b", 20), ObjectStatus::kExisted);
  static_cast<char*>(first.Map(10'000))[9'999] = 'x';
  ASSERT_NE(second.Map(10'000), nullptr) << "the first size holds";
  EXPECT_EQ(static_cast<char*>(second.Map(10'000))[9'999], 'x');
  EXPECT_EQ(second.Map(3 * 4096 + 1), nullptr) << "no more than the block holds";
}

TEST_F(NamedObjects, ANewBlockIsZero) {
  SharedBlock block;
  ASSERT_EQ(block.Create(u"z", 5000), ObjectStatus::kOk);
  const char* bytes = static_cast<const char*>(block.Map(5000));
  EXPECT_EQ(std::count(bytes, bytes + 5000, 0), 5000);
}

TEST_F(NamedObjects, AllKindsShareOneNameSpace) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"n", EventReset::kAuto), ObjectStatus::kOk);
  NamedMutex mutex;
  SharedBlock block;
  EXPECT_EQ(mutex.Create(u"n"), ObjectStatus::kWrongKind);
  EXPECT_EQ(mutex.Open(u"n"), ObjectStatus::kWrongKind);
  EXPECT_EQ(block.Create(u"n", 8), ObjectStatus::kWrongKind);
  EXPECT_EQ(block.Open(u"n"), ObjectStatus::kWrongKind);
  EXPECT_TRUE(EventExists(u"n"));
  NamedMutex other;
  ASSERT_EQ(other.Create(u"m"), ObjectStatus::kOk);
  EXPECT_FALSE(EventExists(u"m"));
}

TEST_F(NamedObjects, NamesAreComparedExactly) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"Global\\Name", EventReset::kAuto), ObjectStatus::kOk);
  for (const char16_t* other :
       {u"Global\\name", u"Local\\Name", u"Name", u"Global/Name", u"Global%005CName"}) {
    EXPECT_FALSE(EventExists(other)) << std::string(other, other + std::char_traits<char16_t>::length(other));
  }
}

TEST_F(NamedObjects, AnObjectGoesWithItsLastHandle) {
  NamedEvent first;
  NamedEvent second;
  ASSERT_EQ(first.Create(u"e", EventReset::kManual), ObjectStatus::kOk);
  ASSERT_EQ(second.Open(u"e"), ObjectStatus::kOk);
  first.Set();
  first.Close();
  EXPECT_TRUE(EventExists(u"e"));
  EXPECT_EQ(second.Wait(0), WaitResult::kObtained) << "the state stays";
  second.Close();
  EXPECT_FALSE(EventExists(u"e"));
  ASSERT_EQ(first.Create(u"e", EventReset::kManual), ObjectStatus::kOk);
  EXPECT_EQ(first.Wait(0), WaitResult::kTimeout) << "a new object, not signalled";
}

TEST_F(NamedObjects, AnObjectGoesWithAKilledHolder) {
  KillableProcess child([] {
    NamedEvent event;
    event.Create(u"killed", EventReset::kAuto);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(child.Await());
  EXPECT_TRUE(EventExists(u"killed"));
  child.Kill();
  EXPECT_FALSE(EventExists(u"killed"));
  NamedEvent event;
  EXPECT_EQ(event.Open(u"killed"), ObjectStatus::kNotFound);
}

TEST_F(NamedObjects, AnObjectOutlivesItsKilledMakerInOtherHands) {
  KillableProcess child([] {
    SharedBlock block;
    block.Create(u"b", 64);
    static_cast<char*>(block.Map(64))[0] = 'k';
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(child.Await());
  SharedBlock block;
  ASSERT_EQ(block.Open(u"b"), ObjectStatus::kOk);
  child.Kill();
  SharedBlock again;
  ASSERT_EQ(again.Create(u"b", 64), ObjectStatus::kExisted);
  EXPECT_EQ(static_cast<char*>(again.Map(64))[0], 'k');
}

TEST_F(NamedObjects, AMutexIsRecursiveByThread) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Create(u"m"), ObjectStatus::kOk);
  for (int i = 0; i < 31; ++i) ASSERT_EQ(mutex.Wait(0), WaitResult::kObtained);
  const auto tryElsewhere = [&] {
    WaitResult result = WaitResult::kFailed;
    std::thread([&] {
      NamedMutex other;
      static_cast<void>(other.Open(u"m"));
      result = other.Wait(0);
      if (result == WaitResult::kObtained) other.Release();
    }).join();
    return result;
  };
  for (int i = 0; i < 30; ++i) mutex.Release();
  EXPECT_EQ(tryElsewhere(), WaitResult::kTimeout);
  mutex.Release();
  EXPECT_EQ(tryElsewhere(), WaitResult::kObtained);
}

TEST_F(NamedObjects, ReleasingAMutexOfAnotherThreadDoesNothing) {
  if (sbx::testing::kThreadSanitized) GTEST_SKIP() << "it would report the mistake that this is";
  NamedMutex mutex;
  ASSERT_EQ(mutex.Create(u"m"), ObjectStatus::kOk);
  ASSERT_EQ(mutex.Wait(0), WaitResult::kObtained);
  std::thread([&] {
    mutex.Release();
    EXPECT_EQ(mutex.Wait(10), WaitResult::kTimeout);
  }).join();
  mutex.Release();
}

TEST_F(NamedObjects, AnAbandonedMutexIsTakenOverAndToldOnce) {
  NamedMutex mutex;
  ASSERT_TRUE(IsOpened(mutex.Create(u"m")));
  KillableProcess child([] {
    NamedMutex own;
    own.Open(u"m");
    own.Wait(0);
    own.Wait(0);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(child.Await());
  EXPECT_EQ(mutex.Wait(10), WaitResult::kTimeout);
  child.Kill();
  EXPECT_EQ(mutex.Wait(5000), WaitResult::kAbandoned);
  mutex.Release();
  EXPECT_EQ(mutex.Wait(0), WaitResult::kObtained);
  mutex.Release();
}

TEST_F(NamedObjects, AWaiterGetsTheMutexOfAThreadThatEnds) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Create(u"m"), ObjectStatus::kOk);
  std::thread([&] { EXPECT_EQ(mutex.Wait(0), WaitResult::kObtained); }).join();
  EXPECT_EQ(mutex.Wait(5000), WaitResult::kAbandoned);
  mutex.Release();
}

TEST_F(NamedObjects, AWaiterIsWokenWhenTheHolderIsKilled) {
  NamedMutex mutex;
  ASSERT_TRUE(IsOpened(mutex.Create(u"m")));
  KillableProcess child([] { return HoldMutex(u"m"); });
  ASSERT_TRUE(child.Await());
  std::atomic<WaitResult> result = WaitResult::kFailed;
  std::thread waiter([&] {
    result = mutex.Wait(kWaitForever);
    mutex.Release();
  });
  child.Kill();
  waiter.join();
  EXPECT_EQ(result.load(), WaitResult::kAbandoned);
}

TEST_F(NamedObjects, ClosingAMutexThatIsOwnedHarmsNoLaterLock) {
  NamedMutex kept;
  ASSERT_EQ(kept.Create(u"m"), ObjectStatus::kOk);
  std::thread([] {
    NamedMutex mutex;
    ASSERT_EQ(mutex.Open(u"m"), ObjectStatus::kOk);
    ASSERT_EQ(mutex.Wait(0), WaitResult::kObtained);
    mutex.Close();
    NamedMutex next;
    ASSERT_EQ(next.Create(u"other"), ObjectStatus::kOk);
    EXPECT_EQ(next.Wait(0), WaitResult::kObtained);
    next.Release();
  }).join();
  EXPECT_EQ(kept.Wait(5000), WaitResult::kAbandoned);
  kept.Release();
}

TEST_F(NamedObjects, AnAutoResetEventLetsOnePass) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kOk);
  event.Set();
  event.Set();
  EXPECT_EQ(event.Wait(0), WaitResult::kObtained);
  EXPECT_EQ(event.Wait(0), WaitResult::kTimeout);
}

TEST_F(NamedObjects, AManualResetEventLetsAllPassUntilReset) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"e", EventReset::kManual), ObjectStatus::kOk);
  event.Set();
  EXPECT_EQ(event.Wait(0), WaitResult::kObtained);
  EXPECT_EQ(event.Wait(0), WaitResult::kObtained);
  event.Reset();
  EXPECT_EQ(event.Wait(0), WaitResult::kTimeout);
}

TEST_F(NamedObjects, AWaitingProcessIsWokenByAnother) {
  NamedEvent request;
  NamedEvent answer;
  ASSERT_TRUE(IsOpened(request.Create(u"request", EventReset::kAuto)));
  ASSERT_TRUE(IsOpened(answer.Create(u"answer", EventReset::kAuto)));
  KillableProcess child([] {
    NamedEvent asked;
    NamedEvent reply;
    asked.Open(u"request");
    reply.Open(u"answer");
    for (int i = 0; i < 100; ++i) {
      if (asked.Wait(10'000) != WaitResult::kObtained) return 1;
      reply.Set();
    }
    return 0;
  });
  for (int i = 0; i < 100; ++i) {
    request.Set();
    ASSERT_EQ(answer.Wait(10'000), WaitResult::kObtained);
  }
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(NamedObjects, AWaiterKilledWhileWaitingHarmsNoOther) {
  NamedEvent event;
  ASSERT_TRUE(IsOpened(event.Create(u"e", EventReset::kAuto)));
  KillableProcess child([] {
    NamedEvent own;
    own.Open(u"e");
    KillableProcess::Say();
    own.Wait(kWaitForever);
    return 0;
  });
  ASSERT_TRUE(child.Await());
  child.Kill();
  event.Set();
  EXPECT_EQ(event.Wait(0), WaitResult::kObtained);
}

TEST_F(NamedObjects, OfManyMakersOneMakes) {
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> made = 0;
    std::atomic<int> failed = 0;
    SharedBlock blocks[8];
    std::vector<std::thread> threads;
    for (SharedBlock& block : blocks) {
      threads.emplace_back([&] {
        const ObjectStatus status = block.Create(u"contended", 4096);
        if (status == ObjectStatus::kOk) ++made;
        if (!IsOpened(status)) ++failed;
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(made.load(), 1);
    EXPECT_EQ(failed.load(), 0);
  }
}

}  // namespace
}  // namespace sbx::platform
