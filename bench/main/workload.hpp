// What a benchmark case is: a named problem that, once built, runs one library entry and the plain FFTW
// code a user would write instead, on the same input, each into its own output.
#pragma once

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tessel_bench {

// How the whole suite runs. Both sides plan with `plainFlags` (the library through its context), so a
// quick run, which plans by estimate, compares like with like as well.
struct SuiteConfig {
  bool quick = false;
  int threads = 1;
  unsigned planFlags = FFTW_MEASURE;
  std::string wisdomPath;  // imported before the run, and then kept: no case forgets wisdom
};

// One way of doing a case's job with FFTW directly, into an output of its own. Most cases have one; a
// case whose entry works under conditions of its own (dctIIND plans on every call) has a second side
// that works under them too, and `label` tells the sides apart.
struct PlainSide {
  std::string label;  // empty where the case has one side
  std::function<void()> run;
  std::function<double()> relativeError;  // ||ours - plain||_2 / ||plain||_2 on the current outputs
};

// One case made ready: arrays allocated and filled, the plain plans made. runOurs and every plain side
// write disjoint outputs and leave the shared input as it was, so they may alternate in any order; the
// first call of runOurs plans (into the case's host-style cache).
struct Workload {
  std::string shape;   // extents, e.g. "100 x 4096 x 20"
  int threads = 1;     // the thread budget both sides run with
  double points = 1;   // transform points, the n of the tolerance (product of extents for N-D)
  double epsilon = 0;  // machine epsilon of the precision
  std::function<void()> runOurs;
  std::vector<PlainSide> plainSides;  // at least one
};

// A named problem and how to make it ready.
struct CaseDefinition {
  std::string name;         // what --case selects
  std::string entry;        // the library entry under test
  std::string description;  // one line for --list
  std::function<Workload(const SuiteConfig&)> build;
};

// One batch along the middle dimension of a stride x n x blocks column-major array: a sweep draws them,
// and the default suite's batched cases are such problems too. `direction` is the c2c sign, or 1 for an
// inverse (divided) DCST; r2c runs forward and c2r inverse. c2r reads one-sided spectra of n/2 + 1
// elements per vector.
struct StridedProblem {
  enum Family { kR2c, kC2r, kC2c, kDcst };
  Family family = kC2c;
  bool singlePrecision = false;
  int dcstKind = 1;        // 0..7: DCT-I..IV, DST-I..IV
  bool isComplex = false;  // DCST on interleaved complex data
  std::uint64_t stride = 1;
  std::uint64_t n = 1;
  std::uint64_t blocks = 1;
  int direction = FFTW_FORWARD;
  bool noCopy = false;           // FFT through quillFFT1DNoCopy
  bool fullLengthInput = false;  // c2r: input vectors stored with n elements, of which it reads n/2 + 1

  // "r2c f32 64 x 16 x 780", "DST-III complex f64 1 x 128 x 1148"
  std::string text() const;
  // The library entry that runs it, e.g. "quillFFT1D<float, r2c>".
  std::string entry() const;
};

// The problems made ready, the plain side as a host writes it: for a batch, one guru64 plan over the
// arrays; for r2c on FFTW's interleaved layout (double), n1 vectors of n0 points (`rank` 1) or one
// n0 x n1 array (`rank` 2); for the orthonormal N-D DCT-II (double), without or with (`hosted`) a
// context and a host cache.
Workload stridedFftWorkload(const SuiteConfig& config, const StridedProblem& problem);
Workload stridedDcstWorkload(const SuiteConfig& config, const StridedProblem& problem);
Workload interleavedR2cWorkload(const SuiteConfig& config, std::uint64_t n0, std::uint64_t n1, int rank);
Workload orthonormalDctWorkload(const SuiteConfig& config, const std::vector<std::uint64_t>& extents,
                                bool hosted);
// fftND of `kind` (double) over every dimension of `extents`, beside one rank-N plan with the same threads;
// c2r runs inverse, divided.
Workload fftNDWorkload(const SuiteConfig& config, int kind, const std::vector<std::uint64_t>& extents);

inline Workload stridedWorkload(const SuiteConfig& config, const StridedProblem& problem) {
  return problem.family == StridedProblem::kDcst ? stridedDcstWorkload(config, problem)
                                                 : stridedFftWorkload(config, problem);
}

// The self-check: relative L2 error against plain FFTW below kToleranceConstant * epsilon * log2(points)
// (log2 taken as at least 1). Two FFTW plans for one problem differ by rounding that grows like log n.
inline constexpr double kToleranceConstant = 8.0;
inline double tolerance(double epsilon, double points) {
  return kToleranceConstant * epsilon * std::max(1.0, std::log2(points));
}

// Uniform values in [-1, 1) from a fixed seed, so every run transforms the same data.
template <typename E>
void fillRandom(E* data, std::size_t count, std::uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (std::size_t i = 0; i < count; ++i) {
    if constexpr (std::is_floating_point_v<E>) {
      data[i] = static_cast<E>(uniform(engine));
    } else {
      using T = typename E::value_type;
      const T re = static_cast<T>(uniform(engine));
      const T im = static_cast<T>(uniform(engine));
      data[i] = E(re, im);
    }
  }
}

// ||a - b|| / ||b|| over `count` elements; complex elements count both parts. NaN if either holds one.
template <typename E>
double relativeL2(const E* a, const E* b, std::size_t count) {
  double difference = 0;
  double reference = 0;
  for (std::size_t i = 0; i < count; ++i) {
    difference += std::norm(std::complex<double>(a[i]) - std::complex<double>(b[i]));
    reference += std::norm(std::complex<double>(b[i]));
  }
  if (reference == 0) return difference == 0 ? 0.0 : std::numeric_limits<double>::infinity();
  return std::sqrt(difference / reference);
}

// The one plain side of a case whose state holds the two outputs as `ours` and `plain`.
template <typename State>
PlainSide plainSide(std::shared_ptr<State> state, std::size_t count, std::function<void()> run) {
  return {"", std::move(run),
          [state, count] { return relativeL2(state->ours.data(), state->plain.data(), count); }};
}

inline fftw_iodim64 iodim(std::uint64_t n, std::uint64_t inStride, std::uint64_t outStride) {
  return fftw_iodim64{static_cast<std::ptrdiff_t>(n), static_cast<std::ptrdiff_t>(inStride),
                      static_cast<std::ptrdiff_t>(outStride)};
}

// "100 x 4096 x 20"
inline std::string shapeText(const std::vector<std::uint64_t>& extents) {
  std::string shape;
  for (const std::uint64_t extent : extents) shape += (shape.empty() ? "" : " x ") + std::to_string(extent);
  return shape;
}

}  // namespace tessel_bench
