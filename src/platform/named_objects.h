// Objects that processes share by name: mutexes, events, blocks of memory.
//
// One name space for all kinds; names are compared exactly. An object lives as long as some process holds a
// handle to it, through the killing of every holder too, and is never seen half-made. Handles are not
// inherited: in a forked child every handle of the parent is closed.
//
// One handle object may be used by several threads at once, but for Create, Open and Close.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/wide_text.h"

namespace sbx::platform {

enum class ObjectStatus : std::uint8_t {
  kOk,         // opened, or made by this call
  kExisted,    // Create only: opened, for it was there already; whatever else was asked for is ignored
  kNotFound,   // Open only: no such object
  kWrongKind,  // the name belongs to another kind of object
  kDenied,     // the system refuses
  kFailed,     // any other failure: memory, disk, a name that is empty or too long
};
constexpr bool IsOpened(ObjectStatus status) noexcept {
  return status == ObjectStatus::kOk || status == ObjectStatus::kExisted;
}

enum class WaitResult : std::uint8_t {
  kObtained,
  kAbandoned,  // mutexes only: obtained, for its owner died without releasing it; told once
  kTimeout,
  kFailed,
};

inline constexpr std::uint32_t kWaitForever = 0xFFFFFFFF;

// Changes whenever an object may have been made or have gone, so that an unchanged number means that an
// object not found before is still missing. 0: can't be told, ask each time. Makes no system call as a rule.
std::uint32_t NamedObjectsGeneration() noexcept;

// Lets go of what the platform keeps for named objects in general, and reads its environment anew at their
// next use. Only while no thread uses named objects: before unloading, and in tests.
void ReleaseNamedObjects() noexcept;

// Whether an event of this name exists. One failing system call as a rule if it doesn't.
bool EventExists(WideView name) noexcept;

// What the three kinds share. `state_` belongs to the platform.
class NamedObject {
 public:
  NamedObject(const NamedObject&) = delete;
  NamedObject& operator=(const NamedObject&) = delete;
  // Also false for a handle that was open when the process was forked.
  bool IsOpen() const noexcept;
  // Closes the handle. A mutex that this handle's process still owns stays owned until the owning thread
  // ends.
  void Close() noexcept;

  struct State;

 protected:
  NamedObject() noexcept = default;
  ~NamedObject() { Close(); }

  State* state_ = nullptr;
};

// Recursive by thread. Waiting for one that is held may drop what a conversion knows of memory
// (NoteBlockedThread).
class NamedMutex : public NamedObject {
 public:
  ObjectStatus Create(WideView name) noexcept;
  ObjectStatus Open(WideView name) noexcept;
  WaitResult Wait(std::uint32_t milliseconds) noexcept;
  // Without effect if the calling thread doesn't own it.
  void Release() noexcept;
};

enum class EventReset : std::uint8_t { kAuto, kManual };

class NamedEvent : public NamedObject {
 public:
  // Not signalled at first.
  ObjectStatus Create(WideView name, EventReset reset) noexcept;
  ObjectStatus Open(WideView name) noexcept;
  void Set() noexcept;
  void Reset() noexcept;
  WaitResult Wait(std::uint32_t milliseconds) noexcept;
};

// Zero-filled memory.
class SharedBlock : public NamedObject {
 public:
  // `size` in bytes, not 0. An existing block keeps its own size.
  ObjectStatus Create(WideView name, std::size_t size) noexcept;
  ObjectStatus Open(WideView name) noexcept;
  // The block's memory, writable, at the start of a page; the same at each call until Close. Null if it
  // can't be mapped or holds fewer than `size` bytes.
  void* Map(std::size_t size) noexcept;
};

// The owner of an open mutex for the length of a scope, if the wait obtained it, abandoned or not.
class MutexScope {
 public:
  MutexScope(NamedMutex& mutex, std::uint32_t milliseconds) noexcept
      : mutex_(mutex), result_(mutex.Wait(milliseconds)) {}
  ~MutexScope() {
    if (result_ == WaitResult::kObtained || result_ == WaitResult::kAbandoned) mutex_.Release();
  }
  MutexScope(const MutexScope&) = delete;
  MutexScope& operator=(const MutexScope&) = delete;
  WaitResult result() const noexcept { return result_; }

 private:
  NamedMutex& mutex_;
  WaitResult result_;
};

}  // namespace sbx::platform
