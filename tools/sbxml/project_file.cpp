#include "sbxml/project_file.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "sbxml/text.h"

namespace sbx::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& file, const std::string& message) {
  throw CommandFailure{kExitUsage, {.id = Id::kUsage, .place = {.file = FromPath(file)}, .message = message}};
}

nlohmann::json ReadJson(const fs::path& file) {
  std::ifstream in(file);
  if (!in) {
    throw CommandFailure{
        kExitNoFile,
        {.id = Id::kFileUnreadable, .place = {.file = FromPath(file)}, .message = "can't be read"}};
  }
  nlohmann::json json = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
  if (!json.is_object()) Fail(file, "a project file is one JSON object");
  return json;
}

}  // namespace

std::optional<fs::path> FindProjectFile(fs::path folder) {
  for (;;) {
    std::error_code error;
    fs::path file = folder / kProjectFileName;
    if (fs::is_regular_file(file, error)) return file;
    if (!folder.has_relative_path()) return std::nullopt;
    folder = folder.parent_path();
  }
}

void CompleteFromProjectFile(const fs::path& file, SetOptions& options) {
  const nlohmann::json json = ReadJson(file);
  for (const auto& [key, value] : json.items()) {
    const bool isPath = key == "descriptions" || key == "rules";
    if (!isPath && key != "root") Fail(file, "unknown key \"" + key + "\"");
    if (!value.is_string()) Fail(file, "\"" + key + "\" is no text");
    std::string& option = key == "root"    ? options.root
                          : key == "rules" ? options.rules
                                           : options.descriptions;
    if (!option.empty()) continue;
    const auto text = value.get<std::string>();
    option = isPath ? FromPath((file.parent_path() / ToPath(text)).lexically_normal()) : text;
  }
}

}  // namespace sbx::tool
