#include "api/conversion_lock.h"

#include <utility>

#include "api/conversion_state.h"
#include "platform/caller_memory.h"

namespace sbx {
namespace {

// Never destroyed: at the end of the process other threads may still be converting.
constinit platform::RecursiveLock g_lock;

// Kept for the next conversion, which then needs no new tables.
constinit platform::CallerMemory* g_memory = nullptr;

}  // namespace

platform::RecursiveLock& ConversionMutex() noexcept {
  return g_lock;
}

CallerMemoryScope::CallerMemoryScope() {
  if (g_memory == nullptr) g_memory = new platform::CallerMemory;
  g_memory->Forget();
  g_conversion.callerMemory = g_memory;
}

CallerMemoryScope::~CallerMemoryScope() {
  g_conversion.callerMemory = nullptr;
  g_memory->Forget();  // copies of the caller's memory are not kept longer than needed
}

void DeleteCallerMemory() noexcept {
  g_conversion.callerMemory = nullptr;
  delete std::exchange(g_memory, nullptr);
}

void AbandonConversionsInChild() noexcept {
  if (!g_lock.FreeInChild()) return;
  // The view may have been about to change; the two sets are replaced in one step each.
  g_memory = nullptr;
  g_conversion.callerMemory = nullptr;
}

}  // namespace sbx
