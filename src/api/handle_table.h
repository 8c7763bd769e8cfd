// The table of outstanding handles: what makes a handle something that the library can check, and can clean
// up at unload.
//
// The functions that read and free handles take no conversion lock, so the table has a lock of its own. An
// entry is found by its handle only after the handle has been given to a caller: until then the conversion
// that fills it works undisturbed, and the address of a freed handle that came back for a new one does no
// harm. A failed conversion's entry is never given out and stays until unload.
#pragma once

#include <cstdint>

#include "x2b/js_handle.h"

namespace sbx {

inline constexpr std::int32_t kHandleTableSize = 100;

// A new, empty handle in the last entry; null, with nothing created, when the table is full. May throw
// std::bad_alloc.
JSHandle* CreateHandle();
// Lets callers find the handle from here on.
void GiveOutHandle(const JSHandle* handle) noexcept;
// Frees the handle, given out or not, and closes the gap in the table.
void DiscardHandle(const JSHandle* handle) noexcept;

// The root and total size of a handle that was given out; false if there is none such.
bool QueryHandle(const JSHandle* handle, void*& root, std::uint32_t& totalSize) noexcept;
// Frees a handle that was given out and closes the gap; any other is ignored.
void FreeHandle(const JSHandle* handle) noexcept;

// Entries in use, those of failed conversions included.
std::int32_t HandleCount() noexcept;
// Around a fork: holds the table still, so that the child finds it whole.
void HoldHandles() noexcept;
void ReleaseHandles() noexcept;
// At unload: frees everything. Leaves the table alone if another thread was stopped while using it.
void FreeAllHandles() noexcept;

}  // namespace sbx
