// Files as the log writes them: shared with other writers and readers, never locked, never truncated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "base/wide_text.h"

namespace sbx::platform {

// Where log files go instead of the told folders, or empty. Off Windows: $SBXML_LOG_DIR, which a process
// that runs with raised rights ignores.
WideString LogFolderOverride();

// Makes the folder and its parents. True if it exists afterwards.
bool CreateDirectoryTree(const WideString& folder);

// Gives the system's local services access to the folder and turns on the compression of it, where a system
// has such things. `isProductFolder` decides over the compression. Failures are passed over.
void AdmitLocalServices(const WideString& folder);
void CompressFolder(const WideString& folder);

// The size of the file at the path; nothing if there is none.
std::optional<std::uint64_t> FileSizeOf(const WideString& path);

// An open log file. Not thread-safe.
class LogFile {
 public:
  LogFile() noexcept = default;
  ~LogFile() { Close(); }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Opens for reading and writing, shared with others, and creates the file if it is missing. What is there
  // and no plain file is refused.
  bool Open(const WideString& path);
  void Close() noexcept;
  bool IsOpen() const noexcept { return handle_ != kClosed; }

  // Whether the file was deleted meanwhile, where a system lets that happen to an open file.
  bool IsDeleted() const noexcept;
  // 0 if it can't be told.
  std::uint64_t Size() const noexcept;
  // Moves to the end or to the start. False if that failed.
  bool SeekToEnd() noexcept;
  bool SeekToStart() noexcept;
  // Moves to `back` bytes before the end, or to the start of a shorter file.
  bool SeekBeforeEnd(std::uint64_t back) noexcept;
  // Reads up to `size` bytes from the position and returns how many were read.
  std::size_t Read(void* out, std::size_t size) noexcept;

  // One piece of a line, and whether it was written whole.
  struct Piece {
    const void* bytes;
    std::size_t size;
    bool written = false;
  };
  // Writes the pieces behind one another from the position on. A piece that can't be written whole does not
  // stop the next. Never raises a signal, also at a limit of the file's size.
  void Write(std::span<Piece> pieces) noexcept;
  bool Flush() noexcept;

 private:
  static constexpr std::intptr_t kClosed = -1;
  std::intptr_t handle_ = kClosed;
};

}  // namespace sbx::platform
