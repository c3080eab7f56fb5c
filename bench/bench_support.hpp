#pragma once

// Shared by the micro-benchmarks that set the library beside plain FFTW.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_bench {

// Keeps every plan it is offered, as a host's cache does, so that the steady state is measured, not
// planning; destroys them at exit. Interface is one of the library's cache interfaces.
template <typename Interface>
class KeepingCache : public Interface {
 public:
  using Plan = typename Interface::Plan;
  ~KeepingCache() override {
    for (const auto& entry : plans_) tessel_fft::fftwApi::getInstance().destroyPlan(entry.second);
  }
  bool insertPlan(const tessel_fft::fftwPlanKey& key, Plan& plan) override {
    plans_.emplace(std::vector<std::uint64_t>{key.size0, key.rank, key.size1, key.flags}, plan);
    return true;
  }
  Plan lookupPlan(const tessel_fft::fftwPlanKey& key) override {
    const auto found = plans_.find({key.size0, key.rank, key.size1, key.flags});
    return found == plans_.end() ? nullptr : found->second;
  }

 private:
  std::map<std::vector<std::uint64_t>, Plan> plans_;
};

// Benchmarks are named "group/variant", one variant of each group being "fftw"; after the usual
// report, every other variant's real time (the median where repeated) is printed as a ratio over its
// group's "fftw" time.
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
