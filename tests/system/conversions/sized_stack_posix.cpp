#include <cstdlib>
#include <pthread.h>

#include "sized_stack.h"

namespace sbx::testing {

void OnStack(std::size_t bytes, const std::function<void()>& body) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  if (pthread_attr_setstacksize(&attributes, bytes) != 0 ||
      pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&body)) != 0) {
    std::abort();
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace sbx::testing
