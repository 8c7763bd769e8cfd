#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <thread>
#include <ucontext.h>
#include <unistd.h>

#include "platform/stack_recursion.h"
#include "platform/thread_stack.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sbx::platform {
namespace {

std::uintptr_t Here() {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

// Runs a function on a thread with a stack of this size.
template <class Body>
void OnThread(std::size_t stackBytes, Body body) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackBytes), 0);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<Body*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &body), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(ThreadStackPosix, KeepsBackHalfOfASmallStackAtMost) {
  if (testing::kThreadSanitized) GTEST_SKIP() << "ThreadSanitizer takes stack for itself";
  for (const std::size_t size :
       {std::size_t{16} << 10, std::size_t{64} << 10, std::size_t{256} << 10, std::size_t{1} << 20}) {
    std::size_t depth = 0;
    std::size_t left = 0;
    OnThread(size, [&] {
      const std::uintptr_t limit = StackLimit();
      left = Here() > limit ? Here() - limit : 0;
      depth = RecurseToTheLimit(limit, std::min<std::size_t>(size / 4, 64 << 10));
    });
    EXPECT_LT(left, size);
    if (size >= (std::size_t{64} << 10)) {
      EXPECT_GT(left, size / 4) << size;
      EXPECT_GT(depth, size / 4 / (2 * kFrameBytes)) << size;
    }
  }
}

// The initial thread's stack grows as it is used, up to a limit that may change while the process runs.
TEST(ThreadStackPosix, TheInitialThreadFollowsItsLimit) {
  if (testing::kThreadSanitized) GTEST_SKIP() << "ThreadSanitizer takes stack for itself";
  for (const rlim_t size : {rlim_t{512} << 10, rlim_t{2} << 20, rlim_t{16} << 20, rlim_t{RLIM_INFINITY}}) {
    EXPECT_EQ(InChild([size] {
                rlimit limit;
                Require(getrlimit(RLIMIT_STACK, &limit) == 0);
                limit.rlim_cur = std::min(size, limit.rlim_max);
                Require(setrlimit(RLIMIT_STACK, &limit) == 0);
                const std::uintptr_t stackLimit = StackLimit();
                Require(Here() > stackLimit);
                if (size != RLIM_INFINITY) Require(Here() - stackLimit < size);
                Require(RecurseToTheLimit(stackLimit, 60 << 10) > 100);
              }),
              "exit 0")
        << size;
  }
}

TEST(ThreadStackPosix, ALimitSetMeanwhileIsSeen) {
  EXPECT_EQ(InChild([] {
              const std::uintptr_t before = StackLimit();
              rlimit limit;
              Require(getrlimit(RLIMIT_STACK, &limit) == 0);
              limit.rlim_cur = 400 << 10;
              Require(setrlimit(RLIMIT_STACK, &limit) == 0);
              Require(StackLimit() > before);
              Require(RecurseToTheLimit(StackLimit(), 60 << 10) > 10);
            }),
            "exit 0");
}

