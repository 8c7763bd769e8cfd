// Threads with stacks of a size that a test chooses.
#pragma once

#include <cstddef>
#include <functional>

namespace sbx::testing {

// Runs the body on a thread with a stack of that many bytes. Ends the process if there can be none.
void OnStack(std::size_t bytes, const std::function<void()>& body);

}  // namespace sbx::testing
