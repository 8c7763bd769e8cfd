// Both directions, the library beside hand-written code: every contender does the same work on the same
// records in the same process, in turn, and tables of the medians' ratios close the run. See README.md.
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "comparison_reporter.h"
#include "contenders.h"
#include "workload.h"

namespace bench {
namespace {

struct Direction {
  const char* name;
  const char* title;
  std::vector<Contender> contenders;
};

using Arenas = std::vector<std::unique_ptr<Arena>>;

std::string BenchmarkName(const Direction& direction, const std::string& contender, const Size& size) {
  return std::string(direction.name) + "/" + contender + "/" + size.name;
}

void Measure(benchmark::State& state, Arena& arena, const Contender& contender) {
  for (auto unused : state) {
    if (!contender.run(arena)) {
      state.SkipWithError("failed");
      break;
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(arena.expected.size() * 2));
  state.counters["records/s"] =
      benchmark::Counter(static_cast<double>(arena.workload.size().Records()),
                         benchmark::Counter::kIsIterationInvariantRate, benchmark::Counter::kIs1000);
}

// False if a contender does not give what all others give: then nothing is measured.
bool Register(const Direction& direction, Arena& arena) {
  for (const Contender& contender : direction.contenders) {
    const std::string name = BenchmarkName(direction, contender.name, arena.workload.size());
    if (!contender.check(arena)) {
      std::fprintf(stderr, "%s does not do its work\n", name.c_str());
      return false;
    }
    benchmark::RegisterBenchmark(name.c_str(), [&](benchmark::State& state) {
      Measure(state, arena, contender);
    })->Unit(benchmark::kMicrosecond);
  }
  return true;
}

// What the rules cost: the only difference between these two contenders.
void PrintCostOfRules(const ComparisonReporter& reporter, const Direction& direction, const Size& size) {
  const double with_rules = reporter.Median(BenchmarkName(direction, "library", size));
  const double without = reporter.Median(BenchmarkName(direction, "library_no_rules", size));
  if (with_rules == 0 || without == 0) return;
  std::printf("  %-18s %4s %13.1f  %.0f ns a record\n", "cost of the rules", size.name,
              (with_rules - without) * 1e6,
              (with_rules - without) * 1e9 / static_cast<double>(size.Records()));
}

void PrintTable(const ComparisonReporter& reporter, const Direction& direction, const Arenas& arenas) {
  std::printf("\n%s: medians, and how many times the two yardsticks' time they are\n", direction.title);
  std::printf("  %-18s %4s %13s %12s %12s\n", "", "size", "microseconds", "of pugixml", "of by_hand");
  for (const auto& arena : arenas) {
    const Size& size = arena->workload.size();
    const double pugixml = reporter.Median(BenchmarkName(direction, "pugixml", size));
    const double by_hand = reporter.Median(BenchmarkName(direction, "by_hand", size));
    for (const Contender& contender : direction.contenders) {
      const double own = reporter.Median(BenchmarkName(direction, contender.name, size));
      if (own == 0 || pugixml == 0 || by_hand == 0) continue;
      std::printf("  %-18s %4s %13.1f %12.2f %12.2f\n", contender.name.c_str(), size.name, own * 1e6,
                  own / pugixml, own / by_hand);
    }
    PrintCostOfRules(reporter, direction, size);
  }
}

// The way back without its parse, beside a scanner that has none.
void PrintRestWithoutParse(const ComparisonReporter& reporter, const Direction& direction,
                           const Arenas& arenas) {
  for (const auto& arena : arenas) {
    const Size& size = arena->workload.size();
    const double library = reporter.Median(BenchmarkName(direction, "library", size));
    const double parse = reporter.Median(BenchmarkName(direction, "parse_alone", size));
    const double by_hand = reporter.Median(BenchmarkName(direction, "by_hand", size));
    if (library == 0 || parse == 0 || by_hand == 0) continue;
    std::printf("  %-18s %4s %13.1f %12s %12.2f\n", "library - parse", size.name, (library - parse) * 1e6, "",
                (library - parse) / by_hand);
  }
}

// Defaults that the command line can override: repetitions of all contenders in random turns, so that a drift
// of the machine meets them all.
std::vector<char*> WithDefaults(int argc, char** argv) {
  static std::string defaults[] = {"--benchmark_repetitions=11", "--benchmark_min_time=0.1",
                                   "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_display_aggregates_only=true"};
  std::vector<char*> arguments = {argv[0]};
  for (std::string& argument : defaults) arguments.push_back(argument.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  return arguments;
}

int Run(int argc, char** argv) {
  std::vector<char*> arguments = WithDefaults(argc, argv);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return EXIT_FAILURE;

  const Direction out = {"to_xml", "Memory to XML", Writers()};
  const Direction back = {"to_memory", "XML to memory", Readers()};
  Arenas arenas;
  for (const Size& size : kSizes) {
    Arena& arena = *arenas.emplace_back(std::make_unique<Arena>(size));
    std::printf("size %s: %u tasks of %u filters, %zu units of text\n", size.name, size.tasks, size.filters,
                arena.expected.size());
    if (!Register(out, arena) || !Register(back, arena)) return EXIT_FAILURE;
  }
  ComparisonReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  PrintTable(reporter, out, arenas);
  PrintTable(reporter, back, arenas);
  PrintRestWithoutParse(reporter, back, arenas);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  return bench::Run(argc, argv);
}
