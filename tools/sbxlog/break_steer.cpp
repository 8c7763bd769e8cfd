// sbxlog break list, hits, release, remove: beside a running `break add`.
#include <algorithm>
#include <chrono>
#include <iostream>
#include <set>
#include <thread>

#include "sbxlog/breakpoint_table.h"
#include "sbxlog/commands.h"
#include "sbxlog/config_block.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/held_message.h"
#include "sbxlog/system.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

// As long as a thread may take from the table to its wait.
constexpr std::chrono::seconds kGrace(2);

[[noreturn]] void Fail(int exitCode, Id id, const std::string& message) {
  throw CommandFailure{exitCode, {.id = id, .message = message}};
}

// The table of a running `break add`.
class RunningTable {
 public:
  RunningTable() {
    RequireSharedObjects();
    if (!table_.Open()) FailNotRunning();
    const BreakpointTable::Lock block(table_);
    if (!IsAnyOwnerAlive(*block)) FailNotRunning();
  }
  BreakpointTable& operator*() noexcept { return table_; }

 private:
  [[noreturn]] static void FailNotRunning() {
    Fail(kExitNotRunning, Id::kNotRunning, "no `sbxlog break add` runs");
  }
  BreakpointTable table_;
};

std::vector<BREAKPOINT_ENTRY> EntriesOf(BreakpointTable& table) {
  const BreakpointTable::Lock block(table);
  std::vector<BREAKPOINT_ENTRY> entries;
  std::copy_if(std::begin(block->entries), std::end(block->entries), std::back_inserter(entries),
               [](const auto& entry) { return !entry.id.IsNil(); });
  return entries;
}

std::vector<BREAKPOINT_HIT> AllHits(BreakpointTable& table) {
  const BreakpointTable::Lock block(table);
  std::vector<BREAKPOINT_HIT> hits;
  std::copy_if(std::begin(block->hits), std::end(block->hits), std::back_inserter(hits),
               [](const auto& hit) { return !hit.breakpointId.IsNil(); });
  return hits;
}

std::string AnyOr(std::uint32_t id) {
  return id == 0 ? "-" : std::to_string(id);
}
Json NullOr(std::uint32_t id) {
  return id == 0 ? Json() : Json(id);
}

// Those whose id begins with the given text, in any case: one, or the command fails.
template <class Item, class IdOf>
const Item& FindByFront(const std::vector<Item>& items, const std::string& front, Id notFound, IdOf idOf) {
  const WideString wanted = ToWide(front);
  const auto fits = [&](const Item& item) {
    const WideString id = IdText(idOf(item));
    return !wanted.empty() && EqualsIgnoringCase(WideView(id).substr(0, wanted.size()), wanted);
  };
  const auto first = std::find_if(items.begin(), items.end(), fits);
  const std::string what = notFound == Id::kNoSuchHit ? "hit " : "breakpoint ";
  if (first == items.end()) Fail(kExitNotFound, notFound, "no " + what + PlainText(wanted));
  if (std::find_if(first + 1, items.end(), fits) != items.end()) {
    Fail(kExitUsage, Id::kUsage, "more than one " + what + "begins with " + PlainText(wanted));
  }
  return *first;
}

// Lets the thread go on and empties the slot.
void Release(BreakpointTable& table, const BREAKPOINT_HIT& hit) {
  const auto end = std::chrono::steady_clock::now() + kGrace;
  while (!SetRelease(hit.hitId) && system::IsProcessAlive(hit.processId) &&
         std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const BreakpointTable::Lock block(table);
  EmptySlot(*block, hit.hitId);
}

void PutDone(const OutputForm& form, const char* kind, const char* word, const char* key,
             const platform::Uuid& id) {
  if (form.json) return PutJson({{"kind", kind}, {key, ShownId(id)}});
  std::cout << word << ' ' << ShownId(id) << '\n';
}

}  // namespace

