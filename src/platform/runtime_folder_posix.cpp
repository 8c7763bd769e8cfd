#include "platform/runtime_folder_posix.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/named_object_format.h"
#include "platform/named_objects.h"
#include "platform/wall_clock.h"

namespace sbx::platform {
namespace {

constexpr char kGenerationFile[] = ".generation";
// How long the answer "this is still the folder" is kept.
constexpr std::uint64_t kFolderTrustMilliseconds = 200;

// All behind one lock, but for the page that the generation is read from.
struct Folder {
  std::mutex lock;
  bool isPathKnown = false;
  std::array<char, PATH_MAX> path = {};  // empty: no folder can be named
  int descriptor = -1;
  dev_t device = 0;
  ino_t inode = 0;
  std::uint64_t checkedAt = 0;
  std::atomic<GenerationPage*> generation = nullptr;
};
constinit Folder g_folder;

// An absolute path from the environment, or null. A relative one would mean another folder after a chdir.
const char* AbsoluteFromEnvironment(const char* variable) noexcept {
  const char* path = ::secure_getenv(variable);
  return path != nullptr && path[0] == '/' ? path : nullptr;
}

void NameFolder(Folder& folder) noexcept {
  folder.isPathKnown = true;
  const std::size_t room = folder.path.size();
  int length = 0;
  if (const char* own = AbsoluteFromEnvironment("SBXML_RUNTIME_DIR")) {
    length = std::snprintf(folder.path.data(), room, "%s", own);
  } else if (const char* base = AbsoluteFromEnvironment("XDG_RUNTIME_DIR")) {
    length = std::snprintf(folder.path.data(), room, "%s/sbxml", base);
  } else {
    length =
        std::snprintf(folder.path.data(), room, "/tmp/sbxml-%lu", static_cast<unsigned long>(::geteuid()));
  }
  if (length < 0 || static_cast<std::size_t>(length) >= room) folder.path[0] = 0;
  // A link in the folder's place is refused, which a slash behind the name would undo.
  for (std::size_t end = std::strlen(folder.path.data()); end > 1 && folder.path[end - 1] == '/'; --end) {
    folder.path[end - 1] = 0;
  }
}

void DropFolder(Folder& folder) noexcept {
  if (folder.descriptor >= 0) ::close(folder.descriptor);
  folder.descriptor = -1;
  // The page stays mapped: another thread may be reading it. One page for each folder ever used.
  folder.generation.store(nullptr, std::memory_order_release);
}

bool IsTrusted(const struct stat& status) noexcept {
  return S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & 022) == 0;
}

// Maps the generation file, and makes it if it is missing. What is no such file is left alone: objects are
// then looked up each time.
GenerationPage* MapGeneration(int folder) noexcept {
  const int file =
      ::openat(folder, kGenerationFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600);
  if (file < 0) return nullptr;
  GenerationPage* page = nullptr;
  struct stat status;
  if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
      (status.st_size == 0 || status.st_size == kGenerationBytes) &&
      ::posix_fallocate(file, 0, kGenerationBytes) == 0) {
    void* mapped = ::mmap(nullptr, kGenerationBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped != MAP_FAILED) {
      auto* fresh = static_cast<GenerationPage*>(mapped);
      std::uint64_t none = 0;
      std::atomic_ref(fresh->magic).compare_exchange_strong(none, kGenerationMagic);
      if (std::atomic_ref(fresh->magic).load() == kGenerationMagic) {
        page = fresh;
      } else {
        ::munmap(mapped, kGenerationBytes);
      }
    }
  }
  ::close(file);
  return page;
}

bool IsSameFolder(const Folder& folder) noexcept {
  struct stat status;
  return ::lstat(folder.path.data(), &status) == 0 && status.st_dev == folder.device &&
         status.st_ino == folder.inode && IsTrusted(status);
}

