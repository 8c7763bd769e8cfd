// The log of this process from start to stop.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "diag/dbg_log_facade.h"
#include "diag/file_output.h"
#include "diag/log_lifecycle.h"
#include "platform/module_identity.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"

namespace sbx {

namespace fs = std::filesystem;

class LogLifecycle : public ::testing::Test {
 protected:
  fs::path LogPath() const { return sandbox_.logs() / (testing::ModuleName() + ".Log"); }
  // The messages of the log, without prefix and tail.
  std::vector<std::string> Messages() const { return testing::MessagesOf(LogPath()); }

  testing::LogSandbox sandbox_;
};

}  // namespace sbx
