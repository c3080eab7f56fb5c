#include "measure.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <vector>

namespace tessel_bench {
namespace {

using Clock = std::chrono::steady_clock;

template <typename Run>
double timeOnce(const Run& run) {
  const Clock::time_point start = Clock::now();
  run();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : 0.5 * (values[middle - 1] + values[middle]);
}

void progress(const std::string& label, const std::string& message) {
  std::cerr << label << ' ' << message << std::endl;
}

// A NaN error must fail the check, so the comparison is written to be false for it.
bool withinTolerance(double error, double tolerance) { return error < tolerance; }

}  // namespace

CaseResult measureCase(const CaseSpec& definition, const SuiteConfig& config, const MeasureSettings& settings,
                       const std::string& label) {
  CaseResult result;
  result.name = definition.name;
  result.entry = definition.entry;
  try {
    progress(label, "plain FFTW: allocating, filling, planning");
    const Clock::time_point planStart = Clock::now();
    const Workload workload = definition.build(config);
    result.shape = workload.shape;
    result.threads = workload.threads;
    result.tolerance = tolerance(workload.epsilon, workload.points);
    const double plainPlanSeconds = std::chrono::duration<double>(Clock::now() - planStart).count();

    // The first call of ours plans into the case's cache; the first plain run pays for first touches.
    progress(label, "ours: first call, planning into the host cache");
    const double oursFirst = timeOnce(workload.runOurs);
    progress(label, "plain FFTW: warm-up run");
    timeOnce(workload.runPlain);
    result.maxError = workload.relativeError();

    // One more pair, both planned and warm, sets the number of runs.
    const double oursWarm = timeOnce(workload.runOurs);
    const double plainWarm = timeOnce(workload.runPlain);
    int runs = settings.runs;
    if (runs <= 0) {
      const double pair = std::max(oursWarm + plainWarm, 1e-9);
      runs = std::clamp(static_cast<int>(settings.secondsPerCase / pair), settings.minRuns, settings.maxRuns);
      runs |= 1;  // odd, so the median is one measured run
    }
    progress(label, "planned (plain " + std::to_string(plainPlanSeconds) + " s, ours first call " +
                        std::to_string(oursFirst) + " s); timing " + std::to_string(runs) +
                        " runs per side, alternating ours / plain");

    // Alternate which side goes first, so neither always runs on the other's cache state.
    std::vector<double> ours;
    std::vector<double> plain;
    for (int run = 0; run < runs; ++run) {
      if (run % 2 == 0) {
        ours.push_back(timeOnce(workload.runOurs));
        plain.push_back(timeOnce(workload.runPlain));
      } else {
        plain.push_back(timeOnce(workload.runPlain));
        ours.push_back(timeOnce(workload.runOurs));
      }
    }
    const double lastError = workload.relativeError();
    // Written so that a NaN from either check survives, and then fails the check below.
    if (!std::isnan(result.maxError) && !(lastError <= result.maxError)) result.maxError = lastError;

    result.runs = runs;
    result.oursSeconds = median(ours);
    result.plainSeconds = median(plain);
    result.ratio = result.plainSeconds > 0 ? result.oursSeconds / result.plainSeconds : 0;
    result.passed = withinTolerance(result.maxError, result.tolerance);
    if (!result.passed) result.failure = "relative error above tolerance";
    char line[160];
    std::snprintf(line, sizeof line,
                  "done: ours %.4g s, plain %.4g s, ratio %.3f, error %.2e (tolerance %.2e)%s",
                  result.oursSeconds, result.plainSeconds, result.ratio, result.maxError, result.tolerance,
                  result.passed ? "" : "  FAILED");
    progress(label, line);
  } catch (const std::exception& error) {
    result.passed = false;
    result.failure = error.what();
    progress(label, std::string("FAILED: ") + error.what());
  }
  return result;
}

}  // namespace tessel_bench
