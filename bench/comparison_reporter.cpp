#include "comparison_reporter.h"

namespace bench {

void ComparisonReporter::ReportRuns(const std::vector<Run>& reports) {
  for (const Run& run : reports) {
    if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
      medians_[run.run_name.function_name] =
          run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
    }
  }
  ConsoleReporter::ReportRuns(reports);
}

double ComparisonReporter::Median(const std::string& benchmark) const {
  const auto found = medians_.find(benchmark);
  return found == medians_.end() ? 0 : found->second;
}

}  // namespace bench
