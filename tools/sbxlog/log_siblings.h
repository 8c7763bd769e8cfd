// The files of one log: the first one and its numbered siblings.
#pragma once

#include <filesystem>
#include <vector>

namespace sbx::tool {

// The files of the log that `file` belongs to, in the order in which they are written: the first one, then by
// number. `file` itself if it stands alone, whether it is there or not.
std::vector<std::filesystem::path> FilesOfLog(const std::filesystem::path& file);

}  // namespace sbx::tool
