#include <algorithm>
#include <windows.h>

#include "platform/memory_access.h"

namespace sbx::platform {
namespace {

// Callers look at the error number of what they did before, not of a question asked in between.
class ErrorNumberKept {
 public:
  ErrorNumberKept() noexcept : kept_(GetLastError()) {}
  ~ErrorNumberKept() { SetLastError(kept_); }
  ErrorNumberKept(const ErrorNumberKept&) = delete;
  ErrorNumberKept& operator=(const ErrorNumberKept&) = delete;

 private:
  DWORD kept_;
};

void* At(std::uintptr_t address) noexcept {
  return reinterpret_cast<void*>(address);  // NOLINT(performance-no-int-to-ptr): only the system follows it
}

std::size_t BytesLeftInPage(std::uintptr_t address) noexcept {
  return kPageBytes - address % kPageBytes;
}

bool Wraps(std::uintptr_t address, std::size_t size) noexcept {
  return size > UINTPTR_MAX - address;
}

// The processor reads what it may execute.
constexpr DWORD kReadable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE |
                            PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD kWritable = PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;

// How many bytes from the address on lie in one run of memory with one of these protections; 0 if none does.
// A guard page counts as none: to touch it would use up its guard, on which the growth of a stack depends.
std::size_t BytesInRegion(std::uintptr_t address, DWORD protections) noexcept {
  MEMORY_BASIC_INFORMATION region;
  if (VirtualQuery(At(address), &region, sizeof region) < sizeof region) return 0;
  if (region.State != MEM_COMMIT || (region.Protect & (PAGE_GUARD | PAGE_NOACCESS)) != 0) return 0;
  if ((region.Protect & protections) == 0) return 0;
  return reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize - address;
}

// Copies what lies in one region. The system may refuse a piece as a whole, so what a large piece does not
// give is asked for page by page.
std::size_t ReadRegion(std::uintptr_t address, char* out, std::size_t size) noexcept {
  SIZE_T copied = 0;
  if (ReadProcessMemory(GetCurrentProcess(), At(address), out, size, &copied)) return size;
  std::size_t done = 0;
  while (done < size) {
    const std::size_t part = std::min(size - done, BytesLeftInPage(address + done));
    copied = 0;
    if (!ReadProcessMemory(GetCurrentProcess(), At(address + done), out + done, part, &copied)) break;
    done += part;
  }
  return done;
}

}  // namespace

std::size_t ReadMemory(std::uintptr_t address, void* out, std::size_t size) noexcept {
  const ErrorNumberKept kept;
  if (Wraps(address, size)) size = UINTPTR_MAX - address;
  char* const target = static_cast<char*>(out);
  for (std::size_t done = 0; done < size;) {
    const std::size_t part = std::min(size - done, BytesInRegion(address + done, kReadable));
    const std::size_t bytes = ReadRegion(address + done, target + done, part);
    done += bytes;
    if (part == 0 || bytes < part) return done;
  }
  return size;
}

bool WriteMemory(void* target, const void* bytes, std::size_t size) noexcept {
  const ErrorNumberKept kept;
  const auto address = reinterpret_cast<std::uintptr_t>(target);
  if (Wraps(address, size)) return false;
  const char* const source = static_cast<const char*>(bytes);
  for (std::size_t done = 0; done < size;) {
    // Guard pages are left out before. The system's call for writing would change the protection of pages
    // that refuse it; the one for reading, into the target, ends in an error.
    const std::size_t part = std::min(size - done, BytesInRegion(address + done, kWritable));
    SIZE_T written = 0;
    if (part == 0) return false;
    if (!ReadProcessMemory(GetCurrentProcess(), source + done, At(address + done), part, &written))
      return false;
    if (written != part) return false;
    done += part;
  }
  return true;
}

bool IsWritable(const void* address, std::size_t size) noexcept {
  const ErrorNumberKept kept;
  const auto first = reinterpret_cast<std::uintptr_t>(address);
  if (size != 0 && Wraps(first, size)) return false;
  for (std::size_t done = 0; done < size;) {
    const std::size_t part = BytesInRegion(first + done, kWritable);
    if (part == 0) return false;
    done += std::min(part, size - done);
  }
  return true;
}

}  // namespace sbx::platform
