#include "sbxlog/live_channel.h"

#include <algorithm>

namespace sbx::tool {
namespace {

// Not known to the library: by it the readers of one name find each other.
constexpr char16_t kReaderName[] = u"Global\\SBXLOG_READER_";

}  // namespace

WideString ChannelName(WideView executable) {
  WideString name(executable);
  std::transform(name.begin(), name.end(), name.begin(), AsciiUpper);
  return name;
}

LiveChannel::Opening LiveChannel::Open() {
  if (!platform::IsOpened(place_.Create(kReaderName + name_))) return Opening::kRefused;
  switch (place_.Wait(0)) {
    case platform::WaitResult::kObtained:
    case platform::WaitResult::kAbandoned:
      hasPlace_ = true;
      break;
    case platform::WaitResult::kTimeout:
      return Opening::kTaken;
    case platform::WaitResult::kFailed:
      return Opening::kRefused;
  }
  ring_.Attach();
  isOldRing_ = ring_.IsAttached();
  const bool isOpen = platform::IsOpened(event_.Create(kLiveEventName + name_, platform::EventReset::kAuto));
  return isOpen ? Opening::kOpen : Opening::kRefused;
}

void LiveChannel::Wait(std::uint32_t milliseconds) noexcept {
  static_cast<void>(event_.Wait(milliseconds));
  event_.Reset();  // should another tool have made it one that stays signalled
}

void LiveChannel::Read(std::vector<LOG_SM_RECORD>& records, std::uint64_t* lost) {
  records.clear();
  *lost = 0;
  if (!ring_.IsAttached()) ring_.Attach();
  if (!ring_.ReadNew(records, lost)) return;
  if (isOldRing_) *lost = 0;
  isOldRing_ = false;
}

}  // namespace sbx::tool
