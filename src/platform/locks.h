// Locks that are there before the first constructor runs and after the last destructor: process-wide state
// is guarded by them, and the library is called while its process starts and ends. Both satisfy the
// standard's requirements of a lockable type.
#pragma once

#include <atomic>
#include <cstdint>

namespace sbx::platform {

// A number that no other living thread has; never 0.
std::uintptr_t ThreadNumber() noexcept;

// A number of the calling thread, the same at each call; the remainders by a small power of two spread over
// threads that live at the same time.
std::uint32_t ThreadTurn() noexcept;

// Not re-entrant. Waits without using the processor.
class ShortLock {
 public:
  constexpr ShortLock() noexcept = default;
  ShortLock(const ShortLock&) = delete;
  ShortLock& operator=(const ShortLock&) = delete;

  void lock() noexcept;
  bool try_lock() noexcept;
  void unlock() noexcept;

 private:
  std::atomic<std::uintptr_t> word_{0};  // the platform's; 0 is free
};

// May be taken again by the thread that holds it, and is free when each taking has been given back.
class RecursiveLock {
 public:
  constexpr RecursiveLock() noexcept = default;
  RecursiveLock(const RecursiveLock&) = delete;
  RecursiveLock& operator=(const RecursiveLock&) = delete;

  void lock() noexcept {
    const std::uintptr_t self = ThreadNumber();
    if (!IsHeldBy(self)) {
      lock_.lock();
      holder_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }
  bool try_lock() noexcept {
    const std::uintptr_t self = ThreadNumber();
    if (!IsHeldBy(self)) {
      if (!lock_.try_lock()) return false;
      holder_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
    return true;
  }
  void unlock() noexcept {
    if (--depth_ != 0) return;
    holder_.store(0, std::memory_order_relaxed);
    lock_.unlock();
  }
  // For a forked child, which has no other threads: frees the lock if one of the parent's others held it, and
  // returns whether that was so.
  bool FreeInChild() noexcept {
    if (IsHeldBy(ThreadNumber())) return false;
    const bool wasHeld = !lock_.try_lock();
    holder_.store(0, std::memory_order_relaxed);
    depth_ = 0;
    lock_.unlock();
    return wasHeld;
  }

 private:
  // Only the holder itself can read its own number here.
  bool IsHeldBy(std::uintptr_t thread) const noexcept {
    return holder_.load(std::memory_order_relaxed) == thread;
  }

  ShortLock lock_;
  std::atomic<std::uintptr_t> holder_{0};
  std::uint32_t depth_ = 0;  // the holder's alone
};

}  // namespace sbx::platform
