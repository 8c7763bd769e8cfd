#include <cstdlib>
#include <windows.h>

#include "sized_stack.h"

namespace sbx::testing {

void OnStack(std::size_t bytes, const std::function<void()>& body) {
  const auto run = [](void* argument) -> DWORD {
    (*static_cast<const std::function<void()>*>(argument))();
    return 0;
  };
  const HANDLE thread = CreateThread(nullptr, bytes, run, const_cast<std::function<void()>*>(&body),
                                     STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (thread == nullptr) std::abort();
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

}  // namespace sbx::testing
