#include <windows.h>

#include "platform/locks.h"

namespace sbx::platform {
namespace {

// A slim lock is one word, free as zero. Nothing has to be made or destroyed, and the system ends a process
// that waits at its own end for a thread that is gone, instead of letting it hang.
SRWLOCK* SystemLock(std::atomic<std::uintptr_t>& word) noexcept {
  static_assert(sizeof(SRWLOCK) == sizeof word && alignof(SRWLOCK) <= alignof(std::atomic<std::uintptr_t>));
  return reinterpret_cast<SRWLOCK*>(&word);
}

}  // namespace

std::uintptr_t ThreadNumber() noexcept {
  return GetCurrentThreadId();
}

// The system's numbers are multiples of 4. A variable of the thread's own would do as well, but the run time
// library keeps it in objects that unloading leaves behind.
std::uint32_t ThreadTurn() noexcept {
  return GetCurrentThreadId() / 4;
}

void ShortLock::lock() noexcept {
  AcquireSRWLockExclusive(SystemLock(word_));
}

bool ShortLock::try_lock() noexcept {
  return TryAcquireSRWLockExclusive(SystemLock(word_)) != FALSE;
}

void ShortLock::unlock() noexcept {
  ReleaseSRWLockExclusive(SystemLock(word_));
}

}  // namespace sbx::platform
