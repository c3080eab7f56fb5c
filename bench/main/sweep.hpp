// The sweep: random shapes over the space a host calls, each run by the library beside one plain FFTW
// plan over the same arrays, summed up as a distribution of ratios.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "measure.hpp"
#include "workload.hpp"

namespace tessel_bench {

// Where the sweep draws from. A standard sweep transforms inputs of 2 to 96 MB; a quick one, which
// checks rather than measures, 16 to 256 KB.
struct SweepSpace {
  std::uint64_t minLength = 8;
  std::uint64_t maxLength = 65536;
  std::uint64_t maxStride = 4096;
  std::uint64_t minInputBytes = 2u << 20;
  std::uint64_t maxInputBytes = 96u << 20;
};

SweepSpace sweepSpace(bool quick);

// The problem that StridedProblem::text wrote as `text` ("c2c inv f32 4096 x 100 x 24"); false for
// text that names none.
bool parseProblem(const std::string& text, StridedProblem& problem);

// `count` problems drawn from `seed`: the same seed gives the same problems on every machine.
std::vector<StridedProblem> drawProblems(const SweepSpace& space, std::uint64_t count, std::uint64_t seed);

// One case per problem, named s01, s02, ...
std::vector<CaseDefinition> sweepCases(const std::vector<StridedProblem>& problems);

// Per-case timing of a sweep: short, since a sweep has many cases, and with fresh plans on both sides.
MeasureSettings sweepSettings();

// A shape whose ratio reads above kConfirmAbove is measured again, until it has kReadings readings.
inline constexpr double kConfirmAbove = 1.05;
inline constexpr int kReadings = 3;

// Measures again each shape of `results` (made from `cases`, in the same order) that read above
// kConfirmAbove: fresh plans on both sides and twice the runs of `settings`. The shape then keeps the
// reading with the median ratio, all readings beside it, so that noise and a slow shape are told apart.
// A reading that fails the self-check is kept instead.
void confirmSlowShapes(std::vector<CaseResult>& results, const std::vector<CaseDefinition>& cases,
                       const SuiteConfig& config, const MeasureSettings& settings);

// Geometric mean, 90th percentile and worst of the ratios, how many are above 1, 1.05 and 1.2, and how
// many of those that read above kConfirmAbove stayed there when measured again.
void printDistribution(std::ostream& out, const std::vector<CaseResult>& results, std::uint64_t seed);

}  // namespace tessel_bench
