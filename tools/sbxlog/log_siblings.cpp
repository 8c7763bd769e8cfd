#include "sbxlog/log_siblings.h"

#include <algorithm>
#include <utility>

#include "base/format.h"
#include "diag/file_output.h"

namespace sbx::tool {
namespace {

namespace fs = std::filesystem;

// As the writers name it; a file that merely looks alike is no sibling.
bool IsSibling(const fs::path& file, const RotatedName& log, std::int32_t& number) {
  const RotatedName name = SplitRotatedName(file.filename().u16string());
  number = name.number;
  if (name.base != log.base || number < 1) return false;
  return file.filename().u16string() == Message(u"%s.%08d.log", log.base, number).view();
}

// The file without a number: `x.Log` in any case, or `x` for a log whose name has another suffix.
bool IsFirst(const fs::path& file, const RotatedName& log) {
  const std::u16string name = file.filename().u16string();
  return name == log.base || EqualsIgnoringCase(name, log.base + u".log");
}

}  // namespace

std::vector<fs::path> FilesOfLog(const fs::path& file) {
  const RotatedName log = SplitRotatedName(file.filename().u16string());
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  std::vector<std::pair<std::int32_t, fs::path>> found;
  std::vector<fs::path> firsts;
  std::error_code error;
  for (fs::directory_iterator entries(folder, error); !error && entries != fs::directory_iterator();
       entries.increment(error)) {
    const fs::path name = entries->path().filename();
    const fs::path path = file.has_parent_path() ? folder / name : name;
    std::int32_t number = 0;
    if (IsSibling(name, log, number)) {
      found.emplace_back(number, path);
    } else if (log.number != 0 && IsFirst(name, log)) {
      firsts.push_back(path);
    }
  }
  std::sort(found.begin(), found.end());
  std::sort(firsts.begin(), firsts.end());
  std::vector<fs::path> files;
  // Of several that could be the first, the writers' own spelling stands last: "x" sorts before "x.Log".
  if (log.number == 0) files.push_back(file);
  if (log.number != 0 && !firsts.empty()) files.push_back(firsts.back());
  for (auto& [number, path] : found) files.push_back(std::move(path));
  if (files.empty()) files.push_back(file);
  return files;
}

}  // namespace sbx::tool
