// Draws the sweep's problems and sums up its ratios.
#include "sweep.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "report.hpp"

namespace tessel_bench {
namespace {

using u64 = std::uint64_t;

// Lengths a host meets beyond powers of two: a prime, smooth and awkward composites, a large prime.
constexpr u64 kNamedLengths[] = {17, 60, 101, 243, 1009, 1536};

constexpr const char* kDcstNames[8] = {"DCT-I", "DCT-II", "DCT-III", "DCT-IV",
                                       "DST-I", "DST-II", "DST-III", "DST-IV"};

// The engine's output is mapped by hand, so a seed draws the same problems with any standard library.
class Draw {
 public:
  explicit Draw(u64 seed) : engine_(seed) {}
  double unit() { return static_cast<double>(engine_() >> 11) * 0x1.0p-53; }
  u64 below(u64 bound) { return engine_() % bound; }
  bool coin() { return below(2) == 1; }
  // Uniform in log between low and high, both included; low above 0.
  u64 logUniform(u64 low, u64 high) {
    if (high <= low) return low;
    const double logLow = std::log(static_cast<double>(low));
    const double value = std::exp(logLow + unit() * (std::log(static_cast<double>(high)) - logLow));
    return std::clamp(static_cast<u64>(std::llround(value)), low, high);
  }

