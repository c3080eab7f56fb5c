// The FFT workloads: batches along a strided or the contiguous dimension through quillFFT1D and
// quillFFT1DNoCopy, and r2c on FFTW's interleaved layout. The plain side of each is what a user writes
// without the library: one plan on the arrays with their own strides, then the loop that the library's
// output convention needs (Hermitian mirror, 1/n).
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "plain_fftw.hpp"
#include "tessel_fft/tessel_fft.hpp"
#include "workload.hpp"

namespace tessel_bench {
namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::fftwContext;
using tessel_fft::r2c;
using u64 = std::uint64_t;

template <typename T, int Kind>
using FftCache = tessel_fft::sharedFFTPlanCache<T, Kind>;

fftwContext contextFor(const SuiteConfig& config, fftwContext::EmbedStyleType embed) {
  return fftwContext(static_cast<u64>(config.threads), config.planFlags, embed, false);
}

// What the library's drivers do after an inverse transform, written as a user would: one pass that
// multiplies by 1/n.
template <typename E, typename T>
void scaleBy(E* data, std::size_t count, T divisor) {
  const T factor = T(1) / divisor;
  for (std::size_t i = 0; i < count; ++i) data[i] *= factor;
}

// The upper halves of n1 spectra of n0 points, n0 apart, from Hermitian symmetry: each from its own
// lower half, or in one n0 x n1 spectrum (k, j) from (n0 - k, (n1 - j) mod n1).
template <typename T>
void mirrorSpectra(std::complex<T>* data, u64 n0, u64 n1, bool twoDimensional) {
  for (u64 j = 0; j < n1; ++j) {
    std::complex<T>* row = data + j * n0;
    const std::complex<T>* partner = data + (twoDimensional ? (n1 - j) % n1 : j) * n0;
    for (u64 k = n0 / 2 + 1; k < n0; ++k) row[k] = std::conj(partner[n0 - k]);
  }
}

// The arrays of a case, its host-style cache for the library and its plain plan.
template <typename T, int Kind, typename In, typename Out>
struct FftState {
  FftState(std::size_t inCount, std::size_t outCount) : in(inCount), ours(outCount), plain(outCount) {}
  AlignedArray<In> in;
  AlignedArray<Out> ours;
  AlignedArray<Out> plain;
  FftCache<T, Kind> cache;
  PlainPlan<T> plan;
};

template <typename T>
Workload workloadOf(const SuiteConfig& config, const std::vector<u64>& extents, double points) {
  Workload workload;
  workload.shape = shapeText(extents);
  workload.threads = config.threads;
  workload.points = points;
  workload.epsilon = std::numeric_limits<T>::epsilon();
  return workload;
}

// Kind along the middle dimension of a stride x n x blocks array: stride 1 is a batch of contiguous
// vectors. The plain side is one guru64 plan over the arrays with their own strides; r2c then mirrors
// each one-sided spectrum into the upper half of its vector, and an inverse divides by n. With one vector
// of at least 64 Ki points the library hands the thread budget to FFTW, as the plain side does.
template <typename T, int Kind>
Workload stridedFft(const SuiteConfig& config, const StridedProblem& p) {
  using In = typename tessel_fft::fftElements<T, Kind>::In;
  using Out = typename tessel_fft::fftElements<T, Kind>::Out;
  using State = FftState<T, Kind, In, Out>;
  const u64 d0 = p.stride, n = p.n, d2 = p.blocks;
  const int sign = Kind == c2c ? p.direction : Kind == r2c ? FFTW_FORWARD : FFTW_BACKWARD;
  const u64 inputLength = Kind == c2r && !p.fullLengthInput ? n / 2 + 1 : n;
  const u64 inCount = d0 * inputLength * d2;
  const u64 count = d0 * n * d2;
  auto state = std::make_shared<State>(inCount, count);
  const fftw_iodim64 dim = iodim(n, d0, d0);
  const fftw_iodim64 loops[2] = {iodim(d0, 1, 1), iodim(d2, d0 * inputLength, d0 * n)};
  state->plan = makePlainPlan<T>(config.threads, [&] {
    if constexpr (Kind == r2c) {
      return PlainFftw<T>::r2c(1, &dim, 2, loops, state->in.data(), asFftw(state->plain.data()),
                               config.planFlags);
    } else if constexpr (Kind == c2r) {
      // FFTW's c2r would destroy its input by default; the library preserves it.
      return PlainFftw<T>::c2r(1, &dim, 2, loops, asFftw(state->in.data()), state->plain.data(),
                               config.planFlags | FFTW_PRESERVE_INPUT);
    } else {
      return PlainFftw<T>::dft(1, &dim, 2, loops, asFftw(state->in.data()), asFftw(state->plain.data()), sign,
                               config.planFlags);
    }
  });
  fillRandom(state->in.data(), inCount, 1);

  Workload workload = workloadOf<T>(config, {d0, n, d2}, static_cast<double>(n));
  if (d0 == 1) workload.shape = shapeText({n, d2});
  const fftwContext context = contextFor(config, fftwContext::EMBED_COMPACT);
  auto* driver = p.noCopy ? &tessel_fft::quillFFT1DNoCopy<T, Kind> : &tessel_fft::quillFFT1D<T, Kind>;
  workload.runOurs = [state, context, driver, d0, n, d2, inputLength, sign] {
    driver(context, &state->cache, state->in.data(), state->ours.data(), d0, n, inputLength, d0 * d2, sign);
  };
  workload.plainSides = {plainSide(state, count, [state, d0, n, d2, count, sign] {
    state->plan.execute();
    if constexpr (Kind == r2c) {
      for (u64 block = 0; block < d2; ++block) {
        std::complex<T>* spectra = state->plain.data() + block * d0 * n;
        for (u64 k = n / 2 + 1; k < n; ++k) {
          for (u64 column = 0; column < d0; ++column)
            spectra[k * d0 + column] = std::conj(spectra[(n - k) * d0 + column]);
        }
      }
    }
    if (sign == FFTW_BACKWARD) scaleBy(state->plain.data(), count, static_cast<T>(n));
  })};
  return workload;
}

// r2c to full spectra on FFTW's interleaved layout: with `rank` 1 n1 contiguous vectors of n0 points
// (interleavedFFT1D), with `rank` 2 one n0 x n1 array, n0 contiguous (interleavedFFT2D). The plain side
// writes the one-sided halves on the full layout and mirrors them.
template <typename T>
Workload interleavedR2c(const SuiteConfig& config, u64 n0, u64 n1, int rank) {
  using C = std::complex<T>;
  using State = FftState<T, r2c, T, C>;
  const u64 count = n0 * n1;
  auto state = std::make_shared<State>(count, count);
  // FFTW counts dimensions row-major: the contiguous one last. Output rows are n0 complex values apart,
  // as input rows are n0 reals apart. With rank 1 the rows are a loop around one-dimensional transforms.
  const fftw_iodim64 dims[2] = {iodim(n1, n0, n0), iodim(n0, 1, 1)};
  state->plan = makePlainPlan<T>(config.threads, [&] {
    return PlainFftw<T>::r2c(rank, dims + 2 - rank, 2 - rank, dims, state->in.data(),
                             asFftw(state->plain.data()), config.planFlags);
  });
  fillRandom(state->in.data(), count, 3 + rank);

  Workload workload = workloadOf<T>(config, {n0, n1}, static_cast<double>(rank == 1 ? n0 : count));
  const fftwContext context = contextFor(config, fftwContext::EMBED_FULL_LENGTH);
  auto* entry = rank == 1 ? &tessel_fft::interleavedFFT1D<T, r2c> : &tessel_fft::interleavedFFT2D<T, r2c>;
  workload.runOurs = [state, context, entry, n0, n1] {
    entry(context, &state->cache, state->in.data(), reinterpret_cast<T(*)[2]>(state->ours.data()), n0, n1,
          FFTW_FORWARD, false);
  };
  workload.plainSides = {plainSide(state, count, [state, n0, n1, rank] {
    state->plan.execute();
    mirrorSpectra(state->plain.data(), n0, n1, rank == 2);
  })};
  return workload;
}

template <typename T>
Workload stridedFftOf(const SuiteConfig& config, const StridedProblem& p) {
  switch (p.family) {
    case StridedProblem::kR2c:
      return stridedFft<T, r2c>(config, p);
    case StridedProblem::kC2r:
      return stridedFft<T, c2r>(config, p);
    default:
      return stridedFft<T, c2c>(config, p);
  }
}

}  // namespace

Workload stridedFftWorkload(const SuiteConfig& config, const StridedProblem& problem) {
  return problem.singlePrecision ? stridedFftOf<float>(config, problem)
                                 : stridedFftOf<double>(config, problem);
}

Workload interleavedR2cWorkload(const SuiteConfig& config, std::uint64_t n0, std::uint64_t n1, int rank) {
  return interleavedR2c<double>(config, n0, n1, rank);
}

}  // namespace tessel_bench
