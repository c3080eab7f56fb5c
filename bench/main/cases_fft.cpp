// The FFT cases: batches along a strided or the contiguous dimension through quillFFT1D and
// quillFFT1DNoCopy, full r2c spectra, c2r, one long vector, and the entries on FFTW's interleaved layout.
// The plain side of each is what a user writes without the library: one plan on the arrays with their
// own strides, then the loop that the library's output convention needs (Hermitian mirror, 1/n).
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "plain_fftw.hpp"
#include "tessel_fft/tessel_fft.hpp"
#include "workload.hpp"

namespace tessel_bench {
namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::fftwContext;
using tessel_fft::fftwPlanKey;
using tessel_fft::r2c;
using u64 = std::uint64_t;

template <typename T, int Kind>
using FftCache = tessel_fft::sharedFFTPlanCache<T, Kind>;

// quillFFT1D and quillFFT1DNoCopy share this signature.
template <typename T, int Kind>
using Driver = void (*)(fftwContext, tessel_fft::fftwPlanCacheInterface<T, Kind, fftwPlanKey>*,
                        const typename tessel_fft::fftElements<T, Kind>::In*,
                        typename tessel_fft::fftElements<T, Kind>::Out*, u64, u64, u64, u64, int);

fftwContext contextFor(const SuiteConfig& config, fftwContext::EmbedStyleType embed) {
  return fftwContext(static_cast<u64>(config.threads), config.planFlags, embed, false);
}

// plan_many takes int sizes; the suite's sizes are far below the limit, but a --case with a future size
// must fail loudly rather than wrap.
int asInt(u64 value) {
  if (value > static_cast<u64>(std::numeric_limits<int>::max())) throw std::runtime_error("size above int");
  return static_cast<int>(value);
}

// What the library's drivers do after an inverse transform, written as a user would: one pass that
// multiplies by 1/n.
template <typename E, typename T>
void scaleBy(E* data, std::size_t count, T divisor) {
  const T factor = T(1) / divisor;
  for (std::size_t i = 0; i < count; ++i) data[i] *= factor;
}

// The upper half of each of `rows` spectra of n points, n apart, from Hermitian symmetry.
template <typename T>
void mirrorRows(std::complex<T>* data, u64 n, u64 rows) {
  for (u64 row = 0; row < rows; ++row) {
    std::complex<T>* spectrum = data + row * n;
    for (u64 k = n / 2 + 1; k < n; ++k) spectrum[k] = std::conj(spectrum[n - k]);
  }
}

// The same for one n0 x n1 spectrum (n0 contiguous): (k, j) from (n0 - k, (n1 - j) mod n1).
template <typename T>
void mirror2D(std::complex<T>* data, u64 n0, u64 n1) {
  for (u64 j = 0; j < n1; ++j) {
    std::complex<T>* row = data + j * n0;
    const std::complex<T>* partner = data + ((n1 - j) % n1) * n0;
    for (u64 k = n0 / 2 + 1; k < n0; ++k) row[k] = std::conj(partner[n0 - k]);
  }
}

template <typename In, typename Out>
struct Arrays {
  Arrays(std::size_t inCount, std::size_t outCount) : in(inCount), ours(outCount), plain(outCount) {}
  AlignedArray<In> in;
  AlignedArray<Out> ours;
  AlignedArray<Out> plain;
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

// Kind along the middle dimension of a d0 x n x d2 array: stride d0, d0 * d2 vectors. The plain side is
// one guru64 plan over the arrays with their own strides; r2c then mirrors each one-sided spectrum into
// the upper half of its vector, c2r reads one-sided input vectors of n/2 + 1, and an inverse divides by n.
template <typename T, int Kind>
Workload stridedFft(const SuiteConfig& config, u64 d0, u64 n, u64 d2, int sign) {
  using In = typename tessel_fft::fftElements<T, Kind>::In;
  using Out = typename tessel_fft::fftElements<T, Kind>::Out;
  struct State : Arrays<In, Out> {
    using Arrays<In, Out>::Arrays;
    FftCache<T, Kind> cache;
    PlainPlan<T> plan;
  };
  const u64 inputLength = Kind == c2r ? n / 2 + 1 : n;
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
      return PlainFftw<T>::c2r(1, &dim, 2, loops, asFftw(state->in.data()), state->plain.data(),
                               config.planFlags | FFTW_PRESERVE_INPUT);
    } else {
      return PlainFftw<T>::dft(1, &dim, 2, loops, asFftw(state->in.data()), asFftw(state->plain.data()), sign,
                               config.planFlags);
    }
  });
  fillRandom(state->in.data(), inCount, 1);

  Workload workload = workloadOf<T>(config, {d0, n, d2}, static_cast<double>(n));
  const fftwContext context = contextFor(config, fftwContext::EMBED_COMPACT);
  workload.runOurs = [state, context, d0, n, d2, inputLength, sign] {
    tessel_fft::quillFFT1D<T, Kind>(context, &state->cache, state->in.data(), state->ours.data(), d0, n,
                                    inputLength, d0 * d2, sign);
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

// c2c of `vectors` contiguous vectors of n points, forward; through quillFFT1D or quillFFT1DNoCopy.
// With one vector of at least 64 Ki points the library hands the thread budget to FFTW, as the plain
// side does.
template <typename T>
Workload contiguousComplex(const SuiteConfig& config, Driver<T, c2c> driver, u64 n, u64 vectors) {
  using C = std::complex<T>;
  struct State : Arrays<C, C> {
    using Arrays<C, C>::Arrays;
    FftCache<T, c2c> cache;
    PlainPlan<T> plan;
  };
  const u64 count = n * vectors;
  auto state = std::make_shared<State>(count, count);
  const int length = asInt(n);
  state->plan = makePlainPlan<T>(config.threads, [&] {
    return PlainFftw<T>::manyDft(1, &length, asInt(vectors), asFftw(state->in.data()), nullptr, 1, length,
                                 asFftw(state->plain.data()), nullptr, 1, length, FFTW_FORWARD,
                                 config.planFlags);
  });
  fillRandom(state->in.data(), count, 2);

  Workload workload = workloadOf<T>(config, {n, vectors}, static_cast<double>(n));
  const fftwContext context = contextFor(config, fftwContext::EMBED_COMPACT);
  workload.runOurs = [state, context, driver, n, vectors] {
    driver(context, &state->cache, state->in.data(), state->ours.data(), 1, n, n, vectors, FFTW_FORWARD);
  };
  workload.plainSides = {plainSide(state, count, [state] { state->plan.execute(); })};
  return workload;
}

// r2c of `vectors` contiguous real vectors to full n-point spectra. The plain side writes the one-sided
// halves n apart and mirrors them. `interleaved` runs interleavedFFT1D instead of quillFFT1D.
template <typename T>
Workload fullSpectra(const SuiteConfig& config, u64 n, u64 vectors, bool interleaved) {
  using C = std::complex<T>;
  struct State : Arrays<T, C> {
    using Arrays<T, C>::Arrays;
    FftCache<T, r2c> cache;
    PlainPlan<T> plan;
  };
  const u64 count = n * vectors;
  auto state = std::make_shared<State>(count, count);
  const int length = asInt(n);
  state->plan = makePlainPlan<T>(config.threads, [&] {
    return PlainFftw<T>::manyR2c(1, &length, asInt(vectors), state->in.data(), nullptr, 1, length,
                                 asFftw(state->plain.data()), nullptr, 1, length, config.planFlags);
  });
  fillRandom(state->in.data(), count, 3);

  Workload workload = workloadOf<T>(config, {n, vectors}, static_cast<double>(n));
  if (interleaved) {
    const fftwContext context = contextFor(config, fftwContext::EMBED_FULL_LENGTH);
    workload.runOurs = [state, context, n, vectors] {
      tessel_fft::interleavedFFT1D<T, r2c>(context, &state->cache, state->in.data(),
                                           reinterpret_cast<T(*)[2]>(state->ours.data()), n, vectors,
                                           FFTW_FORWARD, false);
    };
  } else {
    const fftwContext context = contextFor(config, fftwContext::EMBED_COMPACT);
    workload.runOurs = [state, context, n, vectors] {
      tessel_fft::quillFFT1D<T, r2c>(context, &state->cache, state->in.data(), state->ours.data(), 1, n, n,
                                     vectors, FFTW_FORWARD);
    };
  }
  workload.plainSides = {plainSide(state, count, [state, n, vectors] {
    state->plan.execute();
    mirrorRows(state->plain.data(), n, vectors);
  })};
  return workload;
}

// Inverse c2r of `vectors` full-length complex vectors of n points (the transform reads n/2 + 1 of
// them), scaled by 1/n. The plain plan preserves its input, as the library does; FFTW's c2r default
// would destroy it.
template <typename T>
Workload inverseReal(const SuiteConfig& config, u64 n, u64 vectors) {
  using C = std::complex<T>;
  struct State : Arrays<C, T> {
    using Arrays<C, T>::Arrays;
    FftCache<T, c2r> cache;
    PlainPlan<T> plan;
  };
  const u64 count = n * vectors;
  auto state = std::make_shared<State>(count, count);
  const int length = asInt(n);
  state->plan = makePlainPlan<T>(config.threads, [&] {
    return PlainFftw<T>::manyC2r(1, &length, asInt(vectors), asFftw(state->in.data()), nullptr, 1, length,
                                 state->plain.data(), nullptr, 1, length,
                                 config.planFlags | FFTW_PRESERVE_INPUT);
  });
  fillRandom(state->in.data(), count, 4);

  Workload workload = workloadOf<T>(config, {n, vectors}, static_cast<double>(n));
  const fftwContext context = contextFor(config, fftwContext::EMBED_COMPACT);
  workload.runOurs = [state, context, n, vectors] {
    tessel_fft::quillFFT1D<T, c2r>(context, &state->cache, state->in.data(), state->ours.data(), 1, n, n,
                                   vectors, FFTW_BACKWARD);
  };
  workload.plainSides = {plainSide(state, count, [state, n, count] {
    state->plan.execute();
    scaleBy(state->plain.data(), count, static_cast<T>(n));
  })};
  return workload;
}

// One n0 x n1 real array (n0 contiguous) to its full two-dimensional spectrum on FFTW's layout.
template <typename T>
Workload fullSpectrum2D(const SuiteConfig& config, u64 n0, u64 n1) {
  using C = std::complex<T>;
  struct State : Arrays<T, C> {
    using Arrays<T, C>::Arrays;
    FftCache<T, r2c> cache;
    PlainPlan<T> plan;
  };
  const u64 count = n0 * n1;
  auto state = std::make_shared<State>(count, count);
  // FFTW counts dimensions row-major: the contiguous one last. Output rows are n0 complex values apart.
  const int lengths[2] = {asInt(n1), asInt(n0)};
  state->plan = makePlainPlan<T>(config.threads, [&] {
    return PlainFftw<T>::manyR2c(2, lengths, 1, state->in.data(), nullptr, 1, 0, asFftw(state->plain.data()),
                                 lengths, 1, 0, config.planFlags);
  });
  fillRandom(state->in.data(), count, 5);

  Workload workload = workloadOf<T>(config, {n0, n1}, static_cast<double>(count));
  const fftwContext context = contextFor(config, fftwContext::EMBED_FULL_LENGTH);
  workload.runOurs = [state, context, n0, n1] {
    tessel_fft::interleavedFFT2D<T, r2c>(context, &state->cache, state->in.data(),
                                         reinterpret_cast<T(*)[2]>(state->ours.data()), n0, n1, FFTW_FORWARD,
                                         false);
  };
  workload.plainSides = {plainSide(state, count, [state, n0, n1] {
    state->plan.execute();
    mirror2D(state->plain.data(), n0, n1);
  })};
  return workload;
}

template <typename T>
Workload stridedFftOf(const SuiteConfig& config, const StridedProblem& p) {
  switch (p.family) {
    case StridedProblem::kR2c:
      return stridedFft<T, r2c>(config, p.stride, p.n, p.blocks, FFTW_FORWARD);
    case StridedProblem::kC2r:
      return stridedFft<T, c2r>(config, p.stride, p.n, p.blocks, FFTW_BACKWARD);
    default:
      return stridedFft<T, c2c>(config, p.stride, p.n, p.blocks, p.direction);
  }
}

}  // namespace

