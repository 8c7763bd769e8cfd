// A lock between the threads of one process, for the log.
//
// Constant-initialised and trivially destructible: usable before any constructor and after every destructor
// of the library has run.
#pragma once

#include "platform/caller_memory.h"
#include "platform/locks.h"

namespace sbx::platform {

class CriticalSection {
 public:
  constexpr CriticalSection() noexcept = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() noexcept {
    if (lock_.try_lock()) return;
    lock_.lock();
    NoteBlockedThread();
  }
  bool try_lock() noexcept { return lock_.try_lock(); }
  void unlock() noexcept { lock_.unlock(); }

 private:
  ShortLock lock_;
};

}  // namespace sbx::platform
