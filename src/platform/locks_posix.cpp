#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/locks.h"

namespace sbx::platform {
namespace {

// What a lock's word says: somebody may sleep for it only while it is kAwaited.
constexpr std::uintptr_t kFree = 0;
constexpr std::uintptr_t kTaken = 1;
constexpr std::uintptr_t kAwaited = 2;

// The system looks at the word's low half, which comes first in memory.
long Futex(std::atomic<std::uintptr_t>& word, int operation, std::uintptr_t value) noexcept {
  return ::syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, static_cast<int>(value), nullptr,
                   nullptr, 0);
}

constinit std::atomic<std::uint32_t> g_nextTurn = 1;
constinit thread_local std::uint32_t t_turn = 0;

}  // namespace

std::uintptr_t ThreadNumber() noexcept {
  return static_cast<std::uintptr_t>(pthread_self());
}

std::uint32_t ThreadTurn() noexcept {
  if (t_turn == 0) t_turn = g_nextTurn.fetch_add(1, std::memory_order_relaxed);
  return t_turn;
}

void ShortLock::lock() noexcept {
  if (try_lock()) return;
  while (word_.exchange(kAwaited, std::memory_order_acquire) != kFree) Futex(word_, FUTEX_WAIT, kAwaited);
}

bool ShortLock::try_lock() noexcept {
  std::uintptr_t expected = kFree;
  return word_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                       std::memory_order_relaxed);
}

void ShortLock::unlock() noexcept {
  if (word_.exchange(kFree, std::memory_order_release) == kAwaited) Futex(word_, FUTEX_WAKE, 1);
}

}  // namespace sbx::platform
