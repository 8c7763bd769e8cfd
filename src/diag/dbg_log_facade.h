// The one log call of the library, and the interface of its outputs.
//
// A lower level is more serious: 0 errors, 2 problems that the caller can recover from, 3 progress, 4 rule
// detail; 1 has no use. A message passes an output when its level is not above that output's threshold.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/format.h"
#include "base/wide_text.h"

namespace sbx {

// An output of the log. Implementations serialise themselves: any thread may call.
class IDBGLogOutput {
 public:
  virtual ~IDBGLogOutput() = default;
  // One message in narrow text. The library's own code never calls it.
  virtual void LogA(std::int32_t level, std::int32_t errorCode, const char* text) = 0;
  // One message in zero-terminated wide text.
  virtual void LogW(std::int32_t level, std::int32_t errorCode, const char16_t* text) = 0;
  // The highest level that this output wants now.
  virtual std::int32_t GetLogLevel() = 0;
};

// Counts the calls under way, so that shut-down can wait for their end. Cheap: threads rarely share a
// counter.
class LogCallUnderWay {
 public:
  LogCallUnderWay() noexcept : counter_(CounterOfThread()) { counter_.fetch_add(1); }
  ~LogCallUnderWay() { counter_.fetch_sub(1, std::memory_order_release); }
  LogCallUnderWay(const LogCallUnderWay&) = delete;
  LogCallUnderWay& operator=(const LogCallUnderWay&) = delete;

  // Whether no call is under way. A call that begins later sees what was stored before this question.
  static bool IsNone() noexcept;
  // In a forked child: the other threads' calls are gone.
  static void ForgetAll() noexcept;

 private:
  static std::atomic<std::int32_t>& CounterOfThread() noexcept;
  std::atomic<std::int32_t>& counter_;
};

// Both outputs are owned and written only at start-up and shut-down (log_lifecycle.h). Null after shut-down,
// and a call then returns at once, which makes it safe in late destructors.
struct DBGLogFacade {
  IDBGLogOutput* fileOutput = nullptr;
  IDBGLogOutput* smOutput = nullptr;

  // Formats and hands the text to both outputs. Always 1; nothing that goes wrong below reaches the caller.
  // The level is tested first, so that a message that nobody wants is not formatted.
  template <class... Args>
  std::int32_t Printf(std::int32_t level, WideView format, const Args&... args) noexcept {
    const LogCallUnderWay call;
    if (IsWanted(level)) FormatAndDeliver(level, format, args...);
    return 1;
  }

  // Whether an output wants messages of this level now.
  bool IsWanted(std::int32_t level) noexcept;

 private:
  // Out of line: callers recurse, and a message's buffer must not lie in their frames.
  template <class... Args>
  [[gnu::noinline]] void FormatAndDeliver(std::int32_t level, WideView format, const Args&... args) noexcept {
    Deliver(level, Message(format, args...));
  }
  void Deliver(std::int32_t level, const Message& message) noexcept;
};

extern DBGLogFacade g_DBGLog;

// Where the log subsystem's own complaints go: nowhere. Nothing else may be done with them.
template <class... Args>
void DBGTrace(WideView /*format*/, const Args&... /*args*/) noexcept {}

}  // namespace sbx
