// A folder of its own for a test's files, gone with the test.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "base/wide_text.h"

namespace sbx::testing {

class ScratchFolder {
 public:
  explicit ScratchFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::random_device random;
    do {
      path_ = parent / ("sbxml-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The path of a file in the folder, as the exports take it.
  WideString Path(const std::u16string& file) const { return path_.u16string() + u"/" + file; }
  bool Exists(const std::string& file) const { return std::filesystem::exists(path_ / file); }
  std::string Read(const std::string& file) const {
    std::ifstream in(path_ / file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
  }
  void Write(const std::string& file, const std::string& bytes) const {
    std::ofstream(path_ / file, std::ios::binary) << bytes;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace sbx::testing
