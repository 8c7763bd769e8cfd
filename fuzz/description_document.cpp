// A description document that varies: it is loaded, and zeroed records of it go to XML and back, which must
// give zeroes.
#include <algorithm>
#include <vector>

#include "api/conversion_state.h"
#include "desc/structure_description.h"
#include "fuzz_case.h"

using namespace sbx;
using namespace sbx::fuzz;

namespace {

constexpr std::size_t kRecords = 8;
constexpr std::int32_t kLargestRecord = 1 << 16;

// The first records of the set that the last conversion read. A copy, since each conversion reads it anew.
std::vector<WideString> RecordNames() {
  std::vector<WideString> names;
  if (g_conversion.cachedDescSet == nullptr) return names;
  for (const JSStructDesc& record : g_conversion.cachedDescSet->structs()) {
    if (record.size <= kLargestRecord && names.size() < kRecords) names.push_back(record.name);
  }
  return names;
}

bool IsZeroed(const void* memory, std::size_t size) {
  const auto* const bytes = static_cast<const std::uint8_t*>(memory);
  return std::all_of(bytes, bytes + size, [](std::uint8_t byte) { return byte == 0; });
}

void TryZeroed(const Module& module, const WideString& name) {
  const std::size_t size = RecordSize(name);
  const std::vector<std::uint64_t> zeroes(size / 8 + 1);
  const auto xml = module.ToXml(name, zeroes.data(), size);
  if (!xml) return;
  const void* const back = module.ToMemory(name, *xml);
  if (back != nullptr && !IsZeroed(back, size)) Finding("zeroes came back as something else");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  QuietLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  BeginCase({data, size});
  const Module module(Widen({data, size}), u"<ConvertRuleDesc/>");
  module.ToMemory(u"Root", u"<a/>");
  for (const WideString& name : RecordNames()) TryZeroed(module, name);
  EndOfCase();
  return 0;
}
