// The sandbox where little can be turned aside: the folder of the logs lies beside the program; in place of
// the machine's part of the registry this process sees a key of the user's. Whoever uses it must be alone on
// the system. A child of a test works in its parent's.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <windows.h>
#include <winioctl.h>

#include "platform/module_identity.h"
#include "support/child_process_win.h"

namespace sbx::testing {

class LogSandbox {
 public:
  enum class Place { kDisk, kMemory };  // one place serves both here
  explicit LogSandbox(Place = Place::kDisk) {
    if (ChildNumber() == 0) Clean();
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, kComputerName, 0, KEY_READ, &computerName_);
    if (RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, nullptr) !=
            0 ||
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, key_) != 0) {
      std::abort();
    }
    CleanRegistry();
  }
  ~LogSandbox() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(key_);
    RegCloseKey(computerName_);
    if (ChildNumber() == 0) Clean();
  }
  LogSandbox(const LogSandbox&) = delete;
  LogSandbox& operator=(const LogSandbox&) = delete;

  std::filesystem::path root() const { return Home() / "sandbox"; }
  std::filesystem::path logs() const { return Home() / "Logs"; }

  // Makes the registry hold these lines of the registry editor's export form, and nothing else.
  void WriteRegistry(const std::string& lines) const {
    CleanRegistry();
    std::string turned = lines;
    const std::string machine = "[HKEY_LOCAL_MACHINE";
    const std::string own = "[HKEY_CURRENT_USER\\Software\\sbxml-test";
    for (std::size_t at = 0; (at = turned.find(machine, at)) != std::string::npos; at += own.size()) {
      turned.replace(at, machine.size(), own);
    }
    const std::filesystem::path file = root() / "registry.reg";
    std::ofstream out(file, std::ios::binary);
    out << "\xFF\xFE";  // this form is UTF-16
    for (const char c : "Windows Registry Editor Version 5.00\n\n" + turned) out << c << '\0';
    out.close();
    const std::wstring line =
        L"regedit /S \"" + std::filesystem::path(file).make_preferred().wstring() + L"\"";
    if (_wsystem(line.c_str()) != 0) std::abort();
    std::filesystem::remove(file);
  }
  // From here on logs go where they go by themselves, as they do all the time here.
  static void LetGoOfLogs() {}

 private:
  static constexpr wchar_t kKey[] = L"Software\\sbxml-test";
  static constexpr wchar_t kComputerName[] = L"System\\CurrentControlSet\\Control\\ComputerName";

  void Clean() const {
    RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
    std::error_code ignored;
    std::filesystem::remove_all(logs(), ignored);
    std::filesystem::remove_all(root(), ignored);
    std::filesystem::create_directories(root(), ignored);
  }
  static std::filesystem::path Home() {
    return std::filesystem::path(platform::ExecutablePath()).parent_path();
  }
  // What is in the key, but for the name of the computer, which Wine looks up there.
  void CleanRegistry() const {
    if (ChildNumber() != 0) return;
    RegDeleteTreeW(key_, nullptr);
    HKEY copy = nullptr;
    RegCreateKeyExW(key_, kComputerName, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &copy, nullptr);
    if (RegCopyTreeW(computerName_, nullptr, copy) != 0) std::abort();
    RegCloseKey(copy);
  }

  HKEY computerName_ = nullptr;
  HKEY key_ = nullptr;
};

// Gives a file a size; what is added needs no room on the disk, where the file system can do that.
inline void ResizeSparse(const std::filesystem::path& path, std::uintmax_t size) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD returned = 0;
  DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  if (SetFilePointerEx(file, end, nullptr, FILE_BEGIN) == FALSE || SetEndOfFile(file) == FALSE) std::abort();
  CloseHandle(file);
}

}  // namespace sbx::testing
