// Running one case: build, warm up (which plans the library's side), alternate timed runs of both
// sides, check the outputs against each other.
#pragma once

#include <string>

#include "workload.hpp"

namespace tessel_bench {

struct CaseResult {
  std::string name;
  std::string entry;
  std::string shape;
  int threads = 1;
  double oursSeconds = 0;   // median
  double plainSeconds = 0;  // median
  double ratio = 0;         // oursSeconds / plainSeconds: below 1 the library is faster
  double maxError = 0;      // largest relative L2 error of ours against plain over the checks
  double tolerance = 0;
  int runs = 0;         // timed runs per side
  bool passed = false;  // ran and stayed within tolerance
  std::string failure;  // why not, if not
};

struct MeasureSettings {
  int runs = 0;                 // timed runs per side; 0 picks them from the warm-up's duration
  double secondsPerCase = 1.5;  // what the automatic choice aims at, both sides together
  int minRuns = 5;
  int maxRuns = 25;
};

// Never throws: a failure of the case lands in the result. Progress lines go to stderr, prefixed with
// `label`.
CaseResult measureCase(const CaseSpec& definition, const SuiteConfig& config, const MeasureSettings& settings,
                       const std::string& label);

}  // namespace tessel_bench