 private:
  std::mt19937_64 engine_;
};

// Bytes of one stored input vector.
u64 vectorBytes(const StridedProblem& p) {
  const u64 real = p.singlePrecision ? sizeof(float) : sizeof(double);
  switch (p.family) {
    case StridedProblem::kR2c:
      return p.n * real;
    case StridedProblem::kC2r:
      return (p.n / 2 + 1) * 2 * real;
    case StridedProblem::kC2c:
      return p.n * 2 * real;
    default:
      return p.n * real * (p.isComplex ? 2 : 1);
  }
}

StridedProblem drawProblem(const SweepSpace& space, Draw& draw) {
  StridedProblem p;
  // Weights: r2c 4, c2r 3, c2c 4, real DCST 5, complex DCST 4 in 20.
  const u64 family = draw.below(20);
  p.family = family < 4    ? StridedProblem::kR2c
             : family < 7  ? StridedProblem::kC2r
             : family < 11 ? StridedProblem::kC2c
                           : StridedProblem::kDcst;
  p.isComplex = family >= 16;
  p.singlePrecision = draw.coin();
  p.dcstKind = static_cast<int>(draw.below(8));
  if (p.family == StridedProblem::kC2c) p.direction = draw.coin() ? FFTW_BACKWARD : FFTW_FORWARD;
  if (p.family == StridedProblem::kDcst) p.direction = draw.coin() ? 1 : -1;
  do {
    const u64 lengthClass = draw.below(20);
    if (lengthClass < 6) {
      p.n = kNamedLengths[draw.below(std::size(kNamedLengths))];
    } else if (lengthClass < 13) {
      const u64 lowBits = static_cast<u64>(std::log2(static_cast<double>(space.minLength)));
      const u64 highBits = static_cast<u64>(std::log2(static_cast<double>(space.maxLength)));
      p.n = u64{1} << (lowBits + draw.below(highBits - lowBits + 1));
    } else {
      p.n = draw.logUniform(space.minLength, space.maxLength);
    }
  } while (vectorBytes(p) > space.maxInputBytes);
  const u64 vector = vectorBytes(p);
  const u64 widest = std::min(space.maxStride, space.maxInputBytes / vector);
  p.stride = draw.below(4) == 0 || widest < 2 ? 1 : draw.logUniform(2, widest);
  const u64 block = p.stride * vector;
  const u64 bytes = draw.logUniform(std::max(space.minInputBytes, block), space.maxInputBytes);
  p.blocks = std::max<u64>(1, bytes / block);
  return p;
}

}  // namespace

std::string StridedProblem::text() const {
  std::string name;
  switch (family) {
    case kR2c:
      name = "r2c";
      break;
    case kC2r:
      name = "c2r";
      break;
    case kC2c:
      name = direction == FFTW_BACKWARD ? "c2c inv" : "c2c";
      break;
    case kDcst:
      name =
          std::string(kDcstNames[dcstKind]) + (direction == 1 ? " inv" : "") + (isComplex ? " complex" : "");
      break;
  }
  return name + (singlePrecision ? " f32 " : " f64 ") + shapeText({stride, n, blocks});
}

std::string StridedProblem::entry() const {
  const std::string real = singlePrecision ? "float" : "double";
  if (family == kDcst) return "quillDCST1D<" + real + ", " + std::to_string(dcstKind) + ">";
  const char* kinds[] = {"r2c", "c2r", "c2c"};
  return std::string(noCopy ? "quillFFT1DNoCopy<" : "quillFFT1D<") + real + ", " + kinds[family] + ">";
}

SweepSpace sweepSpace(bool quick) {
  SweepSpace space;
  if (quick) {
    space.minInputBytes = 16u << 10;
    space.maxInputBytes = 256u << 10;
  }
  return space;
}

bool parseProblem(const std::string& text, StridedProblem& problem) {
  // The words of StridedProblem::text up to the precision, then the extents, whose x may stand without
  // spaces.
  std::istringstream words(text);
  std::vector<std::string> head;
  std::string word;
  while (words >> word && word != "f32" && word != "f64") head.push_back(word);
  if (head.empty() || (word != "f32" && word != "f64")) return false;
  problem = StridedProblem{};
  problem.singlePrecision = word == "f32";
  std::string extents((std::istreambuf_iterator<char>(words)), std::istreambuf_iterator<char>());
  std::replace(extents.begin(), extents.end(), 'x', ' ');
  std::istringstream numbers(extents);
  std::string rest;
  if (!(numbers >> problem.stride >> problem.n >> problem.blocks) || numbers >> rest) return false;
  const std::string kind = head[0];
  const bool inverse = std::find(head.begin(), head.end(), "inv") != head.end();
  const bool complex = std::find(head.begin(), head.end(), "complex") != head.end();
  if (head.size() != 1u + inverse + complex) return false;
  if (kind == "r2c" || kind == "c2r") {
    if (inverse || complex) return false;
    problem.family = kind == "r2c" ? StridedProblem::kR2c : StridedProblem::kC2r;
  } else if (kind == "c2c") {
    if (complex) return false;
    problem.family = StridedProblem::kC2c;
    problem.direction = inverse ? FFTW_BACKWARD : FFTW_FORWARD;
  } else {
    const auto* found = std::find(std::begin(kDcstNames), std::end(kDcstNames), kind);
    if (found == std::end(kDcstNames)) return false;
    problem.family = StridedProblem::kDcst;
    problem.dcstKind = static_cast<int>(found - std::begin(kDcstNames));
    problem.direction = inverse ? 1 : -1;
    problem.isComplex = complex;
  }
  return problem.stride > 0 && problem.n > 0 && problem.blocks > 0;
}

std::vector<StridedProblem> drawProblems(const SweepSpace& space, u64 count, u64 seed) {
  Draw draw(seed);
  std::vector<StridedProblem> problems;
  for (u64 i = 0; i < count; ++i) problems.push_back(drawProblem(space, draw));
  return problems;
}

std::vector<CaseDefinition> sweepCases(const std::vector<StridedProblem>& problems) {
  std::vector<CaseDefinition> cases;
  const int digits = problems.size() < 100 ? 2 : static_cast<int>(std::to_string(problems.size()).size());
  for (std::size_t i = 0; i < problems.size(); ++i) {
    char name[24];
    std::snprintf(name, sizeof name, "s%0*zu", digits, i + 1);
    const StridedProblem problem = problems[i];
    cases.push_back({name, problem.entry(), problem.text(), [problem](const SuiteConfig& config) {
                       Workload workload = stridedWorkload(config, problem);
                       workload.shape = problem.text();
                       return workload;
                     }});
  }
  return cases;
}

MeasureSettings sweepSettings() {
  MeasureSettings settings;
  settings.secondsPerCase = 0.6;
  settings.minRuns = 3;
  settings.maxRuns = 9;
  settings.freshPlans = true;
  return settings;
}

void confirmSlowShapes(std::vector<CaseResult>& results, const std::vector<CaseDefinition>& cases,
                       const SuiteConfig& config, const MeasureSettings& settings) {
  // More alternations than the first reading had; a quick run keeps its few, fixed ones.
  MeasureSettings again = settings;
  again.freshPlans = true;
  again.runs = settings.runs > 0 ? 2 * settings.runs + 1 : 0;
  again.secondsPerCase = 2 * settings.secondsPerCase;
  again.minRuns = 2 * settings.minRuns + 1;
  again.maxRuns = 2 * settings.maxRuns + 1;
  for (std::size_t i = 0; i < results.size(); ++i) {
    if (!results[i].passed || !(results[i].comparisons[0].ratio > kConfirmAbove)) continue;
    std::vector<CaseResult> readings = {results[i]};
    while (readings.size() < kReadings && readings.back().passed) {
      const std::string label = "[confirming " + cases[i].name + ", reading " +
                                std::to_string(readings.size() + 1) + "/" + std::to_string(kReadings) + "]";
      readings.push_back(measureCase(cases[i], config, again, label));
    }
    if (!readings.back().passed) {
      results[i] = readings.back();
      continue;
    }
    std::vector<double> ratios;
    for (const CaseResult& reading : readings) ratios.push_back(reading.comparisons[0].ratio);
    std::sort(readings.begin(), readings.end(), [](const CaseResult& a, const CaseResult& b) {
      return a.comparisons[0].ratio < b.comparisons[0].ratio;
    });
    results[i] = readings[readings.size() / 2];
    results[i].readings = ratios;
  }
}

void printDistribution(std::ostream& out, const std::vector<CaseResult>& results, u64 seed) {
  struct Ratio {
    double value;
    const CaseResult* result;
  };
  std::vector<Ratio> ratios;
  for (const CaseResult& result : results) {
    if (result.runs > 0 && !result.comparisons.empty() && result.comparisons[0].ratio > 0)
      ratios.push_back({result.comparisons[0].ratio, &result});
  }
  out << "\nSweep, seed " << seed << ": " << ratios.size() << " of " << results.size() << " shapes timed.\n";
  if (ratios.empty()) return;
  std::sort(ratios.begin(), ratios.end(), [](const Ratio& a, const Ratio& b) { return a.value > b.value; });
  double logSum = 0;
  for (const Ratio& ratio : ratios) logSum += std::log(ratio.value);
  const auto above = [&](double limit) {
    return std::count_if(ratios.begin(), ratios.end(), [limit](const Ratio& r) { return r.value > limit; });
  };
  // Nearest rank: the smallest ratio that at least 90% of the shapes don't exceed.
  const std::size_t fromTop = ratios.size() - (ratios.size() * 9 + 9) / 10;
  char line[200];
  std::snprintf(line, sizeof line,
                "geometric mean %.3f, p90 %.3f, worst %.3f; slower than plain FFTW: %td (above 1.05: %td, "
                "above 1.20: %td)\n",
                std::exp(logSum / static_cast<double>(ratios.size())), ratios[fromTop].value,
                ratios.front().value, above(1.0), above(1.05), above(1.2));
  out << line;
  const auto measuredAgain =
      std::count_if(ratios.begin(), ratios.end(), [](const Ratio& r) { return !r.result->readings.empty(); });
  std::snprintf(line, sizeof line,
                "Confirmed above %.2f: %td of %td that read above it (median of %d readings, fresh plans).\n",
                kConfirmAbove, above(kConfirmAbove), measuredAgain, kReadings);
  out << line << "Slowest shapes:\n";
  for (std::size_t i = 0; i < std::min<std::size_t>(5, ratios.size()); ++i) {
    const CaseResult& result = *ratios[i].result;
    out << "  " << ratioText(ratios[i].value, result.readings) << "  " << result.name << "  " << result.shape
        << '\n';
  }
}

}  // namespace tessel_bench
