// A log output that remembers what it was given, for tests of message texts, levels and order.
#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "diag/dbg_log_facade.h"

namespace sbx::testing {

struct LogLine {
  std::int32_t level;
  std::u16string text;
  bool operator==(const LogLine&) const = default;
};

// Prints a line as GoogleTest shows it.
inline void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.level << " \"";
  for (const char16_t unit : line.text) *out << (unit < 0x80 ? static_cast<char>(unit) : '?');
  *out << '"';
}

class RecordingOutput : public IDBGLogOutput {
 public:
  explicit RecordingOutput(std::int32_t threshold) : threshold_(threshold) {}

  void LogA(std::int32_t, std::int32_t, const char*) override {}
  void LogW(std::int32_t level, std::int32_t, const char16_t* text) override {
    const std::scoped_lock guard(lock_);
    if (level <= threshold_) lines_.push_back({level, text});
  }
  std::int32_t GetLogLevel() override { return threshold_; }

  std::vector<LogLine> lines() const {
    const std::scoped_lock guard(lock_);
    return lines_;
  }
  void Clear() {
    const std::scoped_lock guard(lock_);
    lines_.clear();
  }

 private:
  mutable std::mutex lock_;
  std::int32_t threshold_;
  std::vector<LogLine> lines_;
};

// Takes the place of the file output while it lives.
class ScopedLog {
 public:
  explicit ScopedLog(std::int32_t threshold = 4) : output_(threshold), before_(g_DBGLog) {
    g_DBGLog = DBGLogFacade{};
    g_DBGLog.fileOutput = &output_;
  }
  ~ScopedLog() { g_DBGLog = before_; }
  ScopedLog(const ScopedLog&) = delete;
  ScopedLog& operator=(const ScopedLog&) = delete;

  std::vector<LogLine> lines() const { return output_.lines(); }
  void Clear() { output_.Clear(); }

 private:
  RecordingOutput output_;
  DBGLogFacade before_;
};

}  // namespace sbx::testing
