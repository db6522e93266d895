#pragma once

// Benchmarks here report ratios against a baseline measured in the same run, since absolute
// times depend on the machine. RunWithRatios runs the selected benchmarks with the usual table
// and then prints "ratio A / B = x" for each pair whose two benchmarks both ran.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        times_[run.benchmark_name()] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintRatio(const std::string& a, const std::string& b) const {
    const auto ia = times_.find(a);
    const auto ib = times_.find(b);
    if (ia == times_.end() || ib == times_.end() || ib->second <= 0) return;
    std::printf("ratio %s / %s = %.3f\n", a.c_str(), b.c_str(), ia->second / ib->second);
  }

 private:
  std::map<std::string, double> times_;
};

inline void RunWithRatios(int* argc, char** argv,
                          const std::vector<std::pair<std::string, std::string>>& ratios) {
  benchmark::Initialize(argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  for (const auto& [a, b] : ratios)
    reporter.PrintRatio(a, b);
}

}  // namespace bench
