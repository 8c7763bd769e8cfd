// What has to happen around a fork, on platforms that have one.
#pragma once

namespace sbx::platform {

// Each may be null. `before` and `inParent` run in the forking process, `inChild` in the new one, where the
// calling thread is the only one. Never fails; hooks beyond a small fixed number are ignored. Hooks that are
// registered first run last before the fork and first after it, so that what is built on another is stopped
// before it and woken after it.
struct ForkHooks {
  void (*before)() noexcept;
  void (*inParent)() noexcept;
  void (*inChild)() noexcept;
};
void RegisterForkHooks(const ForkHooks& hooks) noexcept;

}  // namespace sbx::platform
