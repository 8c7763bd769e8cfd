// One message of the live channel, as the reading side holds it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "base/wide_text.h"
#include "diag/live_channel_format.h"

namespace sbx {

// Counted by its users, 1 at creation. The record is a copy; its texts need not have an end.
class CLogMessage {
 public:
  explicit CLogMessage(const LOG_SM_RECORD& record);
  virtual ~CLogMessage();
  CLogMessage(const CLogMessage&) = delete;
  CLogMessage& operator=(const CLogMessage&) = delete;

  virtual void AddRef();
  // Deletes the message at zero or less.
  virtual void Release();
  // What stands before the message in a log line, without the message.
  virtual WideString FormatPrefix();
  virtual WideString GetProcessName();
  virtual WideString GetModuleName();
  virtual std::uint32_t GetProcessId();
  virtual std::uint32_t GetThreadId();
  virtual std::uint32_t GetErrorCode();
  virtual std::int32_t GetLevel();
  virtual platform::SystemTime GetTime();
  virtual WideString GetText();

 private:
  std::atomic<std::int32_t> refCount_ = 1;
  std::unique_ptr<LOG_SM_RECORD> record_;
};

}  // namespace sbx
