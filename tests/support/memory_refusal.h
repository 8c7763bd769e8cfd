// Refuses memory on purpose: the n-th allocation of this thread from now on, made through operator new.
//
// One source file of a test executable says SBXML_DEFINE_MEMORY_REFUSAL once, at namespace scope, which puts
// the executable's own operator new and delete in place.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>

namespace sbx::testing {

struct MemoryAccount {
  std::int64_t untilRefusal = -1;  // allocations that still succeed; -1 without end
  std::int64_t live = 0;           // blocks allocated and not yet freed by this thread
  bool wasRefused = false;
};
inline thread_local MemoryAccount t_memory;

// Refuses the allocation after `allowed` ones, and no other.
inline void RefuseMemoryAfter(std::int64_t allowed) {
  t_memory.untilRefusal = allowed;
  t_memory.wasRefused = false;
}
inline void GrantMemory() {
  t_memory.untilRefusal = -1;
}

// Neither is inlined: an optimising compiler would see free() take what operator new gave, and object.
[[gnu::noinline]] inline void* TestAllocate(std::size_t bytes) noexcept {
  if (t_memory.untilRefusal >= 0 && t_memory.untilRefusal-- == 0) {
    t_memory.wasRefused = true;
    return nullptr;
  }
  void* const block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block != nullptr) ++t_memory.live;
  return block;
}

[[gnu::noinline]] inline void TestFree(void* block) noexcept {
  if (block != nullptr) --t_memory.live;
  std::free(block);
}

}  // namespace sbx::testing

#define SBXML_DEFINE_MEMORY_REFUSAL                                          \
  void* operator new(std::size_t bytes) {                                    \
    if (void* const block = sbx::testing::TestAllocate(bytes)) return block; \
    throw std::bad_alloc();                                                  \
  }                                                                          \
  void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {    \
    return sbx::testing::TestAllocate(bytes);                                \
  }                                                                          \
  void operator delete(void* block) noexcept {                               \
    sbx::testing::TestFree(block);                                           \
  }                                                                          \
  void operator delete(void* block, std::size_t) noexcept {                  \
    sbx::testing::TestFree(block);                                           \
  }                                                                          \
  void operator delete(void* block, const std::nothrow_t&) noexcept {        \
    sbx::testing::TestFree(block);                                           \
  }                                                                          \
  static_assert(true, "takes the semicolon")