// Opens the folder and makes sure that it is the user's own and closed to others.
int OpenFolder(Folder& folder, FolderUse use) noexcept {
  if (use == FolderUse::kCreate) ::mkdir(folder.path.data(), 0700);
  const int descriptor = ::open(folder.path.data(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return -1;
  struct stat status;
  const bool isOwn = ::fstat(descriptor, &status) == 0 && IsTrusted(status) &&
                     ((status.st_mode & 077) == 0 || ::fchmod(descriptor, 0700) == 0);
  if (!isOwn) {
    ::close(descriptor);
    errno = EACCES;
    return -1;
  }
  folder.descriptor = descriptor;
  folder.device = status.st_dev;
  folder.inode = status.st_ino;
  folder.generation.store(MapGeneration(descriptor), std::memory_order_release);
  return descriptor;
}

int EnsureFolder(Folder& folder, FolderUse use) noexcept {
  if (!folder.isPathKnown) NameFolder(folder);
  if (folder.path[0] == 0) {
    errno = EACCES;
    return -1;
  }
  const std::uint64_t now = CoarseMilliseconds();
  const bool isFresh = use == FolderUse::kLookUp && now - folder.checkedAt < kFolderTrustMilliseconds;
  if (folder.descriptor >= 0 && !isFresh && !IsSameFolder(folder)) DropFolder(folder);
  if (folder.descriptor < 0 && OpenFolder(folder, use) < 0) return -1;
  if (!isFresh) folder.checkedAt = now;
  return folder.descriptor;
}

bool IsPlain(char16_t unit) noexcept {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z') ||
         unit == u'_' || unit == u'-' || unit == u'.';
}

// FNV-1a over the units, from two starting points.
std::uint64_t Hash(WideView text, std::uint64_t start) noexcept {
  std::uint64_t hash = start;
  for (const char16_t unit : text) {
    hash = (hash ^ (unit & 0xFFu)) * 0x100000001B3;
    hash = (hash ^ static_cast<std::uint64_t>(unit >> 8)) * 0x100000001B3;
  }
  return hash;
}

}  // namespace

std::string ObjectFileName(WideView name) {
  constexpr std::size_t kLongest = 200;
  constexpr std::size_t kHead = 160;
  if (name.empty() || name.size() > kMaxNameUnits || name.find(u'\0') != WideView::npos) return {};
  std::string file;
  std::array<char, 48> piece;
  for (const char16_t unit : name) {
    if (IsPlain(unit) && !(unit == u'.' && file.empty())) {
      file.push_back(static_cast<char>(unit));
    } else {
      std::snprintf(piece.data(), piece.size(), "%%%04X", static_cast<unsigned>(unit));
      file += piece.data();
    }
  }
  if (file.size() <= kLongest) return file;
  file.resize(kHead);
  std::snprintf(piece.data(), piece.size(), "~%016llx%016llx",
                static_cast<unsigned long long>(Hash(name, 0xCBF29CE484222325)),
                static_cast<unsigned long long>(Hash(name, 0x9E3779B97F4A7C15)));
  return file + piece.data();
}

void LockRuntimeFolder() noexcept {
  g_folder.lock.lock();
}
void UnlockRuntimeFolder() noexcept {
  g_folder.lock.unlock();
}

RuntimeFolder::RuntimeFolder(FolderUse use) noexcept {
  g_folder.lock.lock();
  descriptor_ = EnsureFolder(g_folder, use);  // NOLINT(cppcoreguidelines-prefer-member-initializer): locked
}

RuntimeFolder::~RuntimeFolder() {
  const int before = errno;
  g_folder.lock.unlock();
  errno = before;
}

void BumpGeneration(const RuntimeFolder&) noexcept {
  GenerationPage* page = g_folder.generation.load(std::memory_order_acquire);
  if (page == nullptr) return;
  std::atomic_ref(page->generation).fetch_add(1);
}

std::uint32_t NamedObjectsGeneration() noexcept {
  GenerationPage* page = g_folder.generation.load(std::memory_order_acquire);
  if (page == nullptr) return 0;
  return std::atomic_ref(page->generation).load(std::memory_order_acquire) + 1;
}

void ReleaseNamedObjects() noexcept {
  const std::scoped_lock guard(g_folder.lock);
  GenerationPage* page = g_folder.generation.load(std::memory_order_acquire);
  DropFolder(g_folder);
  if (page != nullptr) ::munmap(page, kGenerationBytes);
  g_folder.isPathKnown = false;
  g_folder.checkedAt = 0;
}

}  // namespace sbx::platform
