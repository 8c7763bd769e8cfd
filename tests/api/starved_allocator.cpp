// The C allocator is wrapped by the linker (see CMakeLists.txt); C++'s stands on it.
#include "starved_allocator.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<std::ptrdiff_t> g_live = 0;

struct Starving {
  std::size_t wait = 0;  // until the first refusal; 0: not starving
  bool goesOn = false;
  bool refused = false;
  int fed = 0;
};
constinit thread_local Starving t_starving;

bool IsRefused() {
  Starving& starving = t_starving;
  if (starving.wait == 0 || starving.fed != 0) return false;
  if (starving.wait > 1) {
    --starving.wait;
    return false;
  }
  starving.refused = true;
  if (!starving.goesOn) starving.wait = 0;
  return true;
}

void* Counted(void* memory) {
  if (memory != nullptr) ++g_live;
  return memory;
}

}  // namespace

namespace sbx::testing {

void StarveAt(std::size_t nth, Refuse refuse) {
  t_starving = {nth, refuse == Refuse::kFromThenOn, false, 0};
}

bool StopStarving() {
  const bool refused = t_starving.refused;
  t_starving = {};
  return refused;
}

std::ptrdiff_t LiveAllocations() {
  return g_live;
}

Fed::Fed() {
  ++t_starving.fed;
}
Fed::~Fed() {
  --t_starving.fed;
}

}  // namespace sbx::testing

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  return IsRefused() ? nullptr : Counted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return IsRefused() ? nullptr : Counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* memory, std::size_t size) {
  if (IsRefused()) return nullptr;
  void* const moved = __real_realloc(memory, size);
  return memory == nullptr ? Counted(moved) : moved;
}
void __wrap_free(void* memory) {
  if (memory != nullptr) --g_live;
  __real_free(memory);
}

}  // extern "C"

void* operator new(std::size_t size) {
  if (void* const memory = __wrap_malloc(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return __wrap_malloc(size);
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return __wrap_malloc(size);
}
void operator delete(void* memory) noexcept {
  __wrap_free(memory);
}
void operator delete[](void* memory) noexcept {
  __wrap_free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  __wrap_free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  __wrap_free(memory);
}
