// The project file: options that stand for every call in a folder and below it.
//
//   sbxml.json: { "descriptions": "docs/job.xml", "rules": "docs/rules.xml", "root": "JobScript" }
//
// Found upwards from the current folder, the nearest one only. Paths in it are relative to the file. What the
// command line says stands above it.
#pragma once

#include <filesystem>
#include <optional>

#include "sbxml/documents.h"

namespace sbx::tool {

inline constexpr const char* kProjectFileName = "sbxml.json";

// The nearest project file from a folder upwards.
std::optional<std::filesystem::path> FindProjectFile(std::filesystem::path folder);

// Puts into `options` what they lack and the file has. Throws CommandFailure with kExitUsage for a file that
// is no JSON object of these three texts, with kExitNoFile for one that can't be read.
void CompleteFromProjectFile(const std::filesystem::path& file, SetOptions& options);

}  // namespace sbx::tool
