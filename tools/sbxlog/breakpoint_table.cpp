#include "sbxlog/breakpoint_table.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>

#include "platform/module_identity.h"
#include "sbxlog/config_block.h"
#include "sbxlog/diagnostics.h"
#include "sbxlog/exit_codes.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

// Logging processes wait up to ten seconds, and hold it for microseconds.
constexpr std::uint32_t kMutexMilliseconds = 5000;
constexpr char16_t kOwnerName[] = u"Global\\SBXLOG_BREAKPOINT_";

// What stands in an entry's bytes for the tool.
struct OwnerMark {
  std::array<char, 8> magic;
  std::uint32_t processId;
  std::uint32_t reserved;
};
constexpr std::array<char, 8> kMagic = {'S', 'B', 'X', 'L', 'O', 'G', '1', 0};
static_assert(sizeof(OwnerMark) == sizeof(BREAKPOINT_ENTRY::reserved));

std::optional<std::uint32_t> OwnerOf(const BREAKPOINT_ENTRY& entry) noexcept {
  OwnerMark mark;
  std::memcpy(&mark, entry.reserved, sizeof mark);
  if (entry.id.IsNil() || mark.magic != kMagic) return {};
  return mark.processId;
}

void CountEntries(BREAKPOINT_BLOCK& block) noexcept {
  block.count =
      static_cast<std::uint32_t>(std::count_if(std::begin(block.entries), std::end(block.entries),
                                               [](const auto& entry) { return !entry.id.IsNil(); }));
}

[[noreturn]] void Fail(int exitCode, Id id, const char* message) {
  throw CommandFailure{exitCode, {.id = id, .message = message}};
}

}  // namespace

WideString IdText(const platform::Uuid& id) {
  WideString text = platform::UuidToText(id);
  std::transform(text.begin(), text.end(), text.begin(), AsciiUpper);
  return text;
}

std::string ShownId(const platform::Uuid& id) {
  return ToUtf8(IdText(id));
}

WideString OwnerEventName(const platform::Uuid& breakpointId) {
  return kOwnerName + IdText(breakpointId);
}

// --- The objects -------------------------------------------------------------------------------------------

void BreakpointTable::Create() {
  platform::ObjectStatus block = mapping_.Create(kBreakpointBlockName, sizeof(BREAKPOINT_BLOCK));
  if (block == platform::ObjectStatus::kDenied) {
    block = mapping_.Create(kBreakpointLocalBlockName, sizeof(BREAKPOINT_BLOCK));
  }
  const bool isMade = platform::IsOpened(block) && platform::IsOpened(mutex_.Create(kBreakpointMutexName)) &&
                      platform::IsOpened(signal_.Create(kBreakpointSignalName, platform::EventReset::kAuto));
  if (!isMade) Fail(kExitRefused, Id::kRefused, "the breakpoint objects can't be made");
}

bool BreakpointTable::Open() noexcept {
  return platform::IsOpened(mutex_.Open(kBreakpointMutexName)) &&
         (platform::IsOpened(mapping_.Open(kBreakpointBlockName)) ||
          platform::IsOpened(mapping_.Open(kBreakpointLocalBlockName))) &&
         platform::IsOpened(signal_.Open(kBreakpointSignalName));
}

BreakpointTable::Lock::Lock(BreakpointTable& table) : scope_(table.mutex_, kMutexMilliseconds) {
  if (scope_.result() != platform::WaitResult::kObtained &&
      scope_.result() != platform::WaitResult::kAbandoned) {
    Fail(kExitRefused, Id::kRefused, "the breakpoint block is held by someone");
  }
  view_ = static_cast<BREAKPOINT_BLOCK*>(table.mapping_.Map(sizeof(BREAKPOINT_BLOCK)));
  if (view_ == nullptr) Fail(kExitBadInput, Id::kDamagedBlock, "the breakpoint block is none");
}

// --- Entries -----------------------------------------------------------------------------------------------

bool AddEntry(BREAKPOINT_BLOCK& block, const NewBreakpoint& breakpoint) noexcept {
  BREAKPOINT_ENTRY* const free = FindEntry(block, {});
  if (free == nullptr) return false;
  const OwnerMark mark = {kMagic, platform::CurrentProcessId(), 0};
  std::memcpy(free->reserved, &mark, sizeof mark);
  free->processId = breakpoint.processId;
  free->threadId = breakpoint.threadId;
  StoreText(free->processName, breakpoint.process);
  StoreText(free->text, breakpoint.text);
  free->enabled = 1;
  free->id = breakpoint.id;
  CountEntries(block);
  return true;
}

BREAKPOINT_ENTRY* FindEntry(BREAKPOINT_BLOCK& block, const platform::Uuid& id) noexcept {
  for (BREAKPOINT_ENTRY& entry : block.entries) {
    if (entry.id == id) return &entry;
  }
  return nullptr;
}

void RemoveEntry(BREAKPOINT_BLOCK& block, const platform::Uuid& id) noexcept {
  if (BREAKPOINT_ENTRY* const entry = FindEntry(block, id); entry != nullptr && !id.IsNil()) *entry = {};
  CountEntries(block);
}

std::uint32_t LivingOwnerOf(const BREAKPOINT_ENTRY& entry) {
  const std::optional<std::uint32_t> owner = OwnerOf(entry);
  return owner && platform::EventExists(OwnerEventName(entry.id)) ? *owner : 0;
}

bool IsAnyOwnerAlive(const BREAKPOINT_BLOCK& block) {
  return std::any_of(std::begin(block.entries), std::end(block.entries),
                     [](const BREAKPOINT_ENTRY& entry) { return LivingOwnerOf(entry) != 0; });
}

// --- Hits --------------------------------------------------------------------------------------------------

std::vector<BREAKPOINT_HIT> HitsOf(const BREAKPOINT_BLOCK& block, const platform::Uuid& breakpointId) {
  std::vector<BREAKPOINT_HIT> hits;
  for (const BREAKPOINT_HIT& hit : block.hits) {
    if (hit.breakpointId == breakpointId) hits.push_back(hit);
  }
  return hits;
}

void EmptySlot(BREAKPOINT_BLOCK& block, const platform::Uuid& hitId) noexcept {
  for (BREAKPOINT_HIT& hit : block.hits) {
    if (!hit.breakpointId.IsNil() && hit.hitId == hitId) hit = {};
  }
}

bool SetRelease(const platform::Uuid& hitId) {
  platform::NamedEvent release;
  if (!platform::IsOpened(release.Open(kBreakpointReleaseName + IdText(hitId)))) return false;
  release.Set();
  return true;
}

// --- What the dead left ------------------------------------------------------------------------------------

std::size_t ClearOrphans(BREAKPOINT_BLOCK& block) {
  std::size_t released = 0;
  for (BREAKPOINT_ENTRY& entry : block.entries) {
    if (!OwnerOf(entry) || LivingOwnerOf(entry) != 0) continue;
    for (const BREAKPOINT_HIT& hit : HitsOf(block, entry.id)) {
      if (SetRelease(hit.hitId)) ++released;
      EmptySlot(block, hit.hitId);
    }
    entry = {};
  }
  CountEntries(block);
  return released;
}

void ClearOrphansIfAny() noexcept {
  try {
    BreakpointTable table;
    if (!table.Open()) return;
    const BreakpointTable::Lock block(table);
    ClearOrphans(*block);
  } catch (const CommandFailure&) {  // held or damaged: there is nothing that could be done
  } catch (const std::exception&) {
  }
}

}  // namespace sbx::tool
