// Log breakpoints: a thread stops at the moment it logs a chosen text, until a tool lets it go.
#pragma once

#include <cstdint>

#include "base/wide_text.h"
#include "diag/breakpoint_format.h"
#include "platform/named_objects.h"

namespace sbx {

// The objects that a tool with breakpoints has made.
struct BreakpointHandles {
  platform::SharedBlock mapping;
  platform::NamedMutex mutex;
  platform::NamedEvent event;

  // Opens all three, or none. True if the tool's objects are there.
  bool Open() noexcept;
  // Event, mutex, mapping, in this order.
  void Close() noexcept;
};

// Compares a message with the breakpoints and records a hit. True on a hit, with its id.
bool CheckBreakpoint(BreakpointHandles& handles, WideView processName, std::uint32_t processId,
                     std::uint32_t threadId, WideView text, platform::Uuid* hitId) noexcept;

// Tells the tool of a hit and waits until it sets the hit's release event or withdraws the log switch. The
// caller holds no lock. `handles.event` is used only. May throw std::bad_alloc.
void HoldAtBreakpoint(platform::NamedEvent& signal, const platform::Uuid& hitId);

}  // namespace sbx
