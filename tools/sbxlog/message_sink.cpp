#include "sbxlog/message_sink.h"

#include <iostream>

#include "diag/log_line.h"
#include "diag/log_message.h"
#include "sbxlog/shown_line.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

Json JsonOf(CLogMessage& message, WideView text) {
  return {{"kind", "message"},
          {"time", IsoTime(TimeText(message.GetTime()).view())},
          {"level", message.GetLevel()},
          {"pid", message.GetProcessId()},
          {"tid", message.GetThreadId()},
          {"error_code", message.GetErrorCode()},
          {"process", ToUtf8(message.GetProcessName())},
          {"module", ToUtf8(message.GetModuleName())},
          {"message", ToUtf8(text)}};
}

// A line as in the file, but for the version of the module, which the channel doesn't carry.
ShownLine LineOf(CLogMessage& message, WideView text, const OutputForm& form) {
  return {.prefix = MessageText(message.FormatPrefix(), form),
          .message = MessageText(text, form),
          .tail = "   {" + MessageText(message.GetProcessName(), form) +
                  "::" + MessageText(message.GetModuleName(), form) + "}",
          .level = message.GetLevel()};
}

}  // namespace

void MessageSink::Deliver(const WideString& channel, const std::vector<LOG_SM_RECORD>& records,
                          std::uint64_t lost) {
  const std::scoped_lock guard(lock_);
  if (isEnded_) return;
  if (lost != 0) PutLost(channel, lost);
  for (const LOG_SM_RECORD& record : records) {
    if (!isEnded_) Put(record);
  }
  if (!std::cout.flush()) isEnded_ = true;
  if (isEnded_) ended_.notify_all();
}

void MessageSink::PutLost(const WideString& channel, std::uint64_t lost) const {
  if (form_.json) return PutJson({{"kind", "lost"}, {"process", ToUtf8(channel)}, {"count", lost}});
  std::cout << "[... " << Counted(lost, "message") << " of " << PlainText(channel) << " lost ...]\n";
}

void MessageSink::Put(const LOG_SM_RECORD& record) {
  CLogMessage message(record);
  const WideString text = message.GetText();
  if (!filter_.Admits(message.GetLevel(), message.GetProcessId(), text)) return;
  if (form_.json) {
    PutJson(JsonOf(message, text));
  } else {
    PutLine(LineOf(message, text, form_), form_);
  }
  hasSeenText_ = until_ && text.find(*until_) != WideString::npos;
  isEnded_ = hasSeenText_;
}

void MessageSink::Tell(Diagnostics& diagnostics, const Diagnostic& diagnostic) {
  const std::scoped_lock guard(lock_);
  diagnostics.Report(diagnostic);
}

void MessageSink::Fail() {
  const std::scoped_lock guard(lock_);
  failure_ = std::current_exception();
  isEnded_ = true;
  ended_.notify_all();
}

void MessageSink::RethrowFailure() const {
  const std::scoped_lock guard(lock_);
  if (failure_ != nullptr) std::rethrow_exception(failure_);
}

bool MessageSink::WaitForEnd(std::chrono::milliseconds time) {
  std::unique_lock guard(lock_);
  return ended_.wait_for(guard, time, [this] { return isEnded_; });
}

bool MessageSink::HasSeenText() const {
  const std::scoped_lock guard(lock_);
  return hasSeenText_;
}

}  // namespace sbx::tool
