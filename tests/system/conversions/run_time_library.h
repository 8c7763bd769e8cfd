// Libraries that a program loads and unloads while it runs.
#pragma once

#include <filesystem>
#include <string>

namespace sbx::testing {

// Null if it can't be loaded.
void* LoadLibraryAt(const std::string& path);
// The same as a further copy, beside one that the program is linked with or has loaded already. The folder is
// for the copy's file where the system tells copies apart by their files; it must outlive the copy.
void* LoadCopyOf(const std::string& path, const std::filesystem::path& folder);
void* FindFunction(void* library, const char* name);
bool UnloadLibrary(void* library);
bool IsLoaded(const std::string& path);

}  // namespace sbx::testing
