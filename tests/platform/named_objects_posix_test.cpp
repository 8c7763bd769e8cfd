// Named objects as files: their folder, its enemies, what killed processes leave behind.
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/module_identity.h"
#include "platform/named_object_format.h"
#include "platform/named_objects.h"
#include "platform/runtime_folder_posix.h"
#include "support/killable_process.h"
#include "support/log_sandbox.h"
#include "support/sleeping_thread.h"

namespace sbx::platform {
namespace {

using sbx::testing::KillableProcess;
namespace fs = std::filesystem;

class NamedObjectFiles : public ::testing::Test {
 protected:
  fs::path FileOf(WideView name) const { return sandbox_.runtime() / ObjectFileName(name); }
  std::size_t ObjectFiles() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(sandbox_.runtime())) {
      if (entry.path().filename() != ".generation") ++count;
    }
    return count;
  }
  sbx::testing::LogSandbox sandbox_;
};

TEST_F(NamedObjectFiles, NamesOfAnyUnitsAreTakenUpToALimit) {
  const WideString odd = u"/..\\:*?<>|\" \xD800 \x00E4";
  const WideString longest(1024, u'n');
  const WideString sibling = WideString(1023, u'n') + u"m";
  NamedEvent events[3];
  EXPECT_EQ(events[0].Create(odd, EventReset::kAuto), ObjectStatus::kOk);
  EXPECT_EQ(events[1].Create(longest, EventReset::kAuto), ObjectStatus::kOk);
  EXPECT_EQ(events[2].Create(sibling, EventReset::kAuto), ObjectStatus::kOk);
  EXPECT_TRUE(EventExists(odd));
  EXPECT_TRUE(EventExists(longest));
  EXPECT_EQ(ObjectFiles(), 3u);
  NamedEvent bad;
  EXPECT_EQ(bad.Create(WideString(1025, u'n'), EventReset::kAuto), ObjectStatus::kFailed);
  EXPECT_EQ(bad.Create(u"", EventReset::kAuto), ObjectStatus::kFailed);
  EXPECT_EQ(bad.Open(u""), ObjectStatus::kFailed);
}

TEST_F(NamedObjectFiles, WhatKilledProcessesLeftIsSweptByTheNextMakerOfABlock) {
  KillableProcess child([] {
    SharedBlock blocks[3];
    blocks[0].Create(u"pid-1", 64);
    blocks[1].Create(u"pid-2", 64);
    blocks[2].Create(u"pid-3", 64);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(child.Await());
  child.Kill();
  EXPECT_EQ(ObjectFiles(), 3u);
  std::ofstream(sandbox_.runtime() / "foreign") << "not an object";
  SharedBlock block;
  ASSERT_EQ(block.Create(u"mine", 64), ObjectStatus::kOk);
  EXPECT_EQ(ObjectFiles(), 2u) << "what is no object is left alone";
}

TEST_F(NamedObjectFiles, AForkedChildHoldsNothingOfItsParent) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kOk);
  NamedMutex mutex;
  ASSERT_EQ(mutex.Create(u"m"), ObjectStatus::kOk);
  ASSERT_EQ(mutex.Wait(0), WaitResult::kObtained);
  KillableProcess child([&] {
    const bool areClosed = !event.IsOpen() && !mutex.IsOpen() && mutex.Wait(0) == WaitResult::kFailed;
    NamedMutex own;
    const bool isHeldByParent = own.Open(u"m") == ObjectStatus::kOk && own.Wait(0) == WaitResult::kTimeout;
    own.Close();
    KillableProcess::Say();
    return areClosed && isHeldByParent ? KillableProcess::Sleep() : 1;
  });
  ASSERT_TRUE(child.Await());
  event.Close();
  EXPECT_FALSE(EventExists(u"e")) << "the child would keep it alive";
  mutex.Release();
}

TEST_F(NamedObjectFiles, TheGenerationChangesWithEveryObjectMadeOrGone) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"first", EventReset::kAuto), ObjectStatus::kOk);
  const std::uint32_t before = NamedObjectsGeneration();
  EXPECT_NE(before, 0u);
  EXPECT_FALSE(EventExists(u"missing"));
  EXPECT_EQ(NamedObjectsGeneration(), before);
  KillableProcess child([] {
    NamedEvent other;
    other.Create(u"second", EventReset::kAuto);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(child.Await());
  const std::uint32_t made = NamedObjectsGeneration();
  EXPECT_NE(made, before);
  event.Close();
  EXPECT_NE(NamedObjectsGeneration(), made);
}

TEST_F(NamedObjectFiles, TheFolderIsClosedToOthers) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kOk);
  struct stat status;
  ASSERT_EQ(::stat(sandbox_.runtime().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
}

TEST_F(NamedObjectFiles, AFolderThatOthersMayWriteIsRefused) {
  fs::create_directory(sandbox_.runtime());
  fs::permissions(sandbox_.runtime(), fs::perms::all);
  NamedEvent event;
  EXPECT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kDenied);
  EXPECT_TRUE(fs::is_empty(sandbox_.runtime()));
}

