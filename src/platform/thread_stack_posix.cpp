#include <algorithm>
#include <cerrno>
#include <pthread.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/memory_map_posix.h"
#include "platform/thread_stack.h"

namespace sbx::platform {
namespace {

// Enough for a log call with both its outputs, each of which formats into buffers of a few kilobytes, for
// the clean-up behind it and for a signal handler of the host.
constexpr std::uintptr_t kReserve = std::uintptr_t{96} << 10;

// The kernel keeps the initial stack this far from the mapping below it, and a little more is left for what
// it rounds.
constexpr std::uintptr_t kGrowthGap = (std::uintptr_t{1} << 20) + (std::uintptr_t{64} << 10);

// A stack without a limit of its own is not let eat up the machine's memory.
constexpr std::uintptr_t kMostGrowth = std::uintptr_t{256} << 20;

// What a stack of unknown extent is trusted to have left.
constexpr std::uintptr_t kUnknownLeft = std::uintptr_t{32} << 10;

// A stack's addresses: from the lowest that it can use or grow to, up to behind the highest.
struct Extent {
  std::uintptr_t low = 0;
  std::uintptr_t high = 0;
  bool grows =
      false;  // the initial thread's: `low` is how far other mappings let it, the limit may be nearer

  bool Holds(std::uintptr_t address) const noexcept { return low <= address && address < high; }
};

// The bounds that the threads library knows.
Extent ThreadExtent() noexcept {
  Extent extent;
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return extent;
  void* base = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &base, &size) == 0) {
    extent.low = reinterpret_cast<std::uintptr_t>(base);
    extent.high = extent.low + size;
  }
  pthread_attr_destroy(&attributes);
  return extent;
}

// The mapping that holds the address. The one that also holds what the system handed over at the start is
// the initial stack, which grows towards the mapping below.
Extent MappedExtent(std::uintptr_t address) noexcept {
  const auto handedOver = static_cast<std::uintptr_t>(getauxval(AT_RANDOM));
  MappingList list;
  std::uintptr_t below = 0;
  for (Mapping mapping; list.Next(mapping);) {
    if (mapping.first <= address && address < mapping.end) {
      Extent extent = {mapping.first, mapping.end, false};
      if (mapping.first <= handedOver && handedOver < mapping.end) {
        extent.grows = true;
        extent.low = std::min(mapping.first, below + kGrowthGap);
      }
      return extent;
    }
    below = mapping.end;
  }
  return {};
}

// A stack that a signal handler runs on.
Extent SignalExtent() noexcept {
  stack_t stack;
  if (sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE) != 0) return {};
  const auto low = reinterpret_cast<std::uintptr_t>(stack.ss_sp);
  return {low, low + stack.ss_size, false};
}

// The thread's own stack: asked once, as it stays where it is.
const Extent& OwnExtent(std::uintptr_t here) noexcept {
  static thread_local Extent own;
  if (own.high != 0) return own;
  if (getpid() == gettid()) {
    // After a fork on another thread, that thread's stack is the initial one's.
    const Extent mapped = MappedExtent(here);
    if (mapped.grows) return own = mapped;
  }
  return own = ThreadExtent();
}

// How much the initial stack may hold as things stand.
std::uintptr_t GrowthLimit() noexcept {
  rlimit limit;
  if (getrlimit(RLIMIT_STACK, &limit) != 0) return kMostGrowth;
  return limit.rlim_cur == RLIM_INFINITY ? kMostGrowth : limit.rlim_cur;
}

std::uintptr_t LimitOf(const Extent& extent) noexcept {
  const std::uintptr_t all = extent.high - extent.low;
  const std::uintptr_t usable = extent.grows ? std::min(all, GrowthLimit()) : all;
  return extent.high - usable + std::min(kReserve, usable / 2);
}

}  // namespace

std::uintptr_t StackLimit() noexcept {
  const int error = errno;
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  Extent extent = OwnExtent(here);
  // Elsewhere: in a signal handler, or on a stack that the host switches to by itself.
  if (!extent.Holds(here)) extent = SignalExtent();
  if (!extent.Holds(here)) extent = MappedExtent(here);
  errno = error;
  if (!extent.Holds(here)) return here - std::min(here, kUnknownLeft);
  return LimitOf(extent);
}

}  // namespace sbx::platform
