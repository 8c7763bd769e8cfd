// Runs sbxlog to its end and keeps what it said.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "sbxml/tool_process.h"
#include "support/log_sandbox.h"
#include "support/scratch_folder.h"

namespace sbx::testing {

// The command's start, with the files of a folder as its streams.
inline ToolStart SbxlogStart(const std::vector<std::string>& arguments, const ScratchFolder& streams) {
  streams.Write("input", "");
  ToolStart start;
  start.program = SBXLOG_TOOL;
  start.arguments = arguments;
  start.folder = std::filesystem::current_path();
  start.input = streams.path() / "input";
  start.output = streams.path() / "output";
  start.errors = streams.path() / "errors";
  return start;
}

inline Said RunSbxlog(const std::vector<std::string>& arguments) {
  const ScratchFolder streams;
  const std::string ended = EndOfTool(StartTool(SbxlogStart(arguments, streams)));
  return {ended, streams.Read("output"), streams.Read("errors")};
}

// What differs from run to run, made the same: times, and the ids given.
inline std::string Steady(std::string text,
                          const std::vector<std::pair<std::string, std::string>>& names = {}) {
  static const std::regex kTime(R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d:\d{3})");
  static const std::regex kIsoTime(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})");
  text = std::regex_replace(text, kTime, "TIME");
  text = std::regex_replace(text, kIsoTime, "TIME");
  for (const auto& [from, to] : names) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
      text.replace(at, from.size(), to);
    }
  }
  return text;
}

}  // namespace sbx::testing
