#include "sbxlog/process_watch.h"

#include <algorithm>

#include "diag/host_discovery.h"
#include "platform/named_objects.h"
#include "sbxlog/config_block.h"
#include "sbxlog/system.h"

namespace sbx::tool {
namespace {

// Where nothing tells of new objects, and should something else have gone unnoticed.
constexpr std::chrono::milliseconds kLookAgain(500);

}  // namespace

bool ProcessWatch::MayHaveChanged() {
  const std::uint32_t generation = platform::NamedObjectsGeneration();
  const auto now = std::chrono::steady_clock::now();
  if (generation != 0 && generation == generation_ && now - lookedAt_ < kLookAgain) return false;
  if (generation == 0 && now - lookedAt_ < kLookAgain) return false;
  generation_ = generation;
  lookedAt_ = now;
  return true;
}

std::vector<WideString> ProcessWatch::TakeNew() {
  std::vector<WideString> names;
  if (!MayHaveChanged()) return names;
  const std::vector<std::uint32_t> ids = system::ProcessIds();
  std::erase_if(known_, [&](std::uint32_t id) { return !std::binary_search(ids.begin(), ids.end(), id); });
  for (const std::uint32_t id : ids) {
    if (known_.contains(id) || !HasConfigBlock(id)) continue;
    known_.insert(id);
    const WideString path = system::ExecutableOf(id);
    if (const WideView name = FileNameOf(path); !name.empty()) names.emplace_back(name);
  }
  return names;
}

}  // namespace sbx::tool
