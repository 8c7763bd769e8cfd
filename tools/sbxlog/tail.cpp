// sbxlog tail: the messages of running processes, while they are logged.
//
// Each followed executable has a thread of its own, so that a busy one delays no other. The switch that makes
// all processes write to their channels lives as long as this command does.
#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <thread>

#include "sbxlog/breakpoint_table.h"
#include "sbxlog/commands.h"
#include "sbxlog/config_block.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/live_channel.h"
#include "sbxlog/message_sink.h"
#include "sbxlog/process_watch.h"
#include "sbxlog/system.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

using std::chrono::steady_clock;

// How often the command looks around; also how long Ctrl-C may take.
constexpr std::chrono::milliseconds kLookAround(20);
// Records are announced by an event; this is for an announcement that was lost with its writer.
constexpr std::uint32_t kWaitMilliseconds = 1000;

constexpr std::chrono::seconds kClearEvery(1);

class Follower {
 public:
  Follower(std::unique_ptr<LiveChannel> channel, MessageSink& sink)
      : channel_(std::move(channel)), sink_(sink), thread_([this] { RunGuarded(); }) {}
  ~Follower() {
    isStopping_.store(true);
    channel_->Wake();
    thread_.join();
  }
  Follower(const Follower&) = delete;
  Follower& operator=(const Follower&) = delete;

 private:
  void RunGuarded() {
    try {
      Run();
    } catch (...) {  // memory that ran out, as a rule
      sink_.Fail();
    }
  }

  void Run() {
    std::vector<LOG_SM_RECORD> records;
    std::uint64_t lost = 0;
    for (bool isLast = false; !isLast;) {
      isLast = isStopping_.load();  // what was written up to then is still taken
      if (!isLast) channel_->Wait(kWaitMilliseconds);
      channel_->Read(records, &lost);
      sink_.Deliver(channel_->name(), records, lost);
    }
  }

  std::unique_ptr<LiveChannel> channel_;
  MessageSink& sink_;
  std::atomic<bool> isStopping_ = false;
  std::thread thread_;
};

class Tail {
 public:
  Tail(const TailOptions& options, const OutputForm& form, Diagnostics& diagnostics)
      : options_(options),
        diagnostics_(diagnostics),
        sink_(options.filter, form,
              options.until ? std::optional<WideString>(ToWide(*options.until)) : std::nullopt) {}

  int Run() {
    for (const std::string& name : options_.names) FollowOrFail(ToWide(name));
    if (options_.names.empty()) FollowNew();
    // Last of all: what is logged from now on has its channel.
    if (!platform::IsOpened(switch_.Create(kLogSwitchName, platform::EventReset::kManual))) {
      throw CommandFailure{kExitRefused,
                           {.id = Id::kRefused, .message = "the live channel can't be turned on"}};
    }
    if (options_.names.empty() && followers_.empty()) {
      sink_.Tell(diagnostics_, {.id = Id::kWaiting, .message = "nothing logs yet"});
    }
    WaitForEnd();
    switch_.Close();
    followers_.clear();
    sink_.RethrowFailure();
    FlushOutput();
    return ExitCode();
  }

 private:
  void WaitForEnd() {
    const auto end = steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(
                                               std::chrono::duration<double>(options_.timeout.value_or(0)));
    while (!sink_.WaitForEnd(kLookAround) && !system::IsStopRequested()) {
      if (options_.timeout && steady_clock::now() >= end) break;
      if (options_.names.empty()) FollowNew();
      ClearNowAndThen();
    }
  }

  // This switch would keep the threads held of a `break add` that was killed.
  void ClearNowAndThen() {
    if (steady_clock::now() - clearedAt_ < kClearEvery) return;
    clearedAt_ = steady_clock::now();
    ClearOrphansIfAny();
  }

  int ExitCode() {
    if (!options_.until || sink_.HasSeenText()) return kExitFine;
    sink_.Tell(diagnostics_,
               {.id = Id::kTextNotSeen, .message = "no message held \"" + *options_.until + '"'});
    return kExitFindings;
  }

  LiveChannel::Opening Follow(const WideString& name) {
    if (followers_.contains(ChannelName(name))) return LiveChannel::Opening::kOpen;
    auto channel = std::make_unique<LiveChannel>(name);
    const LiveChannel::Opening opening = channel->Open();
    if (opening == LiveChannel::Opening::kOpen) {
      const WideString key = channel->name();
      followers_.emplace(key, std::make_unique<Follower>(std::move(channel), sink_));
    }
    return opening;
  }

  void FollowOrFail(const WideString& name) {
    switch (Follow(name)) {
      case LiveChannel::Opening::kOpen:
        return;
      case LiveChannel::Opening::kTaken:
        throw CommandFailure{kExitTaken,
                             {.id = Id::kNameTaken, .message = PlainText(name) + " has a reader already"}};
      case LiveChannel::Opening::kRefused:
        throw CommandFailure{
            kExitRefused, {.id = Id::kRefused, .message = "no channel can be made for " + PlainText(name)}};
    }
  }

  // Those that somebody else reads are tried again now and then.
  void FollowNew() {
    for (const WideString& name : watch_.TakeNew()) waiting_.insert(name);
    if (waiting_.empty() || (steady_clock::now() < tryAgainAt_ && waiting_ == refused_)) return;
    tryAgainAt_ = steady_clock::now() + std::chrono::seconds(1);
    for (auto each = waiting_.begin(); each != waiting_.end();) {
      const bool isOpen = Follow(*each) == LiveChannel::Opening::kOpen;
      if (!isOpen && refused_.insert(*each).second) {
        sink_.Tell(diagnostics_, {.id = Id::kNameSkipped,
                                  .message = PlainText(*each) + " has a reader already, or can't be read"});
      }
      if (isOpen) refused_.erase(*each);
      each = isOpen ? waiting_.erase(each) : std::next(each);
    }
  }

  const TailOptions& options_;
  Diagnostics& diagnostics_;
  MessageSink sink_;
  ProcessWatch watch_;
  std::set<WideString> waiting_;  // to be followed
  std::set<WideString> refused_;  // those of them that were told of
  steady_clock::time_point tryAgainAt_ = {};
  steady_clock::time_point clearedAt_ = {};
  std::map<WideString, std::unique_ptr<Follower>> followers_;
  platform::NamedEvent switch_;
};

}  // namespace

int RunTail(const TailOptions& options, const OutputForm& form, Diagnostics& diagnostics) {
  RequireSharedObjects();
  system::CatchStopRequests();
  return Tail(options, form, diagnostics).Run();
}

}  // namespace sbx::tool
