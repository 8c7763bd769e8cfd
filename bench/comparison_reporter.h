// Prints every measurement as usual and keeps the medians, for the table of ratios at the end.
#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

namespace bench {

class ComparisonReporter : public benchmark::ConsoleReporter {
 public:
  ComparisonReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& reports) override;

  // Median of the processor time of a benchmark's repetitions, user and system, in seconds; 0 if it was not
  // run.
  double Median(const std::string& benchmark) const;

 private:
  std::map<std::string, double> medians_;
};

}  // namespace bench
