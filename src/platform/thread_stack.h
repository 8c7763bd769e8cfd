// The calling thread's stack, so that a recursion can end in a code and not in a fault.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::platform {

// The lowest address that a recursion on this thread may still use: below it lies what the system, the log
// and the clean-up after a failure need. Found once per conversion; growth is downwards on every platform
// served.
std::uintptr_t StackLimit() noexcept;

// Whether the stack is nearly used up, for a limit taken on the same thread.
inline bool IsStackNearlyUsedUp(std::uintptr_t limit) noexcept {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) < limit;
}

}  // namespace sbx::platform
