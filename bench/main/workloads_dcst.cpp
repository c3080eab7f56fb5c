// The cosine and sine workloads: quillDCST1D along a strided dimension, on real and on interleaved complex
// data, and dctIIND with orthonormal scaling in two and three dimensions. The plain side is one guru64
// r2r plan on the caller's arrays plus the scaling loop that the library's convention needs; dctIIND has
// a second one that plans in every call, as dctIIND itself does.
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plain_fftw.hpp"
#include "tessel_fft/tessel_fft.hpp"
#include "workload.hpp"

namespace tessel_bench {
namespace {

using tessel_fft::fftwContext;
using u64 = std::uint64_t;

// The library's Kind numbering, 0..7, in FFTW's names.
constexpr fftw_r2r_kind kFftwKinds[8] = {FFTW_REDFT00, FFTW_REDFT10, FFTW_REDFT01, FFTW_REDFT11,
                                         FFTW_RODFT00, FFTW_RODFT10, FFTW_RODFT01, FFTW_RODFT11};

// The logical size N of FFTW's r2r kinds: a kind followed by its inverse kind multiplies by N.
constexpr u64 logicalSize(int kind, u64 n) { return kind == 0 ? 2 * n - 2 : kind == 4 ? 2 * n + 2 : 2 * n; }

// Kind along the middle dimension of a d0 x n x d2 array (stride d0, d0 * d2 vectors). With
// `isComplex` the array holds interleaved complex values whose parts are transformed independently;
// the plain plan does this with one more loop dimension of 2. `direction` 1 divides by the logical size.
template <typename T, int Kind>
Workload stridedDcst(const SuiteConfig& config, const StridedProblem& p) {
  struct State {
    explicit State(std::size_t values) : in(values), ours(values), plain(values) {}
    AlignedArray<T> in, ours, plain;
    tessel_fft::sharedDCSTPlanCache<T, Kind> cache;
    PlainPlan<T> plan;
  };
  const u64 d0 = p.stride, n = p.n, d2 = p.blocks;
  const int direction = p.direction;
  const bool isComplex = p.isComplex;
  const u64 width = isComplex ? 2 : 1;
  const u64 values = d0 * n * d2 * width;
  auto state = std::make_shared<State>(values);
  const fftw_iodim64 dim = iodim(n, d0 * width, d0 * width);
  const fftw_iodim64 loops[3] = {iodim(d0, width, width), iodim(d2, d0 * n * width, d0 * n * width),
                                 iodim(2, 1, 1)};
  const fftw_r2r_kind kind = kFftwKinds[Kind];
  state->plan = makePlainPlan<T>(config.threads, [&] {
    return PlainFftw<T>::r2r(1, &dim, isComplex ? 3 : 2, loops, state->in.data(), state->plain.data(), &kind,
                             config.planFlags);
  });
  fillRandom(state->in.data(), values, 10 + Kind);

  Workload workload;
  workload.shape = shapeText({d0, n, d2}) + (isComplex ? " complex" : "");
  workload.threads = config.threads;
  workload.points = static_cast<double>(n);
  workload.epsilon = std::numeric_limits<T>::epsilon();
  const fftwContext context(static_cast<u64>(config.threads), config.planFlags, fftwContext::EMBED_COMPACT,
                            false);
  workload.runOurs = [state, context, d0, n, d2, direction, isComplex] {
    tessel_fft::quillDCST1D<T, Kind>(context, &state->cache, state->in.data(), state->ours.data(), d0, n, n,
                                     d0 * d2, direction, isComplex);
  };
  workload.plainSides = {plainSide(state, values, [state, values, n, direction] {
    state->plan.execute();
    if (direction == 1) {
      const T factor = T(1) / static_cast<T>(logicalSize(Kind, n));
      T* out = state->plain.data();
      for (u64 i = 0; i < values; ++i) out[i] *= factor;
    }
  })};
  return workload;
}

// FFTW's REDFT10 is 2 sum x cos(...): the orthonormal transform divides coefficient 0 of each dimension
// by sqrt(4 n) and the others by sqrt(2 n). Per dimension a table of these reciprocals.
template <typename T>
std::vector<std::vector<T>> orthonormalFactors(const std::vector<u64>& extents) {
  std::vector<std::vector<T>> factors;
  for (const u64 extent : extents) {
    std::vector<T> table(extent, T(1) / std::sqrt(static_cast<T>(2 * extent)));
    table[0] = T(1) / std::sqrt(static_cast<T>(4 * extent));
    factors.push_back(std::move(table));
  }
  return factors;
}

// Multiplies an unnormalised N-D REDFT10 result by the factors: contiguous lines along dimension 0,
// each with the product of the other dimensions' factors.
template <typename T>
void scaleOrthonormal(T* out, const std::vector<std::vector<T>>& factors, const std::vector<u64>& extents,
                      u64 values) {
  const u64 lineLength = extents[0];
  std::vector<u64> index(extents.size(), 0);
  for (u64 line = 0; line < values / lineLength; ++line) {
    T outer = 1;
    for (std::size_t d = 1; d < extents.size(); ++d) outer *= factors[d][index[d]];
    T* data = out + line * lineLength;
    for (u64 i = 0; i < lineLength; ++i) data[i] *= outer * factors[0][i];
    for (std::size_t d = 1; d < extents.size() && ++index[d] == extents[d]; ++d) index[d] = 0;
  }
}

// The orthonormal DCT-II over all dimensions of a column-major array of `extents`, on one thread, since
// dctIIND runs FFTW on one thread. It plans by estimate in every call, so the first plain side does the
// same: a rank-N r2r plan by FFTW_ESTIMATE made, executed and destroyed in every call. The second is a
// plan made once before timing with the suite's flags (measured in a standard run), which dctIIND can
// never use.
//
// `hosted` runs instead the overload with a context of the suite's threads and flags and a host cache,
// beside the plan made once with the same threads.
template <typename T>
Workload orthonormalDct(const SuiteConfig& config, const std::vector<u64>& extents, bool hosted) {
  struct State {
    explicit State(std::size_t values) : in(values), ours(values), plain(values), perCall(values) {}
    AlignedArray<T> in, ours, plain, perCall;
    tessel_fft::sharedDCSTPlanCache<T, 1> cache;
    PlainPlan<T> plan;
    std::vector<fftw_iodim64> dims;
    std::vector<fftw_r2r_kind> kinds;
    std::vector<std::vector<T>> factors;
  };
  u64 values = 1;
  for (const u64 extent : extents) values *= extent;
  auto state = std::make_shared<State>(values);

  // FFTW counts dimensions row-major: the contiguous one last.
  u64 stride = values;
  for (auto extent = extents.rbegin(); extent != extents.rend(); ++extent) {
    stride /= *extent;
    state->dims.push_back(iodim(*extent, stride, stride));
  }
  state->kinds.assign(extents.size(), FFTW_REDFT10);
  state->factors = orthonormalFactors<T>(extents);
  const int threads = hosted ? config.threads : 1;
  const auto planInto = [state](T* out, unsigned flags, int threads) {
    return makePlainPlan<T>(threads, [&] {
      return PlainFftw<T>::r2r(static_cast<int>(state->dims.size()), state->dims.data(), 0, nullptr,
                               state->in.data(), out, state->kinds.data(), flags);
    });
  };
  // Under dctIIND's own conditions nothing has been measured for this problem: FFTW's estimate planner
  // would otherwise reuse what a measuring planner learnt before (here the plan made once, or the
  // strided cases' chunk plans), on either side. So neither leaves its wisdom behind.
  // With wisdom imported for the run, both sides keep it: that is what it is imported for.
  if (config.wisdomPath.empty()) PlainFftw<T>::forgetWisdom();
  state->plan = planInto(state->plain.data(), config.planFlags, threads);
  if (config.wisdomPath.empty()) PlainFftw<T>::forgetWisdom();
  fillRandom(state->in.data(), values, 20 + extents.size());

  Workload workload;
  workload.shape = shapeText(extents);
  workload.threads = threads;
  workload.points = static_cast<double>(values);
  workload.epsilon = std::numeric_limits<T>::epsilon();
  workload.runOurs = [state, extents] {
    tessel_fft::dctIIND<T>(state->in.data(), state->ours.data(), extents.data(), extents.size(), true);
  };
  if (hosted) {
    const fftwContext context(static_cast<u64>(threads), config.planFlags, fftwContext::EMBED_COMPACT, false);
    workload.runOurs = [state, extents, context] {
      tessel_fft::dctIIND<T>(context, &state->cache, state->in.data(), state->ours.data(), extents.data(),
                             extents.size(), true);
    };
  }
  PlainSide perCall{
      "estimate per call",
      [state, planInto, extents, values] {
        planInto(state->perCall.data(), FFTW_ESTIMATE, 1).execute();
        scaleOrthonormal(state->perCall.data(), state->factors, extents, values);
      },
      [state, values] { return relativeL2(state->ours.data(), state->perCall.data(), values); }};
  PlainSide once = plainSide(state, values, [state, extents, values] {
    state->plan.execute();
    scaleOrthonormal(state->plain.data(), state->factors, extents, values);
  });
  once.label = config.planFlags == FFTW_MEASURE ? "measured plan" : "plan made once";
  workload.plainSides = {std::move(perCall), std::move(once)};
  if (hosted) workload.plainSides.erase(workload.plainSides.begin());
  return workload;
}

// Kind is a template argument of the library's entry: a table of the eight instantiations per precision.
template <typename T, std::size_t... Kinds>
Workload stridedDcstOf(const SuiteConfig& config, const StridedProblem& p, std::index_sequence<Kinds...>) {
  using Builder = Workload (*)(const SuiteConfig&, const StridedProblem&);
  constexpr Builder builders[] = {&stridedDcst<T, static_cast<int>(Kinds)>...};
  return builders[p.dcstKind](config, p);
}

}  // namespace

Workload stridedDcstWorkload(const SuiteConfig& config, const StridedProblem& problem) {
  const auto kinds = std::make_index_sequence<8>();
  return problem.singlePrecision ? stridedDcstOf<float>(config, problem, kinds)
                                 : stridedDcstOf<double>(config, problem, kinds);
}

Workload orthonormalDctWorkload(const SuiteConfig& config, const std::vector<std::uint64_t>& extents,
                                bool hosted) {
  return orthonormalDct<double>(config, extents, hosted);
}

}  // namespace tessel_bench
