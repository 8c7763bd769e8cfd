// The lock of all conversions and verifications: what makes the conversion state and the rule objects'
// scratch values safe.
#pragma once

#include <mutex>

#include "platform/locks.h"

namespace sbx {

// The lock itself, re-entrant by its thread. There from load to the end of the process.
platform::RecursiveLock& ConversionMutex() noexcept;

// Holds the lock while it lives.
class ConversionLock {
 public:
  ConversionLock() : held_(ConversionMutex()) {}

 private:
  std::scoped_lock<platform::RecursiveLock> held_;
};

// Gives the conversion under way its view of the caller's memory (ConversionState::callerMemory), with
// nothing known of it yet, and takes it away at the end. One view serves all conversions, since they run one
// at a time. The lock must be held. May throw std::bad_alloc.
class CallerMemoryScope {
 public:
  CallerMemoryScope();
  ~CallerMemoryScope();
  CallerMemoryScope(const CallerMemoryScope&) = delete;
  CallerMemoryScope& operator=(const CallerMemoryScope&) = delete;
};

// At unload: gives the view up. The lock must be held.
void DeleteCallerMemory() noexcept;

// In a forked child: the lock is free unless the forking thread holds it. What a thread of the parent was
// working on is left behind.
void AbandonConversionsInChild() noexcept;

}  // namespace sbx
