// The sandbox where nothing can be turned aside: the folder of the logs beside the program, the product's
// keys of the registry. Whoever uses it must be alone on the system. A child of a test works in its parent's.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <windows.h>

#include "platform/module_identity.h"
#include "support/child_process_win.h"

namespace sbx::testing {

class LogSandbox {
 public:
  LogSandbox() {
    if (ChildNumber() == 0) Clean();
  }
  ~LogSandbox() {
    if (ChildNumber() == 0) Clean();
  }
  LogSandbox(const LogSandbox&) = delete;
  LogSandbox& operator=(const LogSandbox&) = delete;

  std::filesystem::path root() const { return Home() / "sandbox"; }
  std::filesystem::path logs() const { return Home() / "Logs"; }

  // Makes the registry hold these lines of the registry editor's export form, and nothing else of the
  // product.
  void WriteRegistry(const std::string& lines) const {
    CleanRegistry();
    const std::filesystem::path file = root() / "registry.reg";
    std::ofstream(file, std::ios::binary) << "Windows Registry Editor Version 5.00\n\n" << lines;
    const std::wstring line =
        L"regedit /S \"" + std::filesystem::path(file).make_preferred().wstring() + L"\"";
    if (_wsystem(line.c_str()) != 0) std::abort();
    std::filesystem::remove(file);
  }

 private:
  void Clean() const {
    CleanRegistry();
    std::error_code ignored;
    std::filesystem::remove_all(logs(), ignored);
    std::filesystem::remove_all(root(), ignored);
    std::filesystem::create_directories(root(), ignored);
  }
  static std::filesystem::path Home() {
    return std::filesystem::path(platform::ExecutablePath()).parent_path();
  }
  static void CleanRegistry() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Torvane");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SYSTEM\\Setup");
  }
};

}  // namespace sbx::testing
