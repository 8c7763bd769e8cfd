#include "diag/breakpoints.h"

#include <algorithm>

#include "diag/live_channel_format.h"

namespace sbx {
namespace {

constexpr std::uint32_t kMutexMilliseconds = 10'000;
// How often a held thread looks whether the switch is still there.
constexpr std::uint32_t kHoldMilliseconds = 5000;

template <std::size_t Units>
WideView BoundedView(const char16_t (&text)[Units]) noexcept {
  return {text, static_cast<std::size_t>(std::find(text, text + Units, u'\0') - text)};
}

struct Occasion {
  WideView processName;
  std::uint32_t processId;
  std::uint32_t threadId;
  WideView text;
};

bool Matches(const BREAKPOINT_ENTRY& entry, const Occasion& message) noexcept {
  return !entry.id.IsNil() && entry.enabled != 0 &&
         (entry.processId == 0 || entry.processId == message.processId) &&
         (entry.threadId == 0 || entry.threadId == message.threadId) &&
         EqualsIgnoringCase(BoundedView(entry.processName), message.processName) &&
         message.text.find(BoundedView(entry.text)) != WideView::npos;
}

// Fills the first free hit slot. False if there is none.
bool RecordHit(BREAKPOINT_BLOCK& block, const BREAKPOINT_ENTRY& entry, const platform::Uuid& hitId,
               const Occasion& message) noexcept {
  for (BREAKPOINT_HIT& hit : block.hits) {
    if (!hit.breakpointId.IsNil()) continue;
    hit.breakpointId = entry.id;
    hit.hitId = hitId;
    hit.processId = message.processId;
    hit.threadId = message.threadId;
    return true;
  }
  return false;
}

}  // namespace

bool BreakpointHandles::Open() noexcept {
  const bool isOpen = platform::IsOpened(event.Open(kBreakpointSignalName)) &&
                      platform::IsOpened(mutex.Open(kBreakpointMutexName)) &&
                      (platform::IsOpened(mapping.Open(kBreakpointBlockName)) ||
                       platform::IsOpened(mapping.Open(kBreakpointLocalBlockName)));
  if (!isOpen) Close();
  return isOpen;
}

void BreakpointHandles::Close() noexcept {
  event.Close();
  mutex.Close();
  mapping.Close();
}

bool CheckBreakpoint(BreakpointHandles& handles, WideView processName, std::uint32_t processId,
                     std::uint32_t threadId, WideView text, platform::Uuid* hitId) noexcept {
  if (!handles.mutex.IsOpen()) return false;
  const platform::MutexScope scope(handles.mutex, kMutexMilliseconds);
  if (scope.result() != platform::WaitResult::kObtained &&
      scope.result() != platform::WaitResult::kAbandoned) {
    return false;
  }
  auto* block = static_cast<BREAKPOINT_BLOCK*>(handles.mapping.Map(sizeof(BREAKPOINT_BLOCK)));
  if (block == nullptr || block->count == 0) return false;
  const Occasion message{processName, processId, threadId, text};
  // The count doesn't bound the walk.
  const BREAKPOINT_ENTRY* const end = std::end(block->entries);
  const BREAKPOINT_ENTRY* const entry = std::find_if(
      std::cbegin(block->entries), end, [&](const auto& each) { return Matches(each, message); });
  if (entry == end) return false;
  const std::optional<platform::Uuid> id = platform::NewUuid();
  if (!id || !RecordHit(*block, *entry, *id, message)) return false;
  *hitId = *id;
  return true;
}

void HoldAtBreakpoint(platform::NamedEvent& signal, const platform::Uuid& hitId) {
  if (!signal.IsOpen()) return;
  WideString id = platform::UuidToText(hitId);
  if (id.empty()) return;
  std::transform(id.begin(), id.end(), id.begin(), AsciiUpper);
  platform::NamedEvent release;
  if (!platform::IsOpened(release.Create(kBreakpointReleaseName + id, platform::EventReset::kAuto))) return;
  // The tool finds the release event when it is told.
  signal.Set();
  while (platform::EventExists(kLogSwitchName)) {
    if (release.Wait(kHoldMilliseconds) != platform::WaitResult::kTimeout) break;
  }
}

}  // namespace sbx