Workload stridedFftWorkload(const SuiteConfig& config, const StridedProblem& problem) {
  return problem.singlePrecision ? stridedFftOf<float>(config, problem)
                                 : stridedFftOf<double>(config, problem);
}

std::vector<CaseDefinition> fftCases() {
  std::vector<CaseDefinition> cases;
  cases.push_back({"strided-c2c-inv", "quillFFT1D<double, c2c>",
                   "inverse c2c along dimension 2 of 100 x 4096 x 20 (stride 100), scaled by 1/n",
                   [](const SuiteConfig& c) {
                     return c.quick ? stridedFft<double, c2c>(c, 6, 64, 3, FFTW_BACKWARD)
                                    : stridedFft<double, c2c>(c, 100, 4096, 20, FFTW_BACKWARD);
                   }});
  cases.push_back({"strided-c2c-inv-f32", "quillFFT1D<float, c2c>", "the same in single precision",
                   [](const SuiteConfig& c) {
                     return c.quick ? stridedFft<float, c2c>(c, 6, 64, 3, FFTW_BACKWARD)
                                    : stridedFft<float, c2c>(c, 100, 4096, 20, FFTW_BACKWARD);
                   }});
  const struct {
    const char* name;
    const char* entry;
    Driver<double, c2c> driver;
  } drivers[] = {{"", "quillFFT1D<double, c2c>", &tessel_fft::quillFFT1D<double, c2c>},
                 {"-nocopy", "quillFFT1DNoCopy<double, c2c>", &tessel_fft::quillFFT1DNoCopy<double, c2c>}};
  for (const auto& d : drivers) {
    const Driver<double, c2c> driver = d.driver;
    cases.push_back({std::string("c2c-n1024") + d.name, d.entry,
                     "forward c2c of 10000 contiguous vectors of 1024 points",
                     [driver](const SuiteConfig& c) {
                       return contiguousComplex<double>(c, driver, 1024, c.quick ? 100 : 10000);
                     }});
  }
  for (const auto& d : drivers) {
    const Driver<double, c2c> driver = d.driver;
    cases.push_back({std::string("c2c-n64") + d.name, d.entry,
                     "forward c2c of 100000 contiguous vectors of 64 points", [driver](const SuiteConfig& c) {
                       return contiguousComplex<double>(c, driver, 64, c.quick ? 300 : 100000);
                     }});
  }
  cases.push_back({"r2c-full", "quillFFT1D<double, r2c>",
                   "r2c of 2000 contiguous vectors of 4096 points to full Hermitian spectra",
                   [](const SuiteConfig& c) {
                     return fullSpectra<double>(c, c.quick ? 256 : 4096, c.quick ? 10 : 2000, false);
                   }});
  cases.push_back({"c2r-inv", "quillFFT1D<double, c2r>",
                   "inverse c2r of 2000 vectors of 4096 points, scaled by 1/n", [](const SuiteConfig& c) {
                     return inverseReal<double>(c, c.quick ? 256 : 4096, c.quick ? 10 : 2000);
                   }});
  cases.push_back({"c2c-long", "quillFFT1D<double, c2c>",
                   "one c2c vector of 2^20 points: FFTW's own threads on both sides",
                   [](const SuiteConfig& c) {
                     return contiguousComplex<double>(c, &tessel_fft::quillFFT1D<double, c2c>,
                                                      c.quick ? (u64{1} << 16) : (u64{1} << 20), 1);
                   }});
  return cases;
}

std::vector<CaseDefinition> interleavedCases() {
  std::vector<CaseDefinition> cases;
  cases.push_back({"interleaved-1d-r2c", "interleavedFFT1D<double, r2c>",
                   "r2c of 1000 vectors of 4096 points on FFTW's layout, full spectra",
                   [](const SuiteConfig& c) {
                     return fullSpectra<double>(c, c.quick ? 64 : 4096, c.quick ? 5 : 1000, true);
                   }});
  cases.push_back(
      {"interleaved-2d-r2c", "interleavedFFT2D<double, r2c>",
       "one 1024 x 1024 r2c on FFTW's layout, full two-dimensional spectrum", [](const SuiteConfig& c) {
         return c.quick ? fullSpectrum2D<double>(c, 32, 12) : fullSpectrum2D<double>(c, 1024, 1024);
       }});
  return cases;
}

std::vector<CaseDefinition> allCases() {
  std::vector<CaseDefinition> cases = fftCases();
  for (CaseDefinition& definition : dcstCases()) cases.push_back(std::move(definition));
  for (CaseDefinition& definition : interleavedCases()) cases.push_back(std::move(definition));
  return cases;
}

}  // namespace tessel_bench
