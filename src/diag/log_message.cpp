#include "diag/log_message.h"

#include <algorithm>

#include "diag/log_line.h"

namespace sbx {
namespace {

template <std::size_t Units>
WideString BoundedText(const char16_t (&text)[Units]) {
  return {text, static_cast<std::size_t>(std::find(text, text + Units, u'\0') - text)};
}

}  // namespace

CLogMessage::CLogMessage(const LOG_SM_RECORD& record) : record_(std::make_unique<LOG_SM_RECORD>(record)) {}

CLogMessage::~CLogMessage() = default;

void CLogMessage::AddRef() {
  ++refCount_;
}

void CLogMessage::Release() {
  if (--refCount_ <= 0) delete this;
}

WideString CLogMessage::FormatPrefix() {
  return WideString(
      LinePrefix(record_->time, record_->level, record_->processId, record_->threadId, record_->errorCode)
          .view());
}

WideString CLogMessage::GetProcessName() {
  return BoundedText(record_->processName);
}
WideString CLogMessage::GetModuleName() {
  return BoundedText(record_->moduleName);
}
std::uint32_t CLogMessage::GetProcessId() {
  return record_->processId;
}
std::uint32_t CLogMessage::GetThreadId() {
  return record_->threadId;
}
std::uint32_t CLogMessage::GetErrorCode() {
  return record_->errorCode;
}
std::int32_t CLogMessage::GetLevel() {
  return record_->level;
}
platform::SystemTime CLogMessage::GetTime() {
  return record_->time;
}
WideString CLogMessage::GetText() {
  return BoundedText(record_->message);
}

}  // namespace sbx