void RunTowardsAMapping() {
  constexpr std::uintptr_t kMegabyte = std::uintptr_t{1} << 20;
  const rlimit limit = {64 * kMegabyte, RLIM_INFINITY};
  Require(setrlimit(RLIMIT_STACK, &limit) == 0);
  const std::uintptr_t wanted = (Here() - 20 * kMegabyte) / 4096 * 4096;
  void* const block = mmap(reinterpret_cast<void*>(wanted), 4096, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
  Require(reinterpret_cast<std::uintptr_t>(block) == wanted);
  const std::uintptr_t stackLimit = StackLimit();
  Require(stackLimit > wanted + kMegabyte && stackLimit < wanted + 2 * kMegabyte);
  RecurseToTheLimit(stackLimit, 60 << 10);
}

// Runs itself again in a fresh process, in which nobody has asked for the stack before.
TEST(ThreadStackPosix, AMappingBelowTheInitialStackIsNotRunInto) {
  constexpr const char* kMark = "SBXML_TEST_FRESH_PROCESS";
  if (std::getenv(kMark) != nullptr) return RunTowardsAMapping();
  EXPECT_EQ(InChild([] {
              setenv(kMark, "1", 1);
              execl("/proc/self/exe", "tests",
                    "--gtest_filter=ThreadStackPosix.AMappingBelowTheInitialStackIsNotRunInto",
                    "--gtest_brief=1", nullptr);
              _exit(2);
            }),
            "exit 0");
}

TEST(ThreadStackPosix, AChildOfAThreadStaysOnTheThreadsStack) {
  std::string outcome;
  OnThread(256 << 10, [&] {
    const std::uintptr_t expected = StackLimit();
    outcome = InChild([expected] {
      Require(StackLimit() == expected);
      RecurseToTheLimit(StackLimit(), 60 << 10);
    });
  });
  EXPECT_EQ(outcome, "exit 0");
  // One that never asked before the fork.
  OnThread(256 << 10, [&] {
    outcome = InChild([] {
      Require(Here() - StackLimit() < (256 << 10));
      Require(RecurseToTheLimit(StackLimit(), 60 << 10) > 10);
    });
  });
  EXPECT_EQ(outcome, "exit 0");
}

// A stack that a host switches to by itself, with a guard below.
class Fiber {
 public:
  explicit Fiber(std::size_t size) : size_(size) {
    void* const all = mmap(nullptr, size + 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    EXPECT_NE(all, MAP_FAILED);
    stack_ = static_cast<char*>(all) + 4096;
    EXPECT_EQ(mprotect(stack_, size, PROT_READ | PROT_WRITE), 0);
  }
  ~Fiber() { munmap(stack_ - 4096, size_ + 4096); }
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;

  char* low() const { return stack_; }

  void Run(void (*body)()) {
    ASSERT_EQ(getcontext(&inside_), 0);
    inside_.uc_stack.ss_sp = stack_;
    inside_.uc_stack.ss_size = size_;
    inside_.uc_link = &outside_;
    makecontext(&inside_, body, 0);
    ASSERT_EQ(swapcontext(&outside_, &inside_), 0);
  }

 private:
  std::size_t size_;
  char* stack_;
  ucontext_t inside_;
  ucontext_t outside_;
};

std::uintptr_t g_limit;
std::size_t g_depth;

TEST(ThreadStackPosix, AStackOfTheHostsOwnIsFound) {
  const std::uintptr_t own = StackLimit();
  for (const std::size_t size : {std::size_t{64} << 10, std::size_t{512} << 10}) {
    Fiber fiber(size);
    fiber.Run([] {
      g_limit = StackLimit();
      g_depth = RecurseToTheLimit(g_limit, 16 << 10);
    });
    const auto low = reinterpret_cast<std::uintptr_t>(fiber.low());
    EXPECT_GT(g_limit, low) << size;
    EXPECT_LE(g_limit, low + size / 2) << size;
    EXPECT_GT(g_depth, 5u) << size;
    EXPECT_EQ(StackLimit(), own) << "back on the thread's stack";
  }
}

TEST(ThreadStackPosix, ASignalHandlersStackIsFound) {
  if (testing::kThreadSanitized) GTEST_SKIP() << "ThreadSanitizer ends a handler that allocates";
  static char stack[128 << 10];
  stack_t handlerStack = {};
  handlerStack.ss_sp = stack;
  handlerStack.ss_size = sizeof stack;
  stack_t before;
  ASSERT_EQ(sigaltstack(&handlerStack, &before), 0);
  struct sigaction action = {};
  action.sa_flags = SA_ONSTACK;
  action.sa_handler = [](int) {
    g_limit = StackLimit();
    g_depth = RecurseToTheLimit(g_limit, 16 << 10);
  };
  struct sigaction old;
  ASSERT_EQ(sigaction(SIGUSR1, &action, &old), 0);
  raise(SIGUSR1);
  sigaction(SIGUSR1, &old, nullptr);
  sigaltstack(&before, nullptr);
  EXPECT_EQ(g_limit, reinterpret_cast<std::uintptr_t>(stack) + (64 << 10));
  EXPECT_GT(g_depth, 10u);
}

TEST(ThreadStackPosix, KeepsTheErrorNumber) {
  std::thread([] {
    errno = EPROTO;
    StackLimit();
    EXPECT_EQ(errno, EPROTO);
  }).join();
}

}  // namespace
}  // namespace sbx::platform
