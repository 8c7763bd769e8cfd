// A file output, its log and its configuration as a tool sees them.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "diag/file_output.h"
#include "platform/module_identity.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"

namespace sbx::NSDBG {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

class FileOutput : public ::testing::Test {
 protected:
  void SetUp() override { config_ = std::make_unique<CLogConfig>(); }
  void TearDown() override {
    output_.reset();
    config_.reset();
    ForgetRegistryLevels();
    ForgetGlobalOptions();
  }
  CFileOutput& Output(std::uint32_t fullBytes = kFullLogBytes) {
    if (output_ == nullptr) output_ = std::make_unique<CFileOutput>(*config_, fullBytes);
    return *output_;
  }
  fs::path Log(const std::string& name = LogName()) const { return sandbox_.logs() / name; }
  static std::string LogName() { return sbx::testing::ModuleName() + ".Log"; }
  // The log's sibling of a number.
  fs::path Sibling(int number) const {
    const std::string digits = std::to_string(number);
    return Log(sbx::testing::ModuleName() + "." + std::string(8 - digits.size(), '0') + digits + ".log");
  }
  void Store(const fs::path& path, const std::string& bytes) const {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }
  LOGCFG_MODULE& Record() { return Block().modules[0]; }
  LOGCFG_BLOCK& Block() {
    if (!tool_.IsOpen()) {
      const Message name(kLogConfigBlockName, platform::CurrentProcessId());
      EXPECT_EQ(tool_.Open(name.view()), platform::ObjectStatus::kOk);
    }
    return *static_cast<LOGCFG_BLOCK*>(tool_.Map(sizeof(LOGCFG_BLOCK)));
  }
  void MoveTo(const fs::path& path) { CopyTruncated(Record().path, 512, path.u16string()); }

  sbx::testing::LogSandbox sandbox_;
  std::unique_ptr<CLogConfig> config_;
  std::unique_ptr<CFileOutput> output_;
  platform::SharedBlock tool_;
};

}  // namespace sbx::NSDBG
