#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include "platform/memory_access.h"
#include "platform/memory_map_posix.h"

namespace sbx::platform {
namespace {

// Callers look at the error number of what they did before, not of a question asked in between.
class ErrorNumberKept {
 public:
  ErrorNumberKept() noexcept : kept_(errno) {}
  ~ErrorNumberKept() { errno = kept_; }
  ErrorNumberKept(const ErrorNumberKept&) = delete;
  ErrorNumberKept& operator=(const ErrorNumberKept&) = delete;

 private:
  int kept_;
};

void* At(std::uintptr_t address) noexcept {
  return reinterpret_cast<void*>(address);  // NOLINT(performance-no-int-to-ptr): only the kernel follows it
}

std::size_t BytesLeftInPage(std::uintptr_t address) noexcept {
  return kPageBytes - address % kPageBytes;
}

// A list of remote pieces, at most one a page: the kernel may give up a piece as a whole.
class Pieces {
 public:
  static constexpr std::size_t kLimit = 256;

  void Add(std::uintptr_t address, std::size_t size) noexcept {
    list_[count_++] = {At(address), size};
    bytes_ += size;
  }
  bool isFull() const noexcept { return count_ == kLimit; }
  const iovec* list() const noexcept { return list_; }
  std::size_t count() const noexcept { return count_; }
  std::size_t bytes() const noexcept { return bytes_; }