TEST_F(NamedObjectFiles, AFolderOfAnotherUserIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the right to give folders away";
  fs::create_directory(sandbox_.runtime());
  ASSERT_EQ(::chown(sandbox_.runtime().c_str(), 12345, 12345), 0);
  NamedEvent event;
  EXPECT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kDenied);
}

TEST_F(NamedObjectFiles, ALinkInPlaceOfTheFolderIsRefused) {
  fs::create_directory(sandbox_.root() / "elsewhere");
  fs::create_directory_symlink(sandbox_.root() / "elsewhere", sandbox_.runtime());
  NamedEvent event;
  EXPECT_FALSE(IsOpened(event.Create(u"e", EventReset::kAuto)));
  EXPECT_TRUE(fs::is_empty(sandbox_.root() / "elsewhere"));
}

TEST_F(NamedObjectFiles, AFolderRemovedMeanwhileIsMadeAnew) {
  NamedEvent event;
  ASSERT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kOk);
  fs::remove_all(sandbox_.runtime());
  NamedEvent other;
  EXPECT_EQ(other.Create(u"e", EventReset::kAuto), ObjectStatus::kOk) << "the old one has lost its name";
  event.Close();
  EXPECT_TRUE(EventExists(u"e")) << "closing the old one leaves the new one alone";
}

TEST_F(NamedObjectFiles, GarbageWithoutAHolderIsReplaced) {
  fs::create_directory(sandbox_.runtime());
  const std::string contents[] = {"", "short", std::string(4096, '\0'), std::string(9000, '\xFF')};
  for (const std::string& content : contents) {
    std::ofstream(FileOf(u"g"), std::ios::binary) << content;
    EXPECT_FALSE(EventExists(u"g"));
    std::ofstream(FileOf(u"g"), std::ios::binary) << content;
    NamedMutex mutex;
    EXPECT_EQ(mutex.Create(u"g"), ObjectStatus::kOk);
    EXPECT_EQ(mutex.Wait(0), WaitResult::kObtained);
    mutex.Release();
  }
}

TEST_F(NamedObjectFiles, WhatIsNoPlainFileIsRefused) {
  fs::create_directory(sandbox_.runtime());
  fs::create_directory(FileOf(u"folder"));
  fs::create_symlink("/etc/passwd", FileOf(u"link"));
  ASSERT_EQ(::mkfifo(FileOf(u"pipe").c_str(), 0600), 0);
  for (const char16_t* name : {u"folder", u"link", u"pipe"}) {
    NamedMutex mutex;
    EXPECT_FALSE(IsOpened(mutex.Create(name)));
    EXPECT_FALSE(IsOpened(mutex.Open(name)));
    EXPECT_FALSE(EventExists(name));
  }
}

// A file that a holder keeps alive, changed behind its back at each of its fields.
TEST_F(NamedObjectFiles, ADamagedObjectInUseIsRefused) {
  struct Damage {
    std::size_t offset;
    unsigned char byte;
    const char* why;
  };
  const Damage damages[] = {{0, 0, "magic"},
                            {8, 9, "version"},
                            {12, 7, "kind"},
                            {16, 1, "more bytes than the file has"},
                            {23, 0xFF, "huge block"},
                            {24, 1, "size of mutex"},
                            {64 + 16, 0x7F, "sort of mutex"},
                            {128, 2, "length of name"},
                            {131, 0xFF, "huge name"},
                            {256, 'x', "name"}};
  for (const Damage& damage : damages) {
    NamedMutex holder;
    ASSERT_EQ(holder.Create(u"d"), ObjectStatus::kOk) << damage.why;
    {
      std::fstream file(FileOf(u"d"), std::ios::in | std::ios::out | std::ios::binary);
      file.seekp(static_cast<std::streamoff>(damage.offset));
      file.put(static_cast<char>(damage.byte));
    }
    NamedMutex mutex;
    EXPECT_FALSE(IsOpened(mutex.Open(u"d"))) << damage.why;
    EXPECT_FALSE(IsOpened(mutex.Create(u"d"))) << damage.why;
  }
}

