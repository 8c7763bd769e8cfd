// How an output's lock is taken around a fork.
#pragma once

#include <cstdint>
#include <thread>

#include "platform/critical_section.h"
#include "platform/wall_clock.h"

namespace sbx::NSDBG {

// A thread on its way through a line needs microseconds; one that waits for another process may need seconds,
// for which no fork is held up.
inline bool LockForFork(platform::CriticalSection& lock) noexcept {
  constexpr std::uint64_t kPatienceMilliseconds = 100;
  const std::uint64_t start = platform::CoarseMilliseconds();
  do {
    if (lock.try_lock()) return true;
    std::this_thread::yield();
  } while (platform::CoarseMilliseconds() - start < kPatienceMilliseconds);
  return false;
}

}  // namespace sbx::NSDBG