 private:
  iovec list_[kLimit];
  std::size_t count_ = 0;
  std::size_t bytes_ = 0;
};

void AddPages(Pieces& pieces, std::uintptr_t address, std::size_t size) noexcept {
  while (size != 0 && !pieces.isFull()) {
    const std::size_t part = std::min(size, BytesLeftInPage(address));
    pieces.Add(address, part);
    address += part;
    size -= part;
  }
}

using RemoteCopy = ssize_t (*)(pid_t, const iovec*, unsigned long, const iovec*, unsigned long,
                               unsigned long);

enum class Copied { kAll, kPart, kRefused };

// Lets the kernel copy between `local` and the pieces. The thread's own number stands for the process, as the
// process's is that of its first thread, which may have ended. `bytes` receives how many were copied.
Copied CopyPieces(RemoteCopy copy, void* local, const Pieces& pieces, std::size_t& bytes) noexcept {
  const iovec here = {local, pieces.bytes()};
  ssize_t count;
  do {
    count = copy(gettid(), &here, 1, pieces.list(), pieces.count(), 0);
  } while (count < 0 && errno == EINTR);
  bytes = count < 0 ? 0 : static_cast<std::size_t>(count);
  if (bytes == pieces.bytes()) return Copied::kAll;
  return count < 0 && errno != EFAULT ? Copied::kRefused : Copied::kPart;
}

// Copies by way of a pipe, which answers a bad address with an error as well. Stands in where the process may
// not use the direct way, as in some sandboxes.
class Pipe {
 public:
  Pipe() noexcept {
    if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) ends_[0] = ends_[1] = -1;
  }
  ~Pipe() {
    if (ends_[0] < 0) return;
    close(ends_[0]);
    close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  // Copies at most one page, which an empty pipe always takes at once.
  bool Copy(const void* from, void* to, std::size_t size) const noexcept {
    if (ends_[0] < 0) return false;
    return Whole(write(ends_[1], from, size), size) && Whole(read(ends_[0], to, size), size);
  }

 private:
  static bool Whole(ssize_t count, std::size_t size) noexcept {
    return count >= 0 && static_cast<std::size_t>(count) == size;
  }

  int ends_[2];
};

std::size_t ReadThroughPipe(std::uintptr_t address, char* out, std::size_t size) noexcept {
  const Pipe pipe;
  std::size_t done = 0;
  while (done < size) {
    const std::size_t part = std::min(size - done, BytesLeftInPage(address + done));
    if (!pipe.Copy(At(address + done), out + done, part)) break;
    done += part;
  }
  return done;
}

bool WriteThroughPipe(std::uintptr_t address, const char* bytes, std::size_t size) noexcept {
  const Pipe pipe;
  for (std::size_t done = 0; done < size;) {
    const std::size_t part = std::min(size - done, BytesLeftInPage(address + done));
    if (!pipe.Copy(bytes + done, At(address + done), part)) return false;
    done += part;
  }
  return true;
}

bool Wraps(std::uintptr_t address, std::size_t size) noexcept {
  return size > UINTPTR_MAX - address;
}

// Lets the kernel make the pages ready for writing, which leaves their content alone but takes memory for
// each: the quick answer for small ranges. False, with an error number, also from a kernel that can't do it.
bool AreReadyForWriting(std::uintptr_t address, std::size_t size) noexcept {
  const std::size_t before = address % kPageBytes;
  return madvise(At(address - before), size + before, MADV_POPULATE_WRITE) == 0;
}

// Whether mappings that allow writing cover the range without a gap. Where the list can't be had, the pages
// answer, and a kernel that can't ask them leaves the question to the write itself, which is soft.
bool IsMappedWritable(std::uintptr_t address, std::size_t size) noexcept {
  const std::uintptr_t end = address + size;
  MappingList list;
  if (!list.isOpen()) return AreReadyForWriting(address, size) || errno == EINVAL;
  std::uintptr_t next = address;
  for (Mapping mapping; list.Next(mapping);) {
    if (mapping.end <= next) continue;
    if (mapping.first > next || !mapping.readable || !mapping.writable) return false;
    next = mapping.end;
    if (next >= end) return true;
  }
  return false;
}

// One byte of each page: a mapped page may still have nothing behind it, as beyond the end of a file.
bool IsEveryPageReadable(std::uintptr_t address, std::size_t size) noexcept {
  while (size != 0) {
    Pieces pieces;
    while (size != 0 && !pieces.isFull()) {
      const std::size_t part = std::min(size, BytesLeftInPage(address));
      pieces.Add(address, 1);
      address += part;
      size -= part;
    }
    char seen[Pieces::kLimit];
    std::size_t bytes = 0;
    const Copied copied = CopyPieces(process_vm_readv, seen, pieces, bytes);
    if (copied == Copied::kPart) return false;
    if (copied == Copied::kAll) continue;
    const Pipe pipe;
    for (std::size_t i = 0; i < pieces.count(); ++i) {
      if (!pipe.Copy(pieces.list()[i].iov_base, seen, 1)) return false;
    }
  }
  return true;
}

}  // namespace

std::size_t ReadMemory(std::uintptr_t address, void* out, std::size_t size) noexcept {
  const ErrorNumberKept kept;
  if (Wraps(address, size)) size = UINTPTR_MAX - address;
  char* const target = static_cast<char*>(out);
  for (std::size_t done = 0; done < size;) {
    Pieces pieces;
    AddPages(pieces, address + done, size - done);
    std::size_t bytes = 0;
    const Copied copied = CopyPieces(process_vm_readv, target + done, pieces, bytes);
    if (copied == Copied::kRefused) return done + ReadThroughPipe(address + done, target + done, size - done);
    done += bytes;
    if (copied == Copied::kPart) return done;
  }
  return size;
}

bool WriteMemory(void* target, const void* bytes, std::size_t size) noexcept {
  const ErrorNumberKept kept;
  const auto address = reinterpret_cast<std::uintptr_t>(target);
  if (Wraps(address, size)) return false;
  const char* const source = static_cast<const char*>(bytes);
  for (std::size_t done = 0; done < size;) {
    Pieces pieces;
    AddPages(pieces, address + done, size - done);
    std::size_t written = 0;
    // The kernel's interface takes the local side of a write as writable, too, and only reads it.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    const Copied copied = CopyPieces(process_vm_writev, const_cast<char*>(source + done), pieces, written);
    if (copied == Copied::kPart) return false;
    if (copied == Copied::kRefused) return WriteThroughPipe(address + done, source + done, size - done);
    done += written;
  }
  return true;
}

bool IsWritable(const void* address, std::size_t size) noexcept {
  const ErrorNumberKept kept;
  if (size == 0) return true;
  const auto first = reinterpret_cast<std::uintptr_t>(address);
  if (Wraps(first, size)) return false;
  if (size <= kPageBytes && AreReadyForWriting(first, size)) return true;
  return IsMappedWritable(first, size) && IsEveryPageReadable(first, size);
}

}  // namespace sbx::platform
