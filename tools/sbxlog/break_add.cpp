// sbxlog break add: holds the threads of an executable that log a text, for as long as this command wants.
//
// It owns all that a breakpoint needs: the table, the switch and the executable's channel event, without
// which no process compares its messages. A killed one lets all its threads go within seconds, since the
// switch goes with it.
#include <array>
#include <chrono>
#include <iostream>
#include <map>
#include <thread>

#include "diag/live_channel_format.h"
#include "sbxlog/breakpoint_table.h"
#include "sbxlog/commands.h"
#include "sbxlog/config_block.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/held_message.h"
#include "sbxlog/live_channel.h"
#include "sbxlog/system.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

using std::chrono::duration_cast;
using std::chrono::steady_clock;

// The signal tells of hits; it wakes one of several `break add` only, so each looks by itself too.
constexpr std::uint32_t kLookMilliseconds = 100;
constexpr std::chrono::seconds kClearEvery(1);
// A hit stands in the table a moment before its thread waits. One that never gets there was refused its
// event.
constexpr std::chrono::seconds kGrace(2);

steady_clock::duration Seconds(double seconds) {
  return duration_cast<steady_clock::duration>(std::chrono::duration<double>(seconds));
}

[[noreturn]] void Fail(int exitCode, Id id, const std::string& message) {
  throw CommandFailure{exitCode, {.id = id, .message = message}};
}

NewBreakpoint BreakpointOf(const BreakAddOptions& options) {
  const std::optional<platform::Uuid> id = platform::NewUuid();
  if (!id) Fail(kExitInternal, Id::kInternal, "the system has no randomness to give");
  NewBreakpoint breakpoint = {.id = *id,
                              .process = ToWide(options.process),
                              .processId = options.processId,
                              .threadId = options.threadId,
                              .text = ToWide(options.text)};
  if (breakpoint.process.empty() || breakpoint.process.size() >= std::size(BREAKPOINT_ENTRY{}.processName)) {
    Fail(kExitUsage, Id::kUsage, "the executable's name has 1 to 259 characters");
  }
  if (breakpoint.text.size() >= std::size(BREAKPOINT_ENTRY{}.text)) {
    Fail(kExitUsage, Id::kUsage, "the text has 1023 characters at most");
  }
  return breakpoint;
}

class Keeper {
 public:
  Keeper(const BreakAddOptions& options, const OutputForm& form)
      : options_(options), form_(form), breakpoint_(BreakpointOf(options)) {
    table_.Create();
    if (!platform::IsOpened(owner_.Create(OwnerEventName(breakpoint_.id), platform::EventReset::kManual))) {
      Fail(kExitRefused, Id::kRefused, "the breakpoint objects can't be made");
    }
    {
      const BreakpointTable::Lock block(table_);
      ClearOrphans(*block);
      if (!AddEntry(*block, breakpoint_)) Fail(kExitTaken, Id::kNoRoom, "the table of breakpoints is full");
    }
    const WideString channel = kLiveEventName + ChannelName(breakpoint_.process);
    if (!platform::IsOpened(channel_.Create(channel, platform::EventReset::kAuto)) ||
        !platform::IsOpened(switch_.Create(kLogSwitchName, platform::EventReset::kManual))) {
      Withdraw();
      Fail(kExitRefused, Id::kRefused, "the live channel can't be turned on");
    }
  }
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;

  int Run() {
    PutBreakpoint();
    const auto end = steady_clock::now() + Seconds(options_.timeout.value_or(0));
    try {
      while (!system::IsStopRequested() && (!options_.timeout || steady_clock::now() < end)) {
        static_cast<void>(table_.signal().Wait(kLookMilliseconds));
        if (!Look()) {
          endedBy_ = "command";
          break;
        }
        ReleaseDue();
        ClearNowAndThen();
        FlushOutput();
      }
    } catch (...) {
      Withdraw();
      throw;
    }
    Withdraw();
    FlushOutput();
    return kExitFine;
  }

 private:
  struct Held {
    BREAKPOINT_HIT hit;
    steady_clock::time_point since;
  };
  using Key = std::array<std::uint8_t, 16>;