TEST_F(NamedObjectFiles, ATruncatedBlockInUseIsNotMappedAgain) {
  SharedBlock holder;
  ASSERT_EQ(holder.Create(u"b", 100'000), ObjectStatus::kOk);
  fs::resize_file(FileOf(u"b"), 5000);
  SharedBlock block;
  EXPECT_FALSE(IsOpened(block.Open(u"b")));
  EXPECT_EQ(holder.Map(100'000), nullptr);
}

TEST_F(NamedObjectFiles, SomeoneWhoLocksAFileForEverStopsNobody) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Create(u"m"), ObjectStatus::kOk);
  fs::copy_file(FileOf(u"m"), FileOf(u"locked"));
  KillableProcess child([this] {
    const int file = ::open(FileOf(u"locked").c_str(), O_RDWR);
    ::flock(file, LOCK_EX);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(child.Await());
  NamedMutex other;
  EXPECT_EQ(other.Open(u"locked"), ObjectStatus::kDenied);
}

TEST_F(NamedObjectFiles, AGarbageGenerationFileOnlyCostsTheShortcut) {
  fs::create_directory(sandbox_.runtime());
  std::ofstream(sandbox_.runtime() / ".generation") << "garbage";
  NamedEvent event;
  EXPECT_EQ(event.Create(u"e", EventReset::kAuto), ObjectStatus::kOk);
  EXPECT_EQ(NamedObjectsGeneration(), 0u);
  EXPECT_TRUE(EventExists(u"e"));
}

// What a waiter does that is killed on its way from its sleep to the mutex.
int SleepAsAWaiterAndEnd(const fs::path& file) {
  const int descriptor = ::open(file.c_str(), O_RDWR);
  void* const mapped = ::mmap(nullptr, kObjectHeaderBytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  if (mapped == MAP_FAILED) return 1;
  auto* const mutex = reinterpret_cast<pthread_mutex_t*>(static_cast<ObjectHeader*>(mapped)->mutex);
  const int awaited = std::atomic_ref(mutex->__data.__lock).fetch_or(static_cast<int>(FUTEX_WAITERS)) |
                      static_cast<int>(FUTEX_WAITERS);
  ::syscall(SYS_futex, &mutex->__data.__lock, FUTEX_WAIT, awaited, nullptr, nullptr, 0);
  return 0;
}

TEST_F(NamedObjectFiles, AWaiterThatIsKilledOnItsWayLeavesNobodyAsleep) {
  NamedMutex mutex;
  ASSERT_EQ(mutex.Create(u"m"), ObjectStatus::kOk);
  ASSERT_EQ(mutex.Wait(0), WaitResult::kObtained);
  KillableProcess first([this] { return SleepAsAWaiterAndEnd(FileOf(u"m")); });
  sbx::testing::AwaitSleep(static_cast<std::uint32_t>(first.pid()));
  std::atomic<std::uint32_t> id = 0;
  WaitResult result = WaitResult::kFailed;
  std::thread second([&] {
    id = CurrentThreadId();
    result = mutex.Wait(20'000);
  });
  while (id == 0) std::this_thread::yield();
  sbx::testing::AwaitSleep(id);
  mutex.Release();  // wakes the first one
  if (mutex.Wait(0) == WaitResult::kObtained) mutex.Release();
  EXPECT_EQ(first.Wait(), 0);
  second.join();
  EXPECT_EQ(result, WaitResult::kObtained);
}

// Processes that make, use and drop the same object, and are killed at any point of it: whoever is left
// always gets a whole object and never waits for good.
TEST_F(NamedObjectFiles, KilledAnywhereInMakingUsingAndDropping) {
  const auto work = [] {
    KillableProcess::Say();
    for (;;) {
      NamedMutex mutex;
      SharedBlock block;
      if (!IsOpened(mutex.Create(u"m")) || !IsOpened(block.Create(u"b", 9000))) return 1;
      const WaitResult result = mutex.Wait(10'000);
      if (result != WaitResult::kObtained && result != WaitResult::kAbandoned) return 2;
      auto* counter = static_cast<std::uint64_t*>(block.Map(9000));
      if (counter == nullptr) return 3;
      ++*counter;
      mutex.Release();
    }
  };
  for (int round = 0; round < 150; ++round) {
    KillableProcess first(work);
    KillableProcess second(work);
    ASSERT_TRUE(first.Await());
    ASSERT_TRUE(second.Await());
    ::usleep(static_cast<useconds_t>(round * 37 % 1500));
    first.Kill();
    // The other goes on; it would end by itself if anything failed.
    ::usleep(300);
    ::kill(second.pid(), SIGTERM);
    EXPECT_EQ(second.Wait(), -1) << "ended by the signal and not by a failure";
  }
  NamedMutex mutex;
  ASSERT_TRUE(IsOpened(mutex.Create(u"m")));
  EXPECT_NE(mutex.Wait(1000), WaitResult::kTimeout);
  mutex.Release();
}

}  // namespace
}  // namespace sbx::platform
