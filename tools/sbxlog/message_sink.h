// Where the messages of all followed channels come together: filtered, shown, looked at for the text that
// ends it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "diag/live_channel_format.h"
#include "sbxlog/diagnostics.h"
#include "sbxlog/message_filter.h"
#include "sbxlog/output.h"

namespace sbx::tool {

// Any thread may call.
class MessageSink {
 public:
  MessageSink(const FilterOptions& filter, const OutputForm& form, std::optional<WideString> until)
      : filter_(filter), form_(form), until_(std::move(until)) {}

  // What a channel gave, in order, behind so many lost ones.
  void Deliver(const WideString& channel, const std::vector<LOG_SM_RECORD>& records, std::uint64_t lost);
  // A diagnostic between two messages.
  void Tell(Diagnostics& diagnostics, const Diagnostic& diagnostic);

  // Ends the work by the exception under way.
  void Fail();

  // Waits until there is nothing more to do, or for so long. True if there is nothing more to do.
  bool WaitForEnd(std::chrono::milliseconds time);
  bool HasSeenText() const;
  // Throws what a thread failed with, if one did.
  void RethrowFailure() const;

 private:
  void PutLost(const WideString& channel, std::uint64_t lost) const;
  void Put(const LOG_SM_RECORD& record);

  const MessageFilter filter_;
  const OutputForm form_;
  const std::optional<WideString> until_;
  mutable std::mutex lock_;
  std::condition_variable ended_;
  bool isEnded_ = false;
  bool hasSeenText_ = false;
  std::exception_ptr failure_;
};

}  // namespace sbx::tool
