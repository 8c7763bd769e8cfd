#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <new>
#include <optional>
#include <pthread.h>
#include <signal.h>
#include <string>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "platform/caller_memory.h"
#include "platform/fork_hooks.h"
#include "platform/named_object_format.h"
#include "platform/named_objects.h"
#include "platform/runtime_folder_posix.h"

namespace sbx::platform {

// One handle. All handles of the process stand in a list, so that a forked child can close them.
struct NamedObject::State {
  int file = -1;  // holds a shared lock, which is what keeps the object alive; -1: closed by a fork
  ObjectHeader* header = nullptr;
  void* view = nullptr;  // a block's memory, once mapped
  std::size_t viewBytes = 0;
  std::string fileName;
  State* next = nullptr;
  State* previous = nullptr;
};

namespace {

using State = NamedObject::State;

// Another process looks at a file for microseconds; who keeps it longer is no user of named objects.
constexpr int kLockTries = 100;
constexpr long kLockPauseNanoseconds = 500'000;
constexpr int kCreateTries = 1000;
constexpr int kSweepLimit = 512;
// A waiter looks again after this time, should the one who was to wake it have been killed in between.
constexpr std::uint32_t kSliceMilliseconds = 200;
constexpr std::uint64_t kMaxBlockBytes = std::uint64_t{1} << 32;
constexpr char kTemporaryPrefix[] = ".new-";

constinit State* g_handles = nullptr;  // behind the folder's lock
constinit std::atomic<bool> g_areHooksSet = false;

pthread_mutex_t* MutexOf(ObjectHeader& header) noexcept {
  static_assert(sizeof(pthread_mutex_t) <= kMutexBytes && alignof(pthread_mutex_t) <= 64);
  return reinterpret_cast<pthread_mutex_t*>(header.mutex);
}

// --- Forks -----------------------------------------------------------------------------------------------

void ForgetHandlesInChild() noexcept {
  // The locks belong to the parent's handles as well: the files are closed without touching the locks.
  for (State* handle = g_handles; handle != nullptr;) {
    State* next = handle->next;
    if (handle->header != nullptr) ::munmap(handle->header, kObjectHeaderBytes);
    if (handle->view != nullptr) ::munmap(handle->view, handle->viewBytes);
    ::close(handle->file);
    handle->file = -1;
    handle->header = nullptr;
    handle->view = nullptr;
    handle->next = handle->previous = nullptr;
    handle = next;
  }
  g_handles = nullptr;
  UnlockRuntimeFolder();
}

void SetForkHooksOnce() noexcept {
  if (!g_areHooksSet.exchange(true)) {
    RegisterForkHooks({&LockRuntimeFolder, &UnlockRuntimeFolder, &ForgetHandlesInChild});
  }
}

// --- Files -----------------------------------------------------------------------------------------------

void Pause() noexcept {
  const timespec pause = {0, kLockPauseNanoseconds};
  ::nanosleep(&pause, nullptr);
}

bool IsLinked(int file) noexcept {
  struct stat status;
  return ::fstat(file, &status) == 0 && status.st_nlink > 0;
}

// Removes the name if it still leads to this file, which the caller has locked exclusively.
void Unlink(const RuntimeFolder& folder, const char* name, int file) noexcept {
  struct stat byFile;
  struct stat byName;
  if (::fstat(file, &byFile) != 0 || byFile.st_nlink == 0) return;
  if (::fstatat(folder.descriptor(), name, &byName, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (byFile.st_dev != byName.st_dev || byFile.st_ino != byName.st_ino) return;
  ::unlinkat(folder.descriptor(), name, 0);
  BumpGeneration(folder);
}

// Whether the file has no holder. If so it is removed: whoever locks a file exclusively removes it.
bool RemoveIfStale(const RuntimeFolder& folder, const char* name, int file) noexcept {
  if (::flock(file, LOCK_EX | LOCK_NB) != 0) return false;
  Unlink(folder, name, file);
  return true;
}

// Takes a holder's lock. False if the object went away meanwhile, or if someone keeps it locked.
bool TakeHold(int file) noexcept {
  for (int i = 0; i < kLockTries; ++i) {
    if (::flock(file, LOCK_SH | LOCK_NB) == 0) return IsLinked(file);
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    Pause();
  }
  return false;
}

struct FileCloser {
  int file = -1;
  explicit FileCloser(int opened) noexcept : file(opened) {}
  ~FileCloser() {
    if (file >= 0) ::close(file);
  }
  FileCloser(const FileCloser&) = delete;
  FileCloser& operator=(const FileCloser&) = delete;
  int Take() noexcept {
    const int taken = file;
    file = -1;
    return taken;
  }
};

ObjectStatus StatusOfError(int error) noexcept {
  switch (error) {
    case ENOENT:
      return ObjectStatus::kNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:
      return ObjectStatus::kDenied;
    default:
      return ObjectStatus::kFailed;
  }
}

// Opens what bears an object's name. kDenied for anything but a plain file of this user.
ObjectStatus OpenFile(const RuntimeFolder& folder, const char* name, FileCloser& file) noexcept {
  file.file = ::openat(folder.descriptor(), name, O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file.file < 0) return StatusOfError(errno);
  struct stat status;
  const bool isOwn =
      ::fstat(file.file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
  return isOwn ? ObjectStatus::kOk : ObjectStatus::kDenied;
}

// Reads the first page and checks all that does not depend on the kind wanted.
bool ReadHeader(int file, WideView name, ObjectHeader& header) noexcept {
  struct stat status;
  if (::fstat(file, &status) != 0) return false;
  if (::pread(file, &header, sizeof header, 0) != static_cast<ssize_t>(sizeof header)) return false;
  return header.magic == kObjectMagic && header.version == kObjectVersion && header.kind >= 1 &&
         header.kind <= 3 && header.blockBytes <= kMaxBlockBytes &&
         static_cast<std::uint64_t>(status.st_size) == kObjectHeaderBytes + header.blockBytes &&
         header.nameUnits <= kMaxNameUnits && WideView(header.name, header.nameUnits) == name;
}

// --- Handles ---------------------------------------------------------------------------------------------

struct Wanted {
  WideView name;
  std::string fileName;
  ObjectKind kind;
  std::uint64_t blockBytes = 0;
  std::uint32_t eventMode = 0;
};

bool MakeMutex(ObjectHeader& header) noexcept {
  pthread_mutexattr_t attributes;
  if (::pthread_mutexattr_init(&attributes) != 0) return false;
  const bool isMade = ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                      ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                      ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                      ::pthread_mutex_init(MutexOf(header), &attributes) == 0;
  ::pthread_mutexattr_destroy(&attributes);
  return isMade;
}

// Whether the mutex in the file is of the one sort that is made here: another one's locking rules could end
// the process.
bool IsOwnSortOfMutex(ObjectHeader& header) noexcept {
  ObjectHeader pristine = {};
  return header.mutexBytes == sizeof(pthread_mutex_t) && MakeMutex(pristine) &&
         MutexOf(header)->__data.__kind == MutexOf(pristine)->__data.__kind;
}

ObjectHeader* MapHeader(int file) noexcept {
  void* mapped = ::mmap(nullptr, kObjectHeaderBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  return mapped == MAP_FAILED ? nullptr : static_cast<ObjectHeader*>(mapped);
}

// Makes a handle of a file on which this process has its hold. A block's header needs no mapping.
State* MakeHandle(const Wanted& wanted, FileCloser& file, ObjectHeader* header) {
  auto* state = new State;
  state->fileName = wanted.fileName;
  state->file = file.Take();
  state->header = header;
  state->next = g_handles;
  if (g_handles != nullptr) g_handles->previous = state;
  g_handles = state;
  return state;
}

ObjectStatus OpenExisting(const RuntimeFolder& folder, const Wanted& wanted, State*& state) {
  FileCloser file(-1);
  const ObjectStatus opened = OpenFile(folder, wanted.fileName.c_str(), file);
  if (opened != ObjectStatus::kOk) return opened;
  if (RemoveIfStale(folder, wanted.fileName.c_str(), file.file)) return ObjectStatus::kNotFound;
  if (!TakeHold(file.file)) return IsLinked(file.file) ? ObjectStatus::kDenied : ObjectStatus::kNotFound;

  ObjectHeader found;
  if (!ReadHeader(file.file, wanted.name, found)) return ObjectStatus::kFailed;
  if (found.kind != static_cast<std::uint32_t>(wanted.kind)) return ObjectStatus::kWrongKind;
  if (wanted.kind == ObjectKind::kMutex && !IsOwnSortOfMutex(found)) return ObjectStatus::kFailed;
  ObjectHeader* header = nullptr;
  if (wanted.kind != ObjectKind::kBlock) {
    header = MapHeader(file.file);
    if (header == nullptr) return ObjectStatus::kFailed;
  }
  state = MakeHandle(wanted, file, header);
  return ObjectStatus::kOk;
}

// A file without a name, as a rule, so that a killed maker leaves nothing behind. `temporary` is set if the
// file system knows no such files.
int MakeNamelessFile(const RuntimeFolder& folder, std::string& temporary) {
  const int file = ::openat(folder.descriptor(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT && errno != EINVAL))
    return file;
  std::array<char, 48> name;
  std::snprintf(name.data(), name.size(), "%s%d-%d", kTemporaryPrefix, ::getpid(), ::gettid());
  temporary = name.data();
  ::unlinkat(folder.descriptor(), temporary.c_str(), 0);
  return ::openat(folder.descriptor(), temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  0600);
}

// Gives the finished file its name, unless the name is taken.
bool NameFile(const RuntimeFolder& folder, int file, const std::string& temporary, const std::string& name) {
  if (!temporary.empty()) {
    const bool isNamed =
        ::linkat(folder.descriptor(), temporary.c_str(), folder.descriptor(), name.c_str(), 0) == 0;
    const int error = errno;
    ::unlinkat(folder.descriptor(), temporary.c_str(), 0);
    errno = error;
    return isNamed;
  }
  std::array<char, 32> link;
  std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", file);
  return ::linkat(AT_FDCWD, link.data(), folder.descriptor(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// Fills a file that nobody else can see yet. Its room is taken on the disk now: a write to mapped memory has
// no way to fail later.
ObjectHeader* FillFile(int file, const Wanted& wanted) noexcept {
  const std::uint64_t size = kObjectHeaderBytes + wanted.blockBytes;
  if (const int error = ::posix_fallocate(file, 0, static_cast<off_t>(size)); error != 0) {
    errno = error;
    return nullptr;
  }
  ObjectHeader* header = MapHeader(file);
  if (header == nullptr) return nullptr;
  header->magic = kObjectMagic;
  header->version = kObjectVersion;
  header->kind = static_cast<std::uint32_t>(wanted.kind);
  header->blockBytes = wanted.blockBytes;
  header->eventMode = wanted.eventMode;
  header->nameUnits = static_cast<std::uint32_t>(wanted.name.size());
  std::copy(wanted.name.begin(), wanted.name.end(), header->name);
  if (wanted.kind == ObjectKind::kMutex) {
    header->mutexBytes = sizeof(pthread_mutex_t);
    if (!MakeMutex(*header)) {
      ::munmap(header, kObjectHeaderBytes);
      errno = ENOMEM;
      return nullptr;
    }
  }
  return header;
}

// kNotFound: someone else was quicker, look again.
ObjectStatus MakeNew(const RuntimeFolder& folder, const Wanted& wanted, State*& state) {
  std::string temporary;
  FileCloser file(MakeNamelessFile(folder, temporary));
  if (file.file < 0) return errno == ENOENT ? ObjectStatus::kFailed : StatusOfError(errno);
  if (::flock(file.file, LOCK_SH | LOCK_NB) != 0) return ObjectStatus::kFailed;
  ObjectHeader* header = FillFile(file.file, wanted);
  const bool isNamed = header != nullptr && NameFile(folder, file.file, temporary, wanted.fileName);
  const int error = errno;
  if (header != nullptr && (!isNamed || wanted.kind == ObjectKind::kBlock)) {
    ::munmap(header, kObjectHeaderBytes);
    header = nullptr;
  }
  if (!isNamed) {
    if (!temporary.empty()) ::unlinkat(folder.descriptor(), temporary.c_str(), 0);
    if (error == EEXIST) return ObjectStatus::kNotFound;
    return error == ENOENT ? ObjectStatus::kFailed : StatusOfError(error);
  }
  BumpGeneration(folder);
  state = MakeHandle(wanted, file, header);
  return ObjectStatus::kOk;
}

// Removes what killed processes left behind. Names with a process's number in them would never be asked for
// again.
void Sweep(const RuntimeFolder& folder) noexcept {
  const int again = ::openat(folder.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (again < 0) return;
  DIR* entries = ::fdopendir(again);
  if (entries == nullptr) {
    ::close(again);
    return;
  }
  int left = kSweepLimit;
  while (const dirent* entry = ::readdir(entries)) {  // NOLINT(concurrency-mt-unsafe): a stream of our own
    if (--left < 0) break;
    const bool isTemporary = std::strncmp(entry->d_name, kTemporaryPrefix, sizeof kTemporaryPrefix - 1) == 0;
    if (entry->d_name[0] == '.' && !isTemporary) continue;
    FileCloser file(-1);
    if (OpenFile(folder, entry->d_name, file) != ObjectStatus::kOk) continue;
    std::uint64_t magic = 0;
    const bool isObject = ::pread(file.file, &magic, sizeof magic, 0) == static_cast<ssize_t>(sizeof magic) &&
                          magic == kObjectMagic;
    if (isObject || isTemporary) RemoveIfStale(folder, entry->d_name, file.file);
  }
  ::closedir(entries);
}

std::optional<Wanted> Name(WideView name, ObjectKind kind) {
  Wanted wanted{name, ObjectFileName(name), kind};
  if (wanted.fileName.empty()) return {};
  return wanted;
}

ObjectStatus OpenObject(const std::optional<Wanted>& wanted, State*& state) {
  if (!wanted) return ObjectStatus::kFailed;
  SetForkHooksOnce();
  const RuntimeFolder folder(FolderUse::kLookUp);
  if (folder.descriptor() < 0) return StatusOfError(errno);
  return OpenExisting(folder, *wanted, state);
}

ObjectStatus CreateObject(const std::optional<Wanted>& wanted, State*& state) {
  if (!wanted) return ObjectStatus::kFailed;
  SetForkHooksOnce();
  const RuntimeFolder folder(FolderUse::kCreate);
  if (folder.descriptor() < 0)
    return StatusOfError(errno) == ObjectStatus::kNotFound ? ObjectStatus::kFailed : StatusOfError(errno);
  if (wanted->kind == ObjectKind::kBlock) Sweep(folder);
  for (int i = 0; i < kCreateTries; ++i) {
    const ObjectStatus opened = OpenExisting(folder, *wanted, state);
    if (opened == ObjectStatus::kOk) return ObjectStatus::kExisted;
    if (opened != ObjectStatus::kNotFound) return opened;
    const ObjectStatus made = MakeNew(folder, *wanted, state);
    if (made != ObjectStatus::kNotFound) return made;
  }
  return ObjectStatus::kFailed;
}

// Memory that runs out is one more failure here.
template <class Work>
ObjectStatus WithoutExceptions(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return ObjectStatus::kFailed;
  }
}

[[maybe_unused]] timespec DeadlineIn(std::uint32_t milliseconds) noexcept {
  timespec when = {};
  ::clock_gettime(CLOCK_MONOTONIC, &when);
  when.tv_sec += milliseconds / 1000;
  when.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
  if (when.tv_nsec >= 1'000'000'000) {
    when.tv_nsec -= 1'000'000'000;
    ++when.tv_sec;
  }
  return when;
}

std::uint64_t NowMilliseconds() noexcept {
  timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

// How long somebody may still wait, in slices.
class WaitTime {
 public:
  explicit WaitTime(std::uint32_t milliseconds) noexcept : limit_(milliseconds) {}
  // The next slice in milliseconds; 0: the time is up.
  std::uint32_t NextSlice() const noexcept {
    if (limit_ == kWaitForever) return kSliceMilliseconds;
    const std::uint64_t passed = NowMilliseconds() - start_;
    if (passed >= limit_) return 0;
    return std::min(kSliceMilliseconds, static_cast<std::uint32_t>(limit_ - passed));
  }

 private:
  std::uint32_t limit_;
  std::uint64_t start_ = NowMilliseconds();
};

// ETIMEDOUT or EBUSY: it did not become free.
int LockWithinSlice(pthread_mutex_t* mutex, [[maybe_unused]] std::uint32_t milliseconds) noexcept {
#ifdef __SANITIZE_THREAD__
  // GCC 12's ThreadSanitizer doesn't know the call below, and of all others that wait it misses the taking of
  // an abandoned mutex: it would report the release, and whatever the mutex guards.
  const timespec pause = {0, 1'000'000};
  ::nanosleep(&pause, nullptr);
  return ::pthread_mutex_trylock(mutex);
#else
  const timespec deadline = DeadlineIn(milliseconds);
  return ::pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &deadline);
#endif
}

// A release wakes one waiter. If that is killed before it runs, and the mutex has gone to somebody who knows
// of no waiters meanwhile, nobody wakes the others.
int LockWithin(pthread_mutex_t* mutex, std::uint32_t milliseconds) noexcept {
  const WaitTime time(milliseconds);
  int result = ETIMEDOUT;
  while (result == ETIMEDOUT || result == EBUSY) {
    const std::uint32_t slice = time.NextSlice();
    if (slice == 0) break;
    result = LockWithinSlice(mutex, slice);
  }
  return result;
}

// A lock word that names a thread of this process. Its list of held mutexes leads through the mapping.
bool IsOwnedHere(ObjectHeader& header) noexcept {
  const auto owner = static_cast<std::uint32_t>(MutexOf(header)->__data.__lock) & FUTEX_TID_MASK;
  return owner != 0 && ::syscall(SYS_tgkill, ::getpid(), owner, 0) == 0;
}

}  // namespace

bool EventExists(WideView name) noexcept {
  try {
    const std::string fileName = ObjectFileName(name);
    const RuntimeFolder folder(FolderUse::kLookUp);
    if (fileName.empty() || folder.descriptor() < 0) return false;
    FileCloser file(-1);
    if (OpenFile(folder, fileName.c_str(), file) != ObjectStatus::kOk) return false;
    // No hold is taken: many who ask in turn would keep a dead event alive between them.
    if (RemoveIfStale(folder, fileName.c_str(), file.file)) return false;
    ObjectHeader header;
    return ReadHeader(file.file, name, header) &&
           header.kind == static_cast<std::uint32_t>(ObjectKind::kEvent);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool NamedObject::IsOpen() const noexcept {
  return state_ != nullptr && state_->file >= 0;
}

void NamedObject::Close() noexcept {
  State* state = state_;
  state_ = nullptr;
  if (state == nullptr) return;
  if (state->file >= 0) {
    const RuntimeFolder folder(FolderUse::kLookUp);
    (state->previous != nullptr ? state->previous->next : g_handles) = state->next;
    if (state->next != nullptr) state->next->previous = state->previous;
    const bool isMutex = state->header != nullptr && state->header->mutexBytes != 0;
    if (state->header != nullptr && !(isMutex && IsOwnedHere(*state->header))) {
      ::munmap(state->header, kObjectHeaderBytes);
    }
    if (state->view != nullptr) ::munmap(state->view, state->viewBytes);
    if (folder.descriptor() >= 0) RemoveIfStale(folder, state->fileName.c_str(), state->file);
    ::close(state->file);
  }
  delete state;
}

// --- Mutexes ---------------------------------------------------------------------------------------------

ObjectStatus NamedMutex::Create(WideView name) noexcept {
  Close();
  return WithoutExceptions([&] { return CreateObject(Name(name, ObjectKind::kMutex), state_); });
}

ObjectStatus NamedMutex::Open(WideView name) noexcept {
  Close();
  return WithoutExceptions([&] { return OpenObject(Name(name, ObjectKind::kMutex), state_); });
}

WaitResult NamedMutex::Wait(std::uint32_t milliseconds) noexcept {
  if (!IsOpen() || state_->header == nullptr) return WaitResult::kFailed;
  pthread_mutex_t* mutex = MutexOf(*state_->header);
  int result = ::pthread_mutex_trylock(mutex);
  if (result == EBUSY && milliseconds != 0) {
    result = LockWithin(mutex, milliseconds);
    NoteBlockedThread();
  }
  switch (result) {
    case 0:
      return WaitResult::kObtained;
    case EOWNERDEAD:
      ::pthread_mutex_consistent(mutex);
      return WaitResult::kAbandoned;
    case EBUSY:
    case ETIMEDOUT:
      return WaitResult::kTimeout;
    default:
      return WaitResult::kFailed;
  }
}

void NamedMutex::Release() noexcept {
  if (IsOpen() && state_->header != nullptr)
    static_cast<void>(::pthread_mutex_unlock(MutexOf(*state_->header)));
}

// --- Events ----------------------------------------------------------------------------------------------

ObjectStatus NamedEvent::Create(WideView name, EventReset reset) noexcept {
  Close();
  return WithoutExceptions([&] {
    std::optional<Wanted> wanted = Name(name, ObjectKind::kEvent);
    if (wanted) wanted->eventMode = reset == EventReset::kManual ? 1 : 0;
    return CreateObject(wanted, state_);
  });
}

ObjectStatus NamedEvent::Open(WideView name) noexcept {
  Close();
  return WithoutExceptions([&] { return OpenObject(Name(name, ObjectKind::kEvent), state_); });
}

void NamedEvent::Set() noexcept {
  if (!IsOpen()) return;
  std::atomic_ref(state_->header->eventState).store(1);
  // All are woken, also by an event that lets one pass: one that was killed on its way would leave the others
  // asleep.
  ::syscall(SYS_futex, &state_->header->eventState, FUTEX_WAKE, 0x7FFFFFFF, nullptr, nullptr, 0);
}

void NamedEvent::Reset() noexcept {
  if (IsOpen()) std::atomic_ref(state_->header->eventState).store(0);
}

WaitResult NamedEvent::Wait(std::uint32_t milliseconds) noexcept {
  if (!IsOpen()) return WaitResult::kFailed;
  ObjectHeader& header = *state_->header;
  std::atomic_ref signal(header.eventState);
  const WaitTime time(milliseconds);
  bool hasWaited = false;
  for (;;) {
    std::uint32_t seen = signal.load();
    if (seen != 0 && (header.eventMode == 1 || signal.compare_exchange_strong(seen, 0))) break;
    if (seen != 0) continue;
    const std::uint32_t slice = time.NextSlice();
    if (slice == 0) return WaitResult::kTimeout;
    const timespec limit = {slice / 1000, static_cast<long>(slice % 1000) * 1'000'000};
    ::syscall(SYS_futex, &header.eventState, FUTEX_WAIT, 0, &limit, nullptr, 0);
    if (!hasWaited) NoteBlockedThread();
    hasWaited = true;
  }
  if (hasWaited) NoteBlockedThread();
  return WaitResult::kObtained;
}

// --- Blocks ----------------------------------------------------------------------------------------------

ObjectStatus SharedBlock::Create(WideView name, std::size_t size) noexcept {
  Close();
  if (size == 0 || size > kMaxBlockBytes) return ObjectStatus::kFailed;
  return WithoutExceptions([&] {
    std::optional<Wanted> wanted = Name(name, ObjectKind::kBlock);
    if (wanted) wanted->blockBytes = size;
    return CreateObject(wanted, state_);
  });
}

ObjectStatus SharedBlock::Open(WideView name) noexcept {
  Close();
  return WithoutExceptions([&] { return OpenObject(Name(name, ObjectKind::kBlock), state_); });
}

void* SharedBlock::Map(std::size_t size) noexcept {
  if (!IsOpen()) return nullptr;
  // Asked each time: touching memory behind the end of a file that someone cut would end the process.
  struct stat status;
  if (::fstat(state_->file, &status) != 0 ||
      static_cast<std::uint64_t>(status.st_size) < kObjectHeaderBytes + size) {
    return nullptr;
  }
  if (state_->view != nullptr) return state_->viewBytes >= size ? state_->view : nullptr;
  const auto whole = static_cast<std::size_t>(status.st_size) - kObjectHeaderBytes;
  void* mapped = ::mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_SHARED, state_->file, kObjectHeaderBytes);
  if (mapped == MAP_FAILED) return nullptr;
  state_->viewBytes = whole;
  state_->view = mapped;
  return mapped;
}

}  // namespace sbx::platform
