#include <windows.h>

#include "platform/log_files.h"
// Access lists and folder compression.
#include <aclapi.h>
#include <cstdio>
#include <sddl.h>
#include <string>
#include <winioctl.h>

namespace sbx::platform {
namespace {

constexpr wchar_t kLocalService[] = L"S-1-5-19";
constexpr DWORD kModifyAccess = 0x1301BF;

HANDLE HandleOf(std::intptr_t handle) noexcept {
  return reinterpret_cast<HANDLE>(handle);  // NOLINT(performance-no-int-to-ptr): no address
}

std::wstring SystemPath(const WideString& path) {
  return {path.begin(), path.end()};
}

class LocalMemory {
 public:
  LocalMemory() noexcept = default;
  ~LocalMemory() { LocalFree(pointer); }
  LocalMemory(const LocalMemory&) = delete;
  LocalMemory& operator=(const LocalMemory&) = delete;
  void* pointer = nullptr;
};

bool IsLocalService(const EXPLICIT_ACCESS_W& entry) noexcept {
  if (entry.Trustee.TrusteeForm != TRUSTEE_IS_SID) return false;
  wchar_t* text = nullptr;
  if (ConvertSidToStringSidW(reinterpret_cast<PSID>(entry.Trustee.ptstrName), &text) == FALSE) return false;
  const bool isIt = lstrcmpiW(text, kLocalService) == 0;
  LocalFree(text);
  return isIt;
}

// The first entry of the account ends the search, whatever it grants.
bool HasAccess(const std::wstring& folder) noexcept {
  LocalMemory descriptor;
  PACL list = nullptr;
  if (GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            &list, nullptr, &descriptor.pointer) != ERROR_SUCCESS) {
    return false;
  }
  ULONG count = 0;
  EXPLICIT_ACCESS_W* entries = nullptr;
  if (GetExplicitEntriesFromAclW(list, &count, &entries) != ERROR_SUCCESS) return false;
  LocalMemory owner;
  owner.pointer = entries;
  for (ULONG i = 0; i < count; ++i) {
    if (IsLocalService(entries[i])) return (entries[i].grfAccessPermissions & kModifyAccess) == kModifyAccess;
  }
  return false;
}

void AddAccess(std::wstring folder) noexcept {
  LocalMemory descriptor;
  PACL list = nullptr;
  DWORD status = GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                       nullptr, &list, nullptr, &descriptor.pointer);
  if (status != ERROR_SUCCESS) {
    std::printf("GetNamedSecurityInfo Error %u\n", static_cast<unsigned>(status));
    return;
  }
  LocalMemory account;
  if (ConvertStringSidToSidW(kLocalService, &account.pointer) == FALSE) return;
  EXPLICIT_ACCESS_W entry = {};
  entry.grfAccessPermissions = kModifyAccess;
  entry.grfAccessMode = GRANT_ACCESS;
  entry.grfInheritance = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;
  entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
  entry.Trustee.ptstrName = static_cast<wchar_t*>(account.pointer);
  LocalMemory extended;
  PACL extendedList = nullptr;
  status = SetEntriesInAclW(1, &entry, list, &extendedList);
  extended.pointer = extendedList;
  if (status != ERROR_SUCCESS) {
    std::printf("SetEntriesInAcl Error %u\n", static_cast<unsigned>(status));
    return;
  }
  status = SetNamedSecurityInfoW(folder.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                 extendedList, nullptr);
  if (status != ERROR_SUCCESS) std::printf("SetNamedSecurityInfo Error %u\n", static_cast<unsigned>(status));
}

bool MakeFolder(const std::wstring& folder) noexcept {
  return CreateDirectoryW(folder.c_str(), nullptr) != FALSE || GetLastError() == ERROR_ALREADY_EXISTS;
}

bool Seek(std::intptr_t handle, LONGLONG distance, DWORD from) noexcept {
  LARGE_INTEGER move;
  move.QuadPart = distance;
  return SetFilePointerEx(HandleOf(handle), move, nullptr, from) != FALSE;
}

}  // namespace

// The log's folders are those of the product here.
WideString LogFolderOverride() {
  return {};
}

bool CreateDirectoryTree(const WideString& folder) {
  const std::wstring path = SystemPath(folder);
  if (MakeFolder(path)) return true;
  for (std::size_t end = path.find(L'\\', 1); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
    MakeFolder(path.substr(0, end));
  }
  return MakeFolder(path);
}

void AdmitLocalServices(const WideString& folder) {
  const std::wstring path = SystemPath(folder);
  if (!HasAccess(path)) AddAccess(path);
}

void CompressFolder(const WideString& folder) {
  const std::wstring path = SystemPath(folder);
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_COMPRESSED) != 0) return;
  const HANDLE handle =
      CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return;
  USHORT format = COMPRESSION_FORMAT_DEFAULT;
  DWORD returned = 0;
  DeviceIoControl(handle, FSCTL_SET_COMPRESSION, &format, sizeof format, nullptr, 0, &returned, nullptr);
  CloseHandle(handle);
}

std::optional<std::uint64_t> FileSizeOf(const WideString& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (GetFileAttributesExW(SystemPath(path).c_str(), GetFileExInfoStandard, &data) == FALSE) return {};
  return static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

bool LogFile::Open(const WideString& path) {
  Close();
  if (path.find(u'\0') != WideString::npos) return false;  // the system would open what stands before it
  SECURITY_DESCRIPTOR descriptor;
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
  SECURITY_ATTRIBUTES security = {sizeof security, &descriptor, FALSE};
  const HANDLE handle =
      CreateFileW(SystemPath(path).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  &security, OPEN_ALWAYS, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  handle_ = reinterpret_cast<std::intptr_t>(handle);
  return true;
}

void LogFile::Close() noexcept {
  if (IsOpen()) CloseHandle(HandleOf(handle_));
  handle_ = kClosed;
}

// An open file can't be deleted here.
bool LogFile::IsDeleted() const noexcept {
  return false;
}

std::uint64_t LogFile::Size() const noexcept {
  LARGE_INTEGER size;
  if (!IsOpen() || GetFileSizeEx(HandleOf(handle_), &size) == FALSE) return 0;
  return static_cast<std::uint64_t>(size.QuadPart);
}

bool LogFile::SeekToEnd() noexcept {
  return Seek(handle_, 0, FILE_END);
}

bool LogFile::SeekToStart() noexcept {
  return Seek(handle_, 0, FILE_BEGIN);
}

bool LogFile::SeekBeforeEnd(std::uint64_t back) noexcept {
  const std::uint64_t size = Size();
  return Seek(handle_, static_cast<LONGLONG>(size > back ? size - back : 0), FILE_BEGIN);
}

std::size_t LogFile::Read(void* out, std::size_t size) noexcept {
  DWORD done = 0;
  if (ReadFile(HandleOf(handle_), out, static_cast<DWORD>(size), &done, nullptr) == FALSE) return 0;
  return done;
}

void LogFile::Write(std::span<Piece> pieces) noexcept {
  for (Piece& piece : pieces) {
    DWORD done = 0;
    piece.written =
        WriteFile(HandleOf(handle_), piece.bytes, static_cast<DWORD>(piece.size), &done, nullptr) != FALSE &&
        done == piece.size;
  }
}

bool LogFile::Flush() noexcept {
  return FlushFileBuffers(HandleOf(handle_)) != FALSE;
}

}  // namespace sbx::platform
