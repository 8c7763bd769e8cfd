// Recursions for the tests of the stack's limit.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/thread_stack.h"

namespace sbx::platform {

inline constexpr std::size_t kFrameBytes = 1000;

// Recurses until the limit says stop, touching all of the stack on the way, and then uses some more of what
// the limit keeps back. Returns the depth.
[[gnu::noinline]] inline std::size_t RecurseToTheLimit(std::uintptr_t limit, std::size_t kept = 0) {
  volatile unsigned char frame[kFrameBytes];
  frame[0] = 1;
  frame[kFrameBytes - 1] = 1;
  if (IsStackNearlyUsedUp(limit)) {
    if (kept >= 2 * kFrameBytes) RecurseToTheLimit(limit, kept - 2 * kFrameBytes);
    return frame[0];
  }
  return RecurseToTheLimit(limit, kept) + static_cast<std::size_t>(frame[kFrameBytes - 1]);
}

[[gnu::noinline]] inline std::uintptr_t LimitAtDepth(std::size_t depth) {
  volatile unsigned char frame[kFrameBytes];
  frame[0] = 1;
  return depth == 0 ? StackLimit() : LimitAtDepth(depth - static_cast<std::size_t>(frame[0]));
}

}  // namespace sbx::platform
