// A place of its own for what the log writes: named objects, log files, registry.
#pragma once

#include <filesystem>
#include <string>

#include "platform/module_identity.h"

#if defined(_WIN32)
#include "support/log_sandbox_win.h"
#else
#include "support/log_sandbox_posix.h"
#endif

namespace sbx::testing {

// What the log calls this program, and the module in which the log's code lies: where the library is a part
// of the program, Windows knows it by the program's name.
inline std::string HostName() {
  return std::filesystem::path(platform::ExecutablePath()).filename().string();
}
inline std::string ModuleName() {
  return std::filesystem::path(platform::OwnModuleName()).string();
}

// A path as a text of the registry's export form.
inline std::string RegistryText(const std::string& path) {
  std::string text;
  for (const char c : path) text.append(c == '\\' ? 2 : 1, c);
  return text;
}

}  // namespace sbx::testing
