// Files, as the XML text functions and the log need them.
//
// Paths are wide text. A failed call leaves its error number, in the platform's own numbering, in Error().
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/wide_text.h"

namespace sbx::platform {

// The thread's last error number, as messages show it.
std::uint32_t LastErrorNumber() noexcept;

// An open XML text file. A reader excludes writers and a writer everyone else, as long as both use this
// class; refusal by sharing is a failure to open.
class TextFile {
 public:
  TextFile() noexcept = default;
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Opens an existing file for reading. False on failure, with LastErrorNumber() set.
  bool OpenForReading(const WideString& path);
  // Creates the file anew for writing: from here on an existing file has lost its content, unless it was
  // refused by sharing.
  bool CreateForWriting(const WideString& path);

  // The low 32 bits of the file's size; 0 on failure, with LastErrorNumber() set (to 0 for an empty file).
  std::uint32_t Size() noexcept;
  // Reads up to `size` bytes from the current position until the file ends. False on failure.
  bool Read(void* out, std::size_t size) noexcept;
  // Writes all bytes; false if that did not succeed. Writing 0 bytes succeeds.
  bool Write(const void* bytes, std::size_t size) noexcept;
  void Close() noexcept;

 private:
  std::intptr_t handle_ = -1;
};

}  // namespace sbx::platform
