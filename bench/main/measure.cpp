// Times one case: the library's entry and each plain side alternately, after a warm-up, with the
// outputs compared before and after.
#include "measure.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tessel_fft/wisdom.hpp"

namespace tessel_bench {
namespace {

using Clock = std::chrono::steady_clock;

template <typename Run>
double timeOnce(const Run& run) {
  const Clock::time_point start = Clock::now();
  run();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Timing summarise(std::vector<double> seconds) {
  std::sort(seconds.begin(), seconds.end());
  const std::size_t middle = seconds.size() / 2;
  Timing timing;
  timing.median = seconds.size() % 2 == 1 ? seconds[middle] : 0.5 * (seconds[middle - 1] + seconds[middle]);
  timing.min = seconds.front();
  timing.max = seconds.back();
  timing.samples = static_cast<int>(seconds.size());
  return timing;
}

void progress(const std::string& label, const std::string& message) {
  std::cerr << label << ' ' << message << std::endl;
}

// What a fresh process has: no wisdom but the --wisdom file's.
void resetWisdom(const SuiteConfig& config) {
  tessel_fft::forgetWisdom();
  std::string error;
  if (!config.wisdomPath.empty() && !tessel_fft::importWisdomFromFile(config.wisdomPath, &error))
    throw std::runtime_error(error);
}

// Keeps the larger error, written so that a NaN from either check survives and then fails the check.
void keepWorse(double& kept, double error) {
  if (!std::isnan(kept) && !(error <= kept)) kept = error;
}

}  // namespace

CaseResult measureCase(const CaseDefinition& definition, const SuiteConfig& config,
                       const MeasureSettings& settings, const std::string& label) {
  CaseResult result;
  result.name = definition.name;
  result.entry = definition.entry;
  try {
    progress(label, "plain FFTW: allocating, filling, planning");
    if (settings.freshPlans) resetWisdom(config);
    const Clock::time_point planStart = Clock::now();
    const Workload workload = definition.build(config);
    const std::vector<PlainSide>& sides = workload.plainSides;
    result.shape = workload.shape;
    result.threads = workload.threads;
    result.tolerance = tolerance(workload.epsilon, workload.points);
    const double plainPlanSeconds = std::chrono::duration<double>(Clock::now() - planStart).count();

    // The first call of ours plans into the case's cache, as in a fresh process: with no wisdom but the
    // file's, if one was given. The plain side's planning just now would otherwise have measured the
    // same problems for it. The first plain runs pay for first touches.
    resetWisdom(config);
    progress(label, "ours: first call, planning into the host cache");
    const double oursFirst = result.oursFirst = timeOnce(workload.runOurs);
    progress(label, "plain FFTW: warm-up run");
    result.comparisons.resize(sides.size());
    for (std::size_t s = 0; s < sides.size(); ++s) {
      timeOnce(sides[s].run);
      result.comparisons[s].label = sides[s].label;
      result.comparisons[s].maxError = sides[s].relativeError();
    }

    // One more round, everything planned and warm, sets the number of runs.
    double round = timeOnce(workload.runOurs);
    for (const PlainSide& side : sides) round += timeOnce(side.run);
    int runs = settings.runs;
    if (runs <= 0) {
      runs = std::clamp(static_cast<int>(settings.secondsPerCase / std::max(round, 1e-9)), settings.minRuns,
                        settings.maxRuns);
      runs |= 1;  // odd, so the median is one measured run
    }
    progress(label, "planned (plain " + std::to_string(plainPlanSeconds) + " s, ours first call " +
                        std::to_string(oursFirst) + " s); timing " + std::to_string(runs) +
                        " runs per side, alternating ours / plain");

    // Alternate the order, so that no side always runs on the cache state another left.
    std::vector<double> ours;
    std::vector<std::vector<double>> plain(sides.size());
    for (int run = 0; run < runs; ++run) {
      if (run % 2 == 0) ours.push_back(timeOnce(workload.runOurs));
      for (std::size_t i = 0; i < sides.size(); ++i) {
        const std::size_t s = run % 2 == 0 ? i : sides.size() - 1 - i;
        plain[s].push_back(timeOnce(sides[s].run));
      }
      if (run % 2 == 1) ours.push_back(timeOnce(workload.runOurs));
    }

    result.runs = runs;
    result.ours = summarise(ours);
    result.passed = true;
    char line[200];
    for (std::size_t s = 0; s < sides.size(); ++s) {
      Comparison& comparison = result.comparisons[s];
      keepWorse(comparison.maxError, sides[s].relativeError());
      comparison.plain = summarise(plain[s]);
      comparison.ratio = comparison.plain.median > 0 ? result.ours.median / comparison.plain.median : 0;
      // A NaN error must fail, so the comparison is written to be false for it.
      comparison.passed = comparison.maxError < result.tolerance;
      result.passed = result.passed && comparison.passed;
      std::snprintf(line, sizeof line, "done%s%s: ours %.4g s, plain %.4g s, ratio %.3f, error %.2e%s",
                    comparison.label.empty() ? "" : " against ", comparison.label.c_str(), result.ours.median,
                    comparison.plain.median, comparison.ratio, comparison.maxError,
                    comparison.passed ? "" : "  FAILED");
      progress(label, line);
    }
    if (!result.passed) result.failure = "relative error above tolerance";
  } catch (const std::exception& error) {
    result.passed = false;
    result.failure = error.what();
    progress(label, std::string("FAILED: ") + error.what());
  }
  return result;
}

}  // namespace tessel_bench
