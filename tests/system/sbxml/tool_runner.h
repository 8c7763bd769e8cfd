// Runs the command as a process and keeps what it said.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "sbxml/tool_process.h"
#include "support/host_system.h"
#include "support/scratch_folder.h"

namespace sbx::testing {

// UTF-8 as a file holds it: behind a mark where files without one are in another code page.
inline std::string Utf8File(const std::string& text) {
  return (IsNarrowPageUtf8() ? "" : "\xEF\xBB\xBF") + text;
}

// A folder that the command runs in, with one of the test's sets of documents in it.
class ToolFolder {
 public:
  explicit ToolFolder(const char* set = "") {
    for (const char* const name : {"descriptions.xml", "rules.xml", "good.xml"}) {
      std::filesystem::copy_file(std::filesystem::path(SBXML_TEST_DOCUMENTS) / set / name, path() / name);
    }
    Write("good.xml", Utf8File(Read("good.xml")));
  }

  const std::filesystem::path& path() const { return folder_.path(); }
  void Write(const std::string& name, const std::string& bytes) const { folder_.Write(name, bytes); }
  std::string Read(const std::string& name) const { return folder_.Read(name); }

  // Where the command's streams go instead of into what it said.
  void SendOutputTo(std::string path) { output_ = std::move(path); }
  void SendErrorsTo(std::string path) { errors_ = std::move(path); }
  // Where in this folder the command runs.
  void WorkIn(std::string subfolder) { subfolder_ = std::move(subfolder); }
  // A variable of the command's environment.
  void SetVariable(std::string name, std::string value) {
    variables_.emplace_back(std::move(name), std::move(value));
  }

  // Runs the command here; `input` is its standard input.
  Said Run(const std::vector<std::string>& arguments, const std::string& input = {}) const {
    Said said;
    said.ended = EndOfTool(Start(arguments, input));
    said.output = streams_.Read("output");
    said.errors = streams_.Read("errors");
    return said;
  }

  // Starts the command without waiting for it.
  ToolProcess Start(const std::vector<std::string>& arguments, const std::string& input = {}) const {
    streams_.Write("input", input);
    streams_.Write("output", "");
    streams_.Write("errors", "");
    return StartTool({.program = SBXML_TOOL,
                      .arguments = arguments,
                      .folder = path() / subfolder_,
                      .input = streams_.path() / "input",
                      .output = streams_.path() / output_,
                      .errors = streams_.path() / errors_,
                      .variables = variables_});
  }

  // Runs with the options for the test's own documents, behind the command's name.
  Said RunWithSet(const std::vector<std::string>& arguments, const std::string& input = {}) const {
    return Run(WithSet(arguments), input);
  }
  static std::vector<std::string> WithSet(std::vector<std::string> arguments) {
    const std::vector<std::string> set = {"-d", "descriptions.xml", "-r", "rules.xml", "--root", "Job"};
    arguments.insert(arguments.begin() + 1, set.begin(), set.end());
    return arguments;
  }

 private:
  ScratchFolder folder_;
  ScratchFolder streams_;
  std::string output_ = "output";
  std::string errors_ = "errors";
  std::string subfolder_;
  std::vector<std::pair<std::string, std::string>> variables_;
};

// The good document of a set, each item on a line of its own from line 2 on, with lines replaced.
class JobText {
 public:
  explicit JobText(const char* set = "") {
    std::ifstream in(std::filesystem::path(SBXML_TEST_DOCUMENTS) / set / "good.xml");
    for (std::string line; std::getline(in, line);) lines_.push_back(line);
  }
  // The line of the item; an empty text takes it out.
  std::string With(const std::string& item, const std::string& text) const {
    std::string out;
    for (const std::string& line : lines_) {
      out += (line.starts_with("<" + item + ">") || line.starts_with("<" + item + " ") ? text : line) + "\n";
    }
    return out;
  }

 private:
  std::vector<std::string> lines_;
};

}  // namespace sbx::testing
