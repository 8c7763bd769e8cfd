// The breakpoint block as this command uses it: who owns an entry, and which threads are held.
//
// Several `break add` may run at once. Each owns one entry, which bears a mark in the bytes that are the
// tool's, and an event named after the entry's id: while that exists the owner lives. What a killed owner
// left behind is cleared away by the next one, by another one that runs, and by `tail`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "diag/breakpoint_format.h"
#include "platform/named_objects.h"

namespace sbx::tool {

// As names and people have it: in upper case.
WideString IdText(const platform::Uuid& id);
std::string ShownId(const platform::Uuid& id);

// Mutex, block and hit signal.
class BreakpointTable {
 public:
  BreakpointTable() = default;
  BreakpointTable(const BreakpointTable&) = delete;
  BreakpointTable& operator=(const BreakpointTable&) = delete;

  // Makes what is missing. Throws CommandFailure.
  void Create();
  // False if one of them is not there.
  bool Open() noexcept;
  platform::NamedEvent& signal() noexcept { return signal_; }

  // The block for as long as its mutex is held. Throws CommandFailure if the mutex isn't given in time or the
  // block is none.
  class Lock {
   public:
    explicit Lock(BreakpointTable& table);
    BREAKPOINT_BLOCK& operator*() const noexcept { return *view_; }
    BREAKPOINT_BLOCK* operator->() const noexcept { return view_; }

   private:
    platform::MutexScope scope_;
    BREAKPOINT_BLOCK* view_ = nullptr;
  };

 private:
  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
  platform::NamedEvent signal_;
};

// The name of the event that tells of an entry's living owner.
WideString OwnerEventName(const platform::Uuid& breakpointId);

struct NewBreakpoint {
  platform::Uuid id;
  WideString process;
  std::uint32_t processId = 0;
  std::uint32_t threadId = 0;
  WideString text;
};
// False if the table is full.
bool AddEntry(BREAKPOINT_BLOCK& block, const NewBreakpoint& breakpoint) noexcept;
BREAKPOINT_ENTRY* FindEntry(BREAKPOINT_BLOCK& block, const platform::Uuid& id) noexcept;
void RemoveEntry(BREAKPOINT_BLOCK& block, const platform::Uuid& id) noexcept;
// The process that owns an entry of this command's and lives; 0 for all others.
std::uint32_t LivingOwnerOf(const BREAKPOINT_ENTRY& entry);
bool IsAnyOwnerAlive(const BREAKPOINT_BLOCK& block);

std::vector<BREAKPOINT_HIT> HitsOf(const BREAKPOINT_BLOCK& block, const platform::Uuid& breakpointId);
void EmptySlot(BREAKPOINT_BLOCK& block, const platform::Uuid& hitId) noexcept;
// Lets the thread of a hit go on. False if nobody waits there (yet).
bool SetRelease(const platform::Uuid& hitId);

// Removes the entries of dead owners and lets their threads go on. Returns how many threads.
std::size_t ClearOrphans(BREAKPOINT_BLOCK& block);
// The same from outside, if there is a block at all; failures are passed over.
void ClearOrphansIfAny() noexcept;

}  // namespace sbx::tool
