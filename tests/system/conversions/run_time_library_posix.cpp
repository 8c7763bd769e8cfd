#include <dlfcn.h>

#include "run_time_library.h"

namespace sbx::testing {

void* LoadLibraryAt(const std::string& path) {
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* LoadCopyOf(const std::string& path, const std::filesystem::path& /*folder*/) {
  return dlmopen(LM_ID_NEWLM, path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindFunction(void* library, const char* name) {
  return dlsym(library, name);
}

bool UnloadLibrary(void* library) {
  return dlclose(library) == 0;
}

bool IsLoaded(const std::string& path) {
  return dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr;
}

}  // namespace sbx::testing
