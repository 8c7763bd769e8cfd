#include <array>
#include <cerrno>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

#include "platform/log_files.h"
#include "platform/narrow_text.h"

namespace sbx::platform {
namespace {

int Descriptor(std::intptr_t handle) noexcept {
  return static_cast<int>(handle);
}

// The system's form of a path. Text with a zero inside names nothing.
std::optional<std::string> SystemPath(const WideString& path) {
  if (path.empty() || path.find(u'\0') != WideString::npos) return {};
  return Narrow(path, NarrowPage::kUtf8);
}

bool MakeFolder(const std::string& folder) noexcept {
  if (::mkdir(folder.c_str(), 0755) == 0) return true;
  struct stat status;
  return errno == EEXIST && ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A write at the process's limit of file sizes raises a signal that ends most hosts. It is held back while
// such a limit is set, and taken away if it came.
class FileSizeSignalGuard {
 public:
  FileSizeSignalGuard() noexcept {
    rlimit limit = {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) return;
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    sigset_t pending;
    sigemptyset(&pending);
    const bool wasPending = ::sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
    isHeld_ = !wasPending && ::pthread_sigmask(SIG_BLOCK, &signal_, &before_) == 0;
  }
  ~FileSizeSignalGuard() {
    if (!isHeld_) return;
    const timespec now = {0, 0};
    while (::sigtimedwait(&signal_, nullptr, &now) < 0 && errno == EINTR) {
    }
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  FileSizeSignalGuard(const FileSizeSignalGuard&) = delete;
  FileSizeSignalGuard& operator=(const FileSizeSignalGuard&) = delete;

 private:
  bool isHeld_ = false;
  sigset_t signal_;
  sigset_t before_;
};

void WritePieceAlone(int descriptor, LogFile::Piece& piece, std::size_t from) noexcept {
  const char* bytes = static_cast<const char*>(piece.bytes);
  while (from < piece.size) {
    const ssize_t count = ::write(descriptor, bytes + from, piece.size - from);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    from += static_cast<std::size_t>(count);
  }
  piece.written = true;
}

}  // namespace

WideString LogFolderOverride() {
  const char* folder = ::secure_getenv("SBXML_LOG_DIR");
  if (folder == nullptr) return {};
  return Widen(folder, NarrowPage::kUtf8).value_or(WideString());
}

bool CreateDirectoryTree(const WideString& folder) {
  const std::optional<std::string> path = SystemPath(folder);
  if (!path) return false;
  if (MakeFolder(*path)) return true;
  for (std::size_t end = path->find('/', 1); end != std::string::npos; end = path->find('/', end + 1)) {
    MakeFolder(path->substr(0, end));
  }
  return MakeFolder(*path);
}

// There are no access lists to extend and there is nothing to compress here.
void AdmitLocalServices(const WideString&) {}
void CompressFolder(const WideString&) {}

std::optional<std::uint64_t> FileSizeOf(const WideString& path) {
  const std::optional<std::string> name = SystemPath(path);
  struct stat status;
  if (!name || ::stat(name->c_str(), &status) != 0) return {};
  return static_cast<std::uint64_t>(status.st_size);
}

bool LogFile::Open(const WideString& path) {
  Close();
  const std::optional<std::string> name = SystemPath(path);
  if (!name) {
    errno = ENOENT;
    return false;
  }
  // Without O_NONBLOCK a pipe in the file's place would stop the host.
  const int descriptor = ::open(name->c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644);
  if (descriptor < 0) return false;
  struct stat status;
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(descriptor);
    errno = EINVAL;
    return false;
  }
  handle_ = descriptor;
  return true;
}

void LogFile::Close() noexcept {
  // In this order: a child forked in between must not take another file's descriptor for this one.
  const std::intptr_t handle = std::exchange(handle_, kClosed);
  if (handle != kClosed) ::close(Descriptor(handle));
}

bool LogFile::IsDeleted() const noexcept {
  struct stat status;
  return IsOpen() && ::fstat(Descriptor(handle_), &status) == 0 && status.st_nlink == 0;
}

std::uint64_t LogFile::Size() const noexcept {
  struct stat status;
  if (!IsOpen() || ::fstat(Descriptor(handle_), &status) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

bool LogFile::SeekToEnd() noexcept {
  return ::lseek(Descriptor(handle_), 0, SEEK_END) >= 0;
}

bool LogFile::SeekToStart() noexcept {
  return ::lseek(Descriptor(handle_), 0, SEEK_SET) >= 0;
}

bool LogFile::SeekBeforeEnd(std::uint64_t back) noexcept {
  const std::uint64_t size = Size();
  return ::lseek(Descriptor(handle_), static_cast<off_t>(size > back ? size - back : 0), SEEK_SET) >= 0;
}

std::size_t LogFile::Read(void* out, std::size_t size) noexcept {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::read(Descriptor(handle_), static_cast<char*>(out) + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

void LogFile::Write(std::span<Piece> pieces) noexcept {
  const FileSizeSignalGuard guard;
  constexpr std::size_t kMost = 4;
  std::array<iovec, kMost> parts;
  const std::size_t count = pieces.size() < kMost ? pieces.size() : kMost;
  for (std::size_t i = 0; i < count; ++i) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the system's struct serves reading too
    parts[i] = {const_cast<void*>(pieces[i].bytes), pieces[i].size};
  }

  // All pieces in one call as a rule; what it leaves is tried piece by piece.
  ssize_t written = ::writev(Descriptor(handle_), parts.data(), static_cast<int>(count));
  std::size_t left = written < 0 ? 0 : static_cast<std::size_t>(written);
  for (Piece& piece : pieces) {
    if (left >= piece.size) {
      left -= piece.size;
      piece.written = written >= 0 || piece.size == 0;
      if (piece.written) continue;
    }
    WritePieceAlone(Descriptor(handle_), piece, left);
    left = 0;
    written = -1;
  }
}

bool LogFile::Flush() noexcept {
  return ::fsync(Descriptor(handle_)) == 0;
}

}  // namespace sbx::platform
