// The reading side of one executable's live channel.
#pragma once

#include <cstdint>
#include <vector>

#include "diag/log_share_memory.h"
#include "platform/named_objects.h"

namespace sbx::tool {

// A name as the channel's objects have it: ASCII letters in upper case.
WideString ChannelName(WideView executable);

// Opened and destroyed by one thread, which owns the reader's place; waited for and read by one thread.
class LiveChannel {
 public:
  // Of an executable's file name, in any case.
  explicit LiveChannel(WideView executable) : name_(ChannelName(executable)), ring_(name_) {}
  ~LiveChannel() {
    if (hasPlace_) place_.Release();
  }
  LiveChannel(const LiveChannel&) = delete;
  LiveChannel& operator=(const LiveChannel&) = delete;

  enum class Opening { kOpen, kTaken, kRefused };
  // Takes the place of the name's one reader and makes the event that lets processes write.
  Opening Open();
  // Until there may be something to read, or the time is over.
  void Wait(std::uint32_t milliseconds) noexcept;
  // Ends a Wait; any thread.
  void Wake() noexcept { event_.Set(); }
  // Takes the new records, each once. `lost` counts those that were overwritten since this reader began.
  void Read(std::vector<LOG_SM_RECORD>& records, std::uint64_t* lost);

  const WideString& name() const noexcept { return name_; }

 private:
  WideString name_;
  CLogShareMemory ring_;
  platform::NamedMutex place_;
  platform::NamedEvent event_;
  bool hasPlace_ = false;
  bool isOldRing_ = false;  // it was there before, and what was overwritten then is no loss
};

}  // namespace sbx::tool
