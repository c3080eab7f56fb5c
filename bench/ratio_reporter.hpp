#pragma once

// Shared by the micro-benchmarks that set the library beside plain FFTW: benchmarks are named
// "group/variant", one variant of each group being "fftw"; after the usual report, every other variant's
// real time (the median where repeated) is printed as a ratio over its group's "fftw" time.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace tessel_bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      // "group/variant", without the suffixes the library adds (such as "/real_time").
      const std::string full = run.run_name.str();
      const std::string name = full.substr(0, full.find('/', full.find('/') + 1));
      if (run.aggregate_name == "median" || (run.aggregate_name.empty() && times_.count(name) == 0))
        times_[name] = run.GetAdjustedRealTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nRatios, ours / plain FFTW (real time, medians where repeated):\n");
    for (const auto& [name, time] : times_) {
      const std::size_t slash = name.find('/');
      if (slash == std::string::npos || name.compare(slash + 1, 4, "fftw") == 0) continue;
      const auto reference = times_.find(name.substr(0, slash + 1) + "fftw");
      if (reference != times_.end()) std::printf("  %-28s %.3f\n", name.c_str(), time / reference->second);
    }
  }

 private:
  std::map<std::string, double> times_;
};

// The main of such a benchmark executable.
inline int runWithRatios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace tessel_bench
