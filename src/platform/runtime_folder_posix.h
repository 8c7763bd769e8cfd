// The folder of named objects: one for each user, which nobody else may enter.
#pragma once

#include <cstdint>
#include <string>

#include "base/wide_text.h"

namespace sbx::platform {

// The name of an object's file in the folder: injective up to a length, then cut and hashed. Empty for a name
// that no object can have. May throw std::bad_alloc.
std::string ObjectFileName(WideView name);

enum class FolderUse : std::uint8_t { kLookUp, kCreate };

// The folder for the length of a scope. Serialises with forks, so that a child knows all handles.
class RuntimeFolder {
 public:
  explicit RuntimeFolder(FolderUse use) noexcept;
  ~RuntimeFolder();
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;
  // Negative, with errno set, if there is no such folder or it can't be trusted.
  int descriptor() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

// Adds to the folder's generation. Within a RuntimeFolder scope only.
void BumpGeneration(const RuntimeFolder& folder) noexcept;

// The lock of RuntimeFolder, for the length of a fork.
void LockRuntimeFolder() noexcept;
void UnlockRuntimeFolder() noexcept;

}  // namespace sbx::platform