int RunBreakList(const OutputForm& form) {
  RunningTable table;
  const std::vector<BREAKPOINT_HIT> hits = AllHits(*table);
  std::vector<std::vector<std::string>> rows = {
      {"BREAKPOINT", "OWNER", "PROCESS", "PID", "TID", "HELD", "TEXT"}};
  for (const BREAKPOINT_ENTRY& entry : EntriesOf(*table)) {
    const auto held = std::count_if(hits.begin(), hits.end(),
                                    [&](const auto& hit) { return hit.breakpointId == entry.id; });
    const std::uint32_t owner = LivingOwnerOf(entry);
    const WideView process = BoundedView(entry.processName);
    const WideView text = BoundedView(entry.text);
    if (form.json) {
      PutJson({{"kind", "breakpoint"},
               {"breakpoint", ShownId(entry.id)},
               {"owner", NullOr(owner)},
               {"process", PlainText(process)},
               {"pid", NullOr(entry.processId)},
               {"tid", NullOr(entry.threadId)},
               {"enabled", entry.enabled != 0},
               {"held", held},
               {"text", ToUtf8(text)}});
    } else {
      rows.push_back({ShownId(entry.id), AnyOr(owner), PlainText(process), AnyOr(entry.processId),
                      AnyOr(entry.threadId), std::to_string(held), PlainText(text)});
    }
  }
  if (!form.json) PutTable(rows);
  return kExitFine;
}

int RunBreakHits(const OutputForm& form) {
  RunningTable table;
  const std::vector<BREAKPOINT_ENTRY> entries = EntriesOf(*table);
  std::vector<std::vector<std::string>> rows = {{"HIT", "BREAKPOINT", "PID", "TID", "MESSAGE"}};
  for (const BREAKPOINT_HIT& hit : AllHits(*table)) {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [&](const auto& each) { return each.id == hit.breakpointId; });
    std::optional<WideString> message;
    if (entry != entries.end()) {
      message = LastMessageOf(BoundedView(entry->processName), hit.processId, hit.threadId);
    }
    if (form.json) {
      PutJson({{"kind", "hit"},
               {"hit", ShownId(hit.hitId)},
               {"breakpoint", ShownId(hit.breakpointId)},
               {"pid", hit.processId},
               {"tid", hit.threadId},
               {"message", message ? Json(ToUtf8(*message)) : Json()}});
    } else {
      rows.push_back({ShownId(hit.hitId), ShownId(hit.breakpointId), std::to_string(hit.processId),
                      std::to_string(hit.threadId), message ? PlainText(*message) : "-"});
    }
  }
  if (!form.json && rows.size() > 1) PutTable(rows);
  return kExitFine;
}

int RunBreakRelease(const BreakIdOptions& options, const OutputForm& form) {
  RunningTable table;
  std::vector<BREAKPOINT_HIT> hits = AllHits(*table);
  if (!options.isAll) {
    hits = {FindByFront(hits, options.id, Id::kNoSuchHit, [](const auto& hit) { return hit.hitId; })};
  }
  for (const BREAKPOINT_HIT& hit : hits) {
    Release(*table, hit);
    PutDone(form, "release", "released", "hit", hit.hitId);
  }
  return kExitFine;
}

int RunBreakRemove(const BreakIdOptions& options, const OutputForm& form) {
  RunningTable table;
  std::vector<BREAKPOINT_ENTRY> entries = EntriesOf(*table);
  if (!options.isAll) {
    entries = {
        FindByFront(entries, options.id, Id::kNoSuchBreakpoint, [](const auto& entry) { return entry.id; })};
  }
  for (const BREAKPOINT_ENTRY& entry : entries) {
    std::vector<BREAKPOINT_HIT> hits;
    {
      const BreakpointTable::Lock block(*table);
      RemoveEntry(*block, entry.id);
      hits = HitsOf(*block, entry.id);
    }
    for (const BREAKPOINT_HIT& hit : hits) Release(*table, hit);
    PutDone(form, "remove", "removed", "breakpoint", entry.id);
  }
  return kExitFine;
}

}  // namespace sbx::tool
