#include <algorithm>
#include <windows.h>

#include "platform/thread_stack.h"

namespace sbx::platform {
namespace {

// Enough for a log call with both its outputs, each of which formats into buffers of a few kilobytes, for
// the clean-up behind it and for the guard pages at the stack's end.
constexpr std::uintptr_t kReserve = 96u << 10;

}  // namespace

std::uintptr_t StackLimit() noexcept {
  // The system's answer follows a fiber to its own stack.
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  return low + std::min<std::uintptr_t>(kReserve, (high - low) / 2);
}

}  // namespace sbx::platform
