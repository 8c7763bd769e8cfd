#include "diag/sm_output.h"

#include <mutex>
#include <new>

#include "platform/module_identity.h"
#include "platform/narrow_text.h"

namespace sbx::NSDBG {

CSMOutput::~CSMOutput() {
  CSMOutput::Close();
}

bool CSMOutput::IsSwitchOn() noexcept {
  return switch_.Get([] { return platform::EventExists(kLogSwitchName); });
}

std::int32_t CSMOutput::GetLogLevel() {
  return IsSwitchOn() ? kAllLevels : 0;
}

// Whatever fails below loses the message and nothing else.
void CSMOutput::Deliver(std::int32_t level, std::int32_t errorCode, WideView text) noexcept {
  try {
    if (Open() != 0) Post(level, errorCode, text);
  } catch (const std::bad_alloc&) {
  }
}

void CSMOutput::LogW(std::int32_t level, std::int32_t errorCode, const char16_t* text) {
  Deliver(level, errorCode, ViewOf(text));
}

void CSMOutput::LogA(std::int32_t level, std::int32_t errorCode, const char* text) {
  WideString wide;
  try {
    wide = platform::Widen(text == nullptr ? "" : text, platform::NarrowPage::kAnsi).value_or(WideString());
    if (wide.size() > kMessageUnits) wide.clear();  // no room: the conversion fails as a whole
  } catch (const std::bad_alloc&) {
    return;
  }
  Deliver(level, errorCode, wide);
}

void CSMOutput::Nop() {}

int CSMOutput::Open() {
  if (CheckSwitch() != 0 && OpenLogShareMemory() != 0) {
    static_cast<void>(OpenBreakpoints());
    return 1;
  }
  Close();
  return 0;
}

int CSMOutput::CheckSwitch() {
  if (!IsSwitchOn()) return 0;
  const std::scoped_lock guard(lock_);
  if (processName_[0] == 0) {
    const WideString path = platform::ExecutablePath();
    if (path.find(platform::kPathSeparator) == WideString::npos) return 0;
    CopyTruncated(processName_, std::size(processName_), FileNameOf(path));
  }
  if (moduleName_[0] == 0) GetOwnModuleName(moduleName_, std::size(moduleName_));
  return 1;
}

int CSMOutput::OpenLogShareMemory() {
  const std::scoped_lock guard(lock_);
  if (channel_ != nullptr) return 1;
  auto channel = std::make_unique<CLogShareMemory>(processName_);
  if (channel->Create() == 0) return 0;
  channel_ = std::move(channel);
  return 1;
}

int CSMOutput::OpenBreakpoints() {
  const std::scoped_lock guard(lock_);
  if (breakpoints_ != nullptr) return 1;
  const bool areMissing = missingBreakpoints_.Get([this] {
    std::unique_ptr<BreakpointHandles> handles(new (std::nothrow) BreakpointHandles);
    if (handles == nullptr || !handles->Open()) return true;
    breakpoints_ = std::move(handles);
    return false;
  });
  return areMissing || breakpoints_ == nullptr ? 0 : 1;
}

void CSMOutput::Close() {
  const std::scoped_lock guard(lock_);
  channel_.reset();
  if (breakpoints_ != nullptr) breakpoints_->Close();
  breakpoints_.reset();
  missingBreakpoints_.Forget();
}

void CSMOutput::Post(std::int32_t level, std::int32_t errorCode, WideView text) {
  platform::Uuid hitId{};
  bool isHit = false;
  {
    const std::scoped_lock guard(lock_);
    if (channel_ == nullptr) return;  // another thread found the switch gone meanwhile
    static_cast<void>(channel_->Write(level, errorCode, ViewOf(moduleName_), text));
    isHit = breakpoints_ != nullptr &&
            CheckBreakpoint(*breakpoints_, ViewOf(processName_), platform::CurrentProcessId(),
                            platform::CurrentThreadId(), text, &hitId);
  }
  // Outside the lock: a held thread doesn't stop the others from logging.
  if (isHit) HoldWithOwnSignal(hitId);
}

// The held thread has a handle of its own: another thread may close the channel while it waits.
void CSMOutput::HoldWithOwnSignal(const platform::Uuid& hitId) {
  platform::NamedEvent signal;
  if (platform::IsOpened(signal.Open(kBreakpointSignalName))) HoldAtBreakpoint(signal, hitId);
}

void CSMOutput::StartOverInChild(bool isLockLost) noexcept {
  if (isLockLost) {
    // What the vanished thread was changing is left behind.
    new (&lock_) platform::CriticalSection();
    static_cast<void>(channel_.release());
    static_cast<void>(breakpoints_.release());
  } else {
    channel_.reset();
    breakpoints_.reset();
  }
  switch_.Forget();
  missingBreakpoints_.Forget();
}

}  // namespace sbx::NSDBG
