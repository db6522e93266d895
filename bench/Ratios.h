#pragma once

// Benchmarks here report ratios against a baseline measured in the same run, since absolute
// times depend on the machine. RunWithRatios runs the selected benchmarks with the usual table
// and then prints "ratio A / B = x" for each pair whose two benchmarks both ran. Each side is the
// median time per iteration over the repetitions (--benchmark_repetitions), so that one
// repetition disturbed by another process on the machine doesn't move the ratio: the CPU time of
// the benchmark's thread, or, for a benchmark that measures real time (UseRealTime, where the
// work runs on other threads too), the wall time.

#include <benchmark/benchmark.h>

#include <algorithm>
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
      if (run.error_occurred) continue;
      // A benchmark of wall time carries the kind of its time as the last part of its name; it
      // is known here by the name without it.
      const std::string& kind = run.run_name.time_type;
      const bool wall = !kind.empty();
      std::string name = run.run_name.str();
      if (wall && name.ends_with("/" + kind)) name.resize(name.size() - kind.size() - 1);
      const double time = wall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      if (run.run_type == Run::RT_Iteration) {
        times_[name].push_back(time);
      } else if (run.aggregate_name == "median" && run.aggregate_unit == benchmark::kTime) {
        medians_[name] = time;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // The median time of `name`, or a negative number when it didn't run. The library's own
  // median aggregate where it reported one (it does when only aggregates are reported).
  double Median(const std::string& name) const {
    if (const auto m = medians_.find(name); m != medians_.end()) return m->second;
    const auto t = times_.find(name);
    if (t == times_.end() || t->second.empty()) return -1;
    std::vector<double> v = t->second;
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
  }

  // Prints the ratio of the two medians times `scale`, with `what` after the names (" per row").
  void PrintRatio(const std::string& a, const std::string& b, double scale = 1,
                  const char* what = "") const {
    const double ta = Median(a);
    const double tb = Median(b);
    if (ta < 0 || tb <= 0) return;
    std::printf("ratio %s / %s%s = %.3f\n", a.c_str(), b.c_str(), what, ta / tb * scale);
  }

 private:
  std::map<std::string, std::vector<double>> times_;
  std::map<std::string, double> medians_;
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
