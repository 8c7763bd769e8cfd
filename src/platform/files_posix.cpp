#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <signal.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/narrow_text.h"

namespace sbx::platform {
namespace {

constexpr std::intptr_t kClosed = -1;

int Descriptor(std::intptr_t handle) noexcept {
  return static_cast<int>(handle);
}

// Repeats a call that a signal interrupted.
template <class Call>
auto Uninterrupted(Call call) noexcept {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

// Opens without waiting for anyone: a pipe or a device answers at once or fails.
int OpenDescriptor(const WideString& path, int flags) {
  const std::optional<std::string> narrow = Narrow(path, NarrowPage::kUtf8);
  if (!narrow || narrow->find('\0') != std::string::npos) {
    errno = EINVAL;
    return -1;
  }
  return Uninterrupted(
      [&] { return open(narrow->c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666); });
}

// A directory opens for reading like a file, and would fail later or look empty.
bool RefuseDirectory(const struct stat& status) noexcept {
  if (!S_ISDIR(status.st_mode)) return true;
  errno = EISDIR;
  return false;
}

bool Status(int file, struct stat& status) noexcept {
  return fstat(file, &status) == 0;
}

bool Lock(int file, int kind) noexcept {
  return Uninterrupted([&] { return flock(file, kind | LOCK_NB); }) == 0;
}

// Pipes and devices have no content to lose.
bool Empty(int file, const struct stat& status) noexcept {
  return !S_ISREG(status.st_mode) || Uninterrupted([&] { return ftruncate(file, 0); }) == 0;
}

// While it lives, a write that fails by a file size limit or a closed pipe ends in its error number and not
// in a signal, which would end the process.
class WriteSignalsHeld {
 public:
  WriteSignalsHeld() noexcept {
    sigemptyset(&held_);
    sigaddset(&held_, SIGPIPE);
    sigaddset(&held_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &held_, &before_);
    sigpending(&pending_);
  }
  ~WriteSignalsHeld() {
    const int error = errno;
    TakeOwn(SIGPIPE);
    TakeOwn(SIGXFSZ);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
  }
  WriteSignalsHeld(const WriteSignalsHeld&) = delete;
  WriteSignalsHeld& operator=(const WriteSignalsHeld&) = delete;

 private:
  // Takes the signal away unless it was waiting before.
  void TakeOwn(int signal) const noexcept {
    if (sigismember(&pending_, signal) == 1) return;
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, signal);
    const timespec none = {};
    Uninterrupted([&] { return sigtimedwait(&own, nullptr, &none); });
  }

  sigset_t held_;
  sigset_t before_;
  sigset_t pending_;
};

}  // namespace

std::uint32_t LastErrorNumber() noexcept {
  return static_cast<std::uint32_t>(errno);
}

TextFile::~TextFile() {
  Close();
}

bool TextFile::OpenForReading(const WideString& path) {
  Close();
  const int file = OpenDescriptor(path, O_RDONLY);
  if (file < 0) return false;
  handle_ = file;
  struct stat status;
  if (Status(file, status) && RefuseDirectory(status) && Lock(file, LOCK_SH)) return true;
  Close();
  return false;
}

bool TextFile::CreateForWriting(const WideString& path) {
  Close();
  const int file = OpenDescriptor(path, O_WRONLY | O_CREAT);
  if (file < 0) return false;
  handle_ = file;
  struct stat status;
  if (Status(file, status) && Lock(file, LOCK_EX) && Empty(file, status)) return true;
  Close();
  return false;
}

std::uint32_t TextFile::Size() noexcept {
  struct stat status;
  if (!Status(Descriptor(handle_), status)) return 0;
  errno = 0;
  return static_cast<std::uint32_t>(status.st_size);
}

bool TextFile::Read(void* out, std::size_t size) noexcept {
  char* target = static_cast<char*>(out);
  while (size != 0) {
    const ssize_t count = Uninterrupted([&] { return read(Descriptor(handle_), target, size); });
    if (count < 0) return false;
    if (count == 0) return true;
    target += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

bool TextFile::Write(const void* bytes, std::size_t size) noexcept {
  const WriteSignalsHeld held;
  const char* source = static_cast<const char*>(bytes);
  while (size != 0) {
    const ssize_t count = Uninterrupted([&] { return write(Descriptor(handle_), source, size); });
    if (count < 0) return false;
    if (count == 0) {
      errno = EIO;  // a device that takes nothing, for ever
      return false;
    }
    source += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

void TextFile::Close() noexcept {
  if (handle_ == kClosed) return;
  const int error = errno;
  close(Descriptor(handle_));
  handle_ = kClosed;
  errno = error;
}

}  // namespace sbx::platform