  // Takes in what changed in the table. False if the breakpoint was removed from there.
  bool Look() {
    std::vector<BREAKPOINT_HIT> hits;
    bool isThere = false;
    {
      const BreakpointTable::Lock block(table_);
      isThere = FindEntry(*block, breakpoint_.id) != nullptr;
      hits = HitsOf(*block, breakpoint_.id);
    }
    std::map<Key, Held> now;
    for (const BREAKPOINT_HIT& hit : hits) {
      const auto known = held_.find(hit.hitId.bytes);
      if (known == held_.end()) PutHit(hit);
      now.emplace(hit.hitId.bytes, known == held_.end() ? Held{hit, steady_clock::now()} : known->second);
    }
    for (const auto& [id, held] : held_) {
      if (!now.contains(id)) PutRelease(held.hit, "command");
    }
    held_ = std::move(now);
    return isThere;
  }

  void ReleaseDue() {
    const auto now = steady_clock::now();
    for (auto each = held_.begin(); each != held_.end();) {
      const Held& held = each->second;
      const bool isDue = now - held.since >= Seconds(options_.hold);
      const bool isGone = !system::IsProcessAlive(held.hit.processId);
      const bool isOver = now - held.since >= Seconds(options_.hold) + kGrace;
      if (isGone || (isDue && (SetRelease(held.hit.hitId) || isOver))) {
        Empty(held.hit);
        PutRelease(held.hit, isGone ? "ended" : "time");
        each = held_.erase(each);
      } else {
        ++each;
      }
    }
  }

  void Empty(const BREAKPOINT_HIT& hit) {
    const BreakpointTable::Lock block(table_);
    EmptySlot(*block, hit.hitId);
  }

  void ClearNowAndThen() {
    if (steady_clock::now() - clearedAt_ < kClearEvery) return;
    clearedAt_ = steady_clock::now();
    const BreakpointTable::Lock block(table_);
    ClearOrphans(*block);
  }

  // No new hit from here on; then whoever is held goes on.
  void Withdraw() {
    std::vector<BREAKPOINT_HIT> hits;
    {
      const BreakpointTable::Lock block(table_);
      RemoveEntry(*block, breakpoint_.id);
      hits = HitsOf(*block, breakpoint_.id);
    }
    for (const BREAKPOINT_HIT& hit : hits) {
      if (!held_.contains(hit.hitId.bytes)) PutHit(hit);
      const auto end = steady_clock::now() + kGrace;
      while (!SetRelease(hit.hitId) && system::IsProcessAlive(hit.processId) && steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
      Empty(hit);
      PutRelease(hit, endedBy_);
    }
  }

  void PutBreakpoint() const {
    if (form_.json) {
      PutJson({{"kind", "breakpoint"},
               {"breakpoint", ShownId(breakpoint_.id)},
               {"process", options_.process},
               {"pid", options_.processId == 0 ? Json() : Json(options_.processId)},
               {"tid", options_.threadId == 0 ? Json() : Json(options_.threadId)},
               {"text", options_.text},
               {"hold", options_.hold}});
    } else {
      std::cout << "breakpoint " << ShownId(breakpoint_.id) << '\n';
    }
    FlushOutput();
  }

  void PutHit(const BREAKPOINT_HIT& hit) const {
    const std::optional<WideString> message = LastMessageOf(breakpoint_.process, hit.processId, hit.threadId);
    if (form_.json) {
      PutJson({{"kind", "hit"},
               {"hit", ShownId(hit.hitId)},
               {"breakpoint", ShownId(hit.breakpointId)},
               {"pid", hit.processId},
               {"tid", hit.threadId},
               {"message", message ? Json(ToUtf8(*message)) : Json()}});
    } else {
      std::cout << "hit " << ShownId(hit.hitId) << ": process " << hit.processId << ", thread "
                << hit.threadId;
      if (message) std::cout << ": " << MessageText(*message, form_);
      std::cout << '\n';
    }
  }

  void PutRelease(const BREAKPOINT_HIT& hit, const std::string& why) const {
    if (form_.json) {
      PutJson({{"kind", "release"}, {"hit", ShownId(hit.hitId)}, {"why", why}});
    } else {
      std::cout << "released " << ShownId(hit.hitId) << ": " << why << '\n';
    }
  }

  const BreakAddOptions& options_;
  const OutputForm form_;
  const NewBreakpoint breakpoint_;
  BreakpointTable table_;
  platform::NamedEvent owner_;
  platform::NamedEvent channel_;
  platform::NamedEvent switch_;
  std::map<Key, Held> held_;
  std::string endedBy_ = "end";  // why the threads go on that are held at the end
  steady_clock::time_point clearedAt_ = {};
};

}  // namespace

int RunBreakAdd(const BreakAddOptions& options, const OutputForm& form) {
  RequireSharedObjects();
  system::CatchStopRequests();
  return Keeper(options, form).Run();
}

}  // namespace sbx::tool
