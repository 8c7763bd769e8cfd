#include "platform/fork_hooks.h"

namespace sbx::platform {

// There is no fork here.
void RegisterForkHooks(const ForkHooks&) noexcept {}

}  // namespace sbx::platform
