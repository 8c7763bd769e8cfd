// Catches what the statically linked core logs while it works for the command. The shared library has a log
// of its own, which is not touched.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "diag/dbg_log_facade.h"

namespace sbx::tool {

// Takes the place of the core's log outputs while it lives; keeps messages up to a level.
class LogCapture final : public IDBGLogOutput {
 public:
  explicit LogCapture(std::int32_t level) : level_(level), before_(g_DBGLog) {
    g_DBGLog = DBGLogFacade{};
    g_DBGLog.fileOutput = this;
  }
  ~LogCapture() override { g_DBGLog = before_; }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  void LogA(std::int32_t, std::int32_t, const char*) override {}
  void LogW(std::int32_t level, std::int32_t, const char16_t* text) override {
    if (level <= level_) lines_.emplace_back(text);
  }
  std::int32_t GetLogLevel() override { return level_; }

  // What has been caught since the last call.
  std::vector<WideString> Take() { return std::exchange(lines_, {}); }

 private:
  std::int32_t level_;
  DBGLogFacade before_;
  std::vector<WideString> lines_;
};

}  // namespace sbx::tool
