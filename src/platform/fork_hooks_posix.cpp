#include <pthread.h>

#include "platform/fork_hooks.h"

namespace sbx::platform {

// The system keeps the order told in the header, and drops the hooks when the library is unloaded. A refusal
// for lack of memory leaves a forked child as it would be without hooks, which harms only a child that logs.
void RegisterForkHooks(const ForkHooks& hooks) noexcept {
  static_cast<void>(pthread_atfork(hooks.before, hooks.inParent, hooks.inChild));
}

}  // namespace sbx::platform
