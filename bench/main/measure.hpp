// Running one case: build, warm up (which plans the library's side), alternate timed runs of the
// library and every plain side, check the outputs against each other.
#pragma once

#include <string>
#include <vector>

#include "workload.hpp"

namespace tessel_bench {

// Wall times of one side over the timed runs, in seconds. The spread beside the median says how far a
// ratio can be trusted.
struct Timing {
  double median = 0;
  double min = 0;
  double max = 0;
  int samples = 0;  // timed runs the three are taken from
};

// The library against one plain side: one row of the table.
struct Comparison {
  std::string label;  // the plain side's label; empty where the case has one side
  Timing plain;
  double ratio = 0;     // ours.median / plain.median: below 1 the library is faster
  double maxError = 0;  // largest relative L2 error of ours against this side over the checks
  bool passed = false;  // stayed within tolerance
};

struct CaseResult {
  std::string name;
  std::string entry;
  std::string shape;
  int threads = 1;
  int runs = 0;  // timed runs per side; 0 if the case failed before timing
  double tolerance = 0;
  Timing ours;
  double oursFirst = 0;                 // seconds of the first call of ours, which plans
  std::vector<Comparison> comparisons;  // one per plain side
  bool passed = false;                  // ran, and every comparison stayed within tolerance
  std::string failure;                  // why not, if not
  std::vector<double> readings;         // of a shape measured again: its first ratios, first reading first
};

struct MeasureSettings {
  int runs = 0;                 // timed runs per side; 0 picks them from the warm-up's duration
  double secondsPerCase = 1.5;  // what the automatic choice aims at, all sides together
  int minRuns = 5;
  int maxRuns = 25;
  bool freshPlans = false;  // forget FFTW's wisdom before the plain side plans too, not only before ours
};

// Never throws: a failure of the case lands in the result. Progress lines go to stderr, prefixed with
// `label`.
CaseResult measureCase(const CaseDefinition& definition, const SuiteConfig& config,
                       const MeasureSettings& settings, const std::string& label);

}  // namespace tessel_bench
