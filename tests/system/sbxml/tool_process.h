// A command as a process: how it is started and how it ends.
#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace sbx::testing {

struct ToolStart {
  std::filesystem::path program;
  std::vector<std::string> arguments;  // without the program's name; UTF-8
  std::filesystem::path folder;        // that it runs in
  std::filesystem::path input;         // the files that are its streams; the last two are there
  std::filesystem::path output;
  std::filesystem::path errors;
  std::vector<std::pair<std::string, std::string>> variables;  // of its environment, beside those of the test
  bool hasOwnConsole = false;                                  // Windows: for a Ctrl-C that reaches it alone
};

// What it said, and how it ended.
struct Said {
  std::string ended;  // "exit 0"
  std::string output;
  std::string errors;

  bool operator==(const Said&) const = default;
};

inline void PrintTo(const Said& said, std::ostream* out) {
  *out << said.ended << "\n--- output\n" << said.output << "--- errors\n" << said.errors;
}

}  // namespace sbx::testing

#if defined(_WIN32)
#include "sbxml/tool_process_win.h"
#else
#include "sbxml/tool_process_posix.h"
#endif
