// The sandbox as a folder, which environment variables lead to.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "platform/named_objects.h"

namespace sbx::testing {

class LogSandbox {
 public:
  enum class Place {
    kDisk,
    kMemory,  // for tests that make very many new files, each of which is flushed; little room in some places
  };
  explicit LogSandbox(Place place = Place::kDisk) {
    const bool isInMemory = place == Place::kMemory && ::access("/dev/shm", W_OK) == 0;
    const std::filesystem::path base = isInMemory ? "/dev/shm" : std::filesystem::temp_directory_path();
    std::string pattern = (base / "sbxml-test-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    ::setenv("SBXML_RUNTIME_DIR", runtime().c_str(), 1);
    ::setenv("SBXML_LOG_DIR", logs().c_str(), 1);
    ::setenv("SBXML_REGISTRY", registry().c_str(), 1);
    platform::ReleaseNamedObjects();
  }
  ~LogSandbox() {
    platform::ReleaseNamedObjects();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  LogSandbox(const LogSandbox&) = delete;
  LogSandbox& operator=(const LogSandbox&) = delete;

  std::filesystem::path root() const { return root_; }
  std::filesystem::path runtime() const { return root_ / "run"; }
  std::filesystem::path logs() const { return root_ / "logs"; }
  std::filesystem::path registry() const { return root_ / "registry.reg"; }

  // Makes the registry hold these lines, below the header of the export form.
  void WriteRegistry(const std::string& lines) const {
    std::ofstream(registry(), std::ios::binary) << "Windows Registry Editor Version 5.00\n\n" << lines;
  }
  // From here on logs go where they go by themselves.
  static void LetGoOfLogs() { ::unsetenv("SBXML_LOG_DIR"); }

 private:
  std::filesystem::path root_;
};

// Gives a file a size; what is added needs no room on the disk.
inline void ResizeSparse(const std::filesystem::path& path, std::uintmax_t size) {
  std::filesystem::resize_file(path, size);
}

}  // namespace sbx::testing
