#include <windows.h>

#include "run_time_library.h"

namespace sbx::testing {

void* LoadLibraryAt(const std::string& path) {
  return LoadLibraryW(std::filesystem::path(path).c_str());
}

void* LoadCopyOf(const std::string& path, const std::filesystem::path& folder) {
  const std::filesystem::path copy = folder / "copy.dll";
  std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
  return LoadLibraryW(copy.c_str());
}

void* FindFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

bool UnloadLibrary(void* library) {
  return FreeLibrary(static_cast<HMODULE>(library)) != FALSE;
}

bool IsLoaded(const std::string& path) {
  return GetModuleHandleW(std::filesystem::path(path).filename().c_str()) != nullptr;
}

}  // namespace sbx::testing
