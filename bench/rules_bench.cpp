// What a rule pass costs, and that it does not depend on how many records and rules the sets hold: passes
// over the same few records, spread over sets of three sizes. Processor time of one pass.
#include <array>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

#include "api/conversion_state.h"
#include "desc/structure_description.h"
#include "platform/caller_memory.h"
#include "rules/rule_set.h"
#include "xml/document.h"
#include "xml/xml_element_ref.h"

namespace {

using namespace sbx;

constexpr std::int64_t kVisited = 8;  // records that passes run over

WideString Number(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

struct Instance {
  std::uint32_t count = 3;
  std::uint32_t kind = 2;
  std::uint64_t list = 0;
};

// Sets with so many records, each of them with a rule of two kinds, and an instance to pass over.
class Sets {
 public:
  explicit Sets(std::int64_t records) : size_(records) {
    WideString rules = u"<ConvertRuleDesc>";
    for (std::int64_t i = 0; i < records; ++i) {
      JSStructDesc& record = set_.AddStruct(u"R" + Number(i), sizeof(Instance), {}, {});
      record.AddItem(u"count", u"uint", 4, 0, {}, {});
      record.AddItem(u"kind", u"uint", 4, 4, {}, {});
      record.AddItem(u"list", u"R0*", 8, 8, {}, {});
      rules +=
          u"<Rules name='R" + Number(i) +
          u"'><RuleItem name='kind' type='AlterType' alterto='int' ref='kind' refmethod='=' refvalue='1'/>"
          u"<RuleItem name='list' type='StructArrayPtr' structname='R0' num='count'/></Rules>";
    }
    rules += u"</ConvertRuleDesc>";
    isLoaded_ = rules_.LoadFromXML(rules.c_str()) == kOk;
    g_conversion.cachedRuleSet = &rules_;
    g_conversion.callerMemory = &memory_;
    g_conversion.rootStructName = u"R0";
    g_conversion.rootStructNameUnits = 2;
  }
  ~Sets() { g_conversion = ConversionState{}; }
  Sets(const Sets&) = delete;
  Sets& operator=(const Sets&) = delete;

  bool isLoaded() const noexcept { return isLoaded_; }
  JSPDBMemDesc& set() noexcept { return set_; }
  // The n-th of the records that passes run over.
  JSStructDesc& Visited(std::int64_t n) {
    return set_.structs()[static_cast<std::size_t>(n * (size_ / kVisited))];
  }
  std::uintptr_t address() const noexcept { return reinterpret_cast<std::uintptr_t>(&instance_); }

 private:
  std::int64_t size_;
  JSPDBMemDesc set_;
  JSConvertRulesDesc rules_;
  platform::CallerMemory memory_;
  std::array<Instance, 4> instance_;  // what is read behind the first one is ours as well
  bool isLoaded_ = false;
};

void PassInMemory(benchmark::State& state) {
  Sets sets(state.range(0));
  if (!sets.isLoaded()) return state.SkipWithError("the rules do not load");
  WideString relocated;
  std::int64_t n = 0;
  for (auto unused : state) {
    B2XApplyRuleForJSStruct(sets.set(), sets.Visited(n), sets.address(), relocated);
    n = (n + 1) % kVisited;
  }
}

void PassInXml(benchmark::State& state) {
  Sets sets(state.range(0));
  const std::unique_ptr<xml::Document> document = xml::Document::New();
  const bool isRead = document->LoadXml(u"<R><count>3</count><kind>2</kind><list><R0/><R0/><R0/></list></R>");
  if (!sets.isLoaded() || !isRead) return state.SkipWithError("the documents do not load");
  XMLElementRef root(document->DocumentElement());
  g_conversion.rootElement = &root;
  WideString relocated;
  std::int64_t n = 0;
  for (auto unused : state) {
    X2BApplyRuleForJSStruct(root, sets.set(), sets.Visited(n), relocated);
    n = (n + 1) % kVisited;
  }
  g_conversion.rootElement = nullptr;
}

BENCHMARK(PassInMemory)->ArgName("records")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(PassInXml)->ArgName("records")->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
