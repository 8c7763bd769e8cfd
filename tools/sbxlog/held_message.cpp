#include "sbxlog/held_message.h"

#include "diag/live_channel_format.h"
#include "platform/named_objects.h"
#include "sbxlog/config_block.h"
#include "sbxlog/live_channel.h"

namespace sbx::tool {
namespace {

// The text is an extra: nobody waits long for it.
constexpr std::uint32_t kMutexMilliseconds = 1000;

}  // namespace

std::optional<WideString> LastMessageOf(WideView executable, std::uint32_t processId,
                                        std::uint32_t threadId) {
  const WideString name = ChannelName(executable);
  platform::NamedMutex mutex;
  platform::SharedBlock mapping;
  if (!platform::IsOpened(mutex.Open(kLiveMutexName + name))) return {};
  if (!platform::IsOpened(mapping.Open(kLiveBlockName + name)) &&
      !platform::IsOpened(mapping.Open(kLiveLocalBlockName + name))) {
    return {};
  }
  const platform::MutexScope scope(mutex, kMutexMilliseconds);
  if (scope.result() == platform::WaitResult::kTimeout || scope.result() == platform::WaitResult::kFailed)
    return {};
  const auto* const block = static_cast<const LOG_SM_BLOCK*>(mapping.Map(sizeof(LOG_SM_BLOCK)));
  if (block == nullptr) return {};
  const auto last = static_cast<std::uint64_t>(block->header.writeIndex);
  for (std::uint64_t back = 0; back < kLiveSlots; ++back) {
    const LOG_SM_RECORD& record = block->slots[SlotOf(static_cast<std::int64_t>(last - back))];
    if (record.processId == processId && record.threadId == threadId)
      return WideString(BoundedView(record.message));
  }
  return {};
}

}  // namespace sbx::tool
