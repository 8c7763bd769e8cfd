#include <new>
#include <string>
#include <windows.h>

#include "platform/caller_memory.h"
#include "platform/named_objects.h"

namespace sbx::platform {

// One handle of the system. The name space, the life of objects and the robustness of mutexes are the
// system's own.
struct NamedObject::State {
  HANDLE handle = nullptr;
  void* view = nullptr;
};

namespace {

using State = NamedObject::State;

std::wstring SystemName(WideView name) {
  return {name.begin(), name.end()};
}

// Everybody may use what is made here: the log's tools run under other accounts.
class OpenToAll {
 public:
  OpenToAll() noexcept {
    InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor_, TRUE, nullptr, FALSE);
    attributes_ = {sizeof attributes_, &descriptor_, FALSE};
  }
  SECURITY_ATTRIBUTES* get() noexcept { return &attributes_; }

 private:
  SECURITY_DESCRIPTOR descriptor_;
  SECURITY_ATTRIBUTES attributes_;
};

ObjectStatus StatusOfError(DWORD error) noexcept {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
      return ObjectStatus::kNotFound;
    case ERROR_INVALID_HANDLE:
      return ObjectStatus::kWrongKind;
    case ERROR_ACCESS_DENIED:
      return ObjectStatus::kDenied;
    default:
      return ObjectStatus::kFailed;
  }
}

// Calls the system with the name in its form, and keeps what it returns. `isCreate` asks whether the object
// was there before.
template <class Call>
ObjectStatus Obtain(WideView name, bool isCreate, State*& state, Call call) noexcept {
  if (name.empty()) return ObjectStatus::kFailed;  // the system would make an unnamed object
  try {
    const std::wstring systemName = SystemName(name);
    State* made = new State;
    SetLastError(ERROR_SUCCESS);
    made->handle = call(systemName.c_str());
    const DWORD error = GetLastError();
    if (made->handle == nullptr) {
      delete made;
      return StatusOfError(error);
    }
    state = made;
    return isCreate && error == ERROR_ALREADY_EXISTS ? ObjectStatus::kExisted : ObjectStatus::kOk;
  } catch (const std::bad_alloc&) {
    return ObjectStatus::kFailed;
  }
}

WaitResult WaitFor(HANDLE handle, std::uint32_t milliseconds) noexcept {
  DWORD result = WaitForSingleObject(handle, 0);
  if (result == WAIT_TIMEOUT && milliseconds != 0) {
    result = WaitForSingleObject(handle, milliseconds == kWaitForever ? INFINITE : milliseconds);
    NoteBlockedThread();
  }
  switch (result) {
    case WAIT_OBJECT_0:
      return WaitResult::kObtained;
    case WAIT_ABANDONED:
      return WaitResult::kAbandoned;
    case WAIT_TIMEOUT:
      return WaitResult::kTimeout;
    default:
      return WaitResult::kFailed;
  }
}

}  // namespace

// Nothing tells of objects made or gone, so each question goes to the system.
std::uint32_t NamedObjectsGeneration() noexcept {
  return 0;
}
void ReleaseNamedObjects() noexcept {}

bool EventExists(WideView name) noexcept {
  NamedEvent event;
  return event.Open(name) == ObjectStatus::kOk;
}

bool NamedObject::IsOpen() const noexcept {
  return state_ != nullptr;
}

void NamedObject::Close() noexcept {
  State* state = state_;
  state_ = nullptr;
  if (state == nullptr) return;
  if (state->view != nullptr) UnmapViewOfFile(state->view);
  CloseHandle(state->handle);
  delete state;
}

// --- Mutexes ---------------------------------------------------------------------------------------------

ObjectStatus NamedMutex::Create(WideView name) noexcept {
  Close();
  return Obtain(name, true, state_, [](const wchar_t* systemName) {
    OpenToAll security;
    return CreateMutexW(security.get(), FALSE, systemName);
  });
}

ObjectStatus NamedMutex::Open(WideView name) noexcept {
  Close();
  return Obtain(name, false, state_,
                [](const wchar_t* systemName) { return OpenMutexW(MUTEX_ALL_ACCESS, FALSE, systemName); });
}

WaitResult NamedMutex::Wait(std::uint32_t milliseconds) noexcept {
  return IsOpen() ? WaitFor(state_->handle, milliseconds) : WaitResult::kFailed;
}

void NamedMutex::Release() noexcept {
  if (IsOpen()) ReleaseMutex(state_->handle);
}

// --- Events ----------------------------------------------------------------------------------------------

ObjectStatus NamedEvent::Create(WideView name, EventReset reset) noexcept {
  Close();
  return Obtain(name, true, state_, [reset](const wchar_t* systemName) {
    OpenToAll security;
    return CreateEventW(security.get(), reset == EventReset::kManual, FALSE, systemName);
  });
}

ObjectStatus NamedEvent::Open(WideView name) noexcept {
  Close();
  return Obtain(name, false, state_,
                [](const wchar_t* systemName) { return OpenEventW(EVENT_ALL_ACCESS, FALSE, systemName); });
}

void NamedEvent::Set() noexcept {
  if (IsOpen()) SetEvent(state_->handle);
}

void NamedEvent::Reset() noexcept {
  if (IsOpen()) ResetEvent(state_->handle);
}

WaitResult NamedEvent::Wait(std::uint32_t milliseconds) noexcept {
  return IsOpen() ? WaitFor(state_->handle, milliseconds) : WaitResult::kFailed;
}

// --- Blocks ----------------------------------------------------------------------------------------------

ObjectStatus SharedBlock::Create(WideView name, std::size_t size) noexcept {
  Close();
  if (size == 0 || size > 0xFFFFFFFF) return ObjectStatus::kFailed;
  return Obtain(name, true, state_, [size](const wchar_t* systemName) {
    OpenToAll security;
    return CreateFileMappingW(INVALID_HANDLE_VALUE, security.get(), PAGE_READWRITE, 0,
                              static_cast<DWORD>(size), systemName);
  });
}

ObjectStatus SharedBlock::Open(WideView name) noexcept {
  Close();
  return Obtain(name, false, state_, [](const wchar_t* systemName) {
    return OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, systemName);
  });
}

namespace {

// Another process may have made the block, with too little memory or with memory that is only reserved.
bool IsUsable(const void* view, std::size_t size) noexcept {
  MEMORY_BASIC_INFORMATION info;
  return VirtualQuery(view, &info, sizeof info) != 0 && info.State == MEM_COMMIT &&
         (info.Protect & PAGE_READWRITE) != 0 && info.RegionSize >= size;
}

}  // namespace

void* SharedBlock::Map(std::size_t size) noexcept {
  if (!IsOpen()) return nullptr;
  if (state_->view == nullptr) state_->view = MapViewOfFile(state_->handle, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  if (state_->view == nullptr) return nullptr;
  return IsUsable(state_->view, size) ? state_->view : nullptr;
}

}  // namespace sbx::platform
