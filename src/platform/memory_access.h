// Memory of the caller, whose addresses are hostile until checked.
//
// These calls survive any address: they ask the system to do the copy instead of touching the memory. They
// are safe on any thread and never fault, also for a page that another thread unmaps meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::platform {

// The unit in which readability is asked and answered.
inline constexpr std::size_t kPageBytes = 4096;

// Copies `size` bytes from `address`. Returns how many were copied before the first that can't be read,
// counted in whole pages at least: a page is readable as a whole or not at all.
std::size_t ReadMemory(std::uintptr_t address, void* out, std::size_t size) noexcept;

// Copies `size` bytes to memory of the caller; false if some of it can't be written (a part may have been).
bool WriteMemory(void* target, const void* bytes, std::size_t size) noexcept;

// Whether all bytes of the range can be written, found without writing. A size of 0 is always writable.
bool IsWritable(const void* address, std::size_t size) noexcept;

}  // namespace sbx::platform
