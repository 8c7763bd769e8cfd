#include "api/handle_table.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "platform/locks.h"

namespace sbx {
namespace {

struct Entry {
  JSHandle* handle = nullptr;  // owned
  bool givenOut = false;
};

// Entries 0 to count - 1 are in use, in order of creation, with no holes.
struct HandleTable {
  platform::ShortLock lock;
  Entry entries[kHandleTableSize];
  std::int32_t count = 0;

  Entry* begin() noexcept { return entries; }
  Entry* end() noexcept { return entries + count; }
  Entry* Find(const JSHandle* handle) noexcept {
    return std::find_if(begin(), end(), [handle](const Entry& entry) { return entry.handle == handle; });
  }
  std::unique_ptr<JSHandle> Take(Entry* entry) noexcept {
    std::unique_ptr<JSHandle> handle(entry->handle);
    std::move(entry + 1, end(), entry);
    --count;
    *end() = Entry();
    return handle;
  }
};

constinit HandleTable g_handles;

}  // namespace

JSHandle* CreateHandle() {
  const std::scoped_lock guard(g_handles.lock);
  if (g_handles.count >= kHandleTableSize) return nullptr;
  JSHandle* const handle = std::make_unique<JSHandle>().release();
  g_handles.entries[g_handles.count++] = {handle, false};
  return handle;
}

void GiveOutHandle(const JSHandle* handle) noexcept {
  const std::scoped_lock guard(g_handles.lock);
  if (Entry* const entry = g_handles.Find(handle); entry != g_handles.end()) entry->givenOut = true;
}

void DiscardHandle(const JSHandle* handle) noexcept {
  std::unique_ptr<JSHandle> discarded;  // freed outside the lock: a graph may have many blocks
  const std::scoped_lock guard(g_handles.lock);
  if (Entry* const entry = g_handles.Find(handle); entry != g_handles.end())
    discarded = g_handles.Take(entry);
}

bool QueryHandle(const JSHandle* handle, void*& root, std::uint32_t& totalSize) noexcept {
  const std::scoped_lock guard(g_handles.lock);
  const Entry* const entry = g_handles.Find(handle);
  if (entry == g_handles.end() || !entry->givenOut) return false;
  root = entry->handle->root;
  totalSize = entry->handle->totalSize;
  return true;
}

void FreeHandle(const JSHandle* handle) noexcept {
  std::unique_ptr<JSHandle> freed;
  const std::scoped_lock guard(g_handles.lock);
  Entry* const entry = g_handles.Find(handle);
  if (entry != g_handles.end() && entry->givenOut) freed = g_handles.Take(entry);
}

std::int32_t HandleCount() noexcept {
  const std::scoped_lock guard(g_handles.lock);
  return g_handles.count;
}

void HoldHandles() noexcept {
  g_handles.lock.lock();
}
void ReleaseHandles() noexcept {
  g_handles.lock.unlock();
}

void FreeAllHandles() noexcept {
  const std::unique_lock guard(g_handles.lock, std::try_to_lock);
  if (!guard.owns_lock()) return;
  while (g_handles.count > 0) g_handles.Take(g_handles.end() - 1);
}

}  // namespace sbx
