// A configuration, and its block as a tool sees it.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>

#include "base/format.h"
#include "diag/log_config.h"
#include "platform/module_identity.h"
#include "support/log_sandbox.h"

namespace sbx {

class LogConfig : public ::testing::Test {
 protected:
  void SetUp() override { config_ = std::make_unique<CLogConfig>(); }
  void TearDown() override {
    config_.reset();
    ForgetRegistryLevels();
    ForgetGlobalOptions();
  }
  static WideString Name(const char16_t* format) {
    return WideString(Message(format, platform::CurrentProcessId()).view());
  }
  // The block as a tool sees it. The configuration has to be attached.
  LOGCFG_BLOCK& Block() {
    if (!tool_.IsOpen()) {
      EXPECT_EQ(tool_.Open(Name(kLogConfigBlockName)), platform::ObjectStatus::kOk);
    }
    return *static_cast<LOGCFG_BLOCK*>(tool_.Map(sizeof(LOGCFG_BLOCK)));
  }
  WideString Path(WideView name, bool disableGlobal = false) {
    char16_t path[kLogPathUnits] = u"unchanged";
    config_->GetLogPath(name, disableGlobal, path);
    return path;
  }
  WideString Default(const char* file) const { return (sandbox_.logs() / file).u16string(); }
  static void Set(char16_t (&field)[512], WideView text) { CopyTruncated(field, 512, text); }

  testing::LogSandbox sandbox_;
  std::unique_ptr<CLogConfig> config_;
  platform::SharedBlock tool_;
};

class LogFolder : public LogConfig {
 protected:
  void SetUp() override { testing::LogSandbox::LetGoOfLogs(); }
  static std::filesystem::path ExecutableFolder() {
    return std::filesystem::path(platform::ExecutablePath()).parent_path();
  }
  // The folder that a configuration made now decides on.
  static std::filesystem::path Folder() {
    CLogConfig config;
    return WideString(config.LogFolder());
  }
};

}  // namespace sbx
