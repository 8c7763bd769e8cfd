// The page as a file, the folder by environment variables.
#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace sbx::testing {

inline ProgressPage* OpenProgress(const std::string& folder, int worker) {
  const std::string path = folder + "/progress-" + std::to_string(worker);
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0 || ::ftruncate(file, sizeof(ProgressPage)) != 0) return nullptr;
  void* page = ::mmap(nullptr, sizeof(ProgressPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  return page == MAP_FAILED ? nullptr : static_cast<ProgressPage*>(page);
}
inline void CloseProgress(ProgressPage* page) {
  ::munmap(page, sizeof *page);
}

// In the worker: whatever the log writes goes below this folder.
inline void LogBelow(const std::string& folder) {
  ::setenv("SBXML_LOG_DIR", (folder + "/logs").c_str(), 1);
  ::setenv("SBXML_RUNTIME_DIR", (folder + "/run").c_str(), 1);
  ::setenv("SBXML_REGISTRY", (folder + "/registry.reg").c_str(), 1);
}

}  // namespace sbx::testing
