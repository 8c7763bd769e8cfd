#include <algorithm>
#include <windows.h>

#include "platform/files.h"

namespace sbx::platform {
namespace {

constexpr std::intptr_t kClosed = -1;

// One call moves no more than this.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

HANDLE Handle(std::intptr_t handle) noexcept {
  return reinterpret_cast<HANDLE>(handle);  // NOLINT(performance-no-int-to-ptr): a handle is no address
}

// Opens with read sharing alone, which lets readers in beside a reader and nobody beside a writer.
std::intptr_t OpenHandle(const WideString& path, DWORD access, DWORD disposition) noexcept {
  if (path.find(u'\0') != WideString::npos) {
    SetLastError(ERROR_INVALID_NAME);
    return kClosed;
  }
  const auto* const name = static_cast<const wchar_t*>(static_cast<const void*>(path.c_str()));
  const HANDLE file =
      CreateFileW(name, access, FILE_SHARE_READ, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  return reinterpret_cast<std::intptr_t>(file);
}

}  // namespace

static_assert(sizeof(HANDLE) == sizeof(std::intptr_t));

std::uint32_t LastErrorNumber() noexcept {
  return GetLastError();
}

TextFile::~TextFile() {
  Close();
}

bool TextFile::OpenForReading(const WideString& path) {
  Close();
  handle_ = OpenHandle(path, GENERIC_READ, OPEN_EXISTING);
  return handle_ != kClosed;
}

bool TextFile::CreateForWriting(const WideString& path) {
  Close();
  handle_ = OpenHandle(path, GENERIC_WRITE, CREATE_ALWAYS);
  return handle_ != kClosed;
}

std::uint32_t TextFile::Size() noexcept {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(Handle(handle_), &size)) return 0;
  SetLastError(ERROR_SUCCESS);
  return size.LowPart;
}

bool TextFile::Read(void* out, std::size_t size) noexcept {
  char* target = static_cast<char*>(out);
  while (size != 0) {
    DWORD count = 0;
    if (!ReadFile(Handle(handle_), target, static_cast<DWORD>(std::min(size, kMostBytes)), &count, nullptr)) {
      return false;
    }
    if (count == 0) return true;
    target += count;
    size -= count;
  }
  return true;
}

bool TextFile::Write(const void* bytes, std::size_t size) noexcept {
  const char* source = static_cast<const char*>(bytes);
  while (size != 0) {
    DWORD count = 0;
    if (!WriteFile(Handle(handle_), source, static_cast<DWORD>(std::min(size, kMostBytes)), &count,
                   nullptr)) {
      return false;
    }
    if (count == 0) {
      SetLastError(ERROR_WRITE_FAULT);  // a device that takes nothing, for ever
      return false;
    }
    source += count;
    size -= count;
  }
  return true;
}

void TextFile::Close() noexcept {
  if (handle_ == kClosed) return;
  const DWORD error = GetLastError();
  CloseHandle(Handle(handle_));
  handle_ = kClosed;
  SetLastError(error);
}

}  // namespace sbx::platform
