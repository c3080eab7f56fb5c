// The N-D DCT-II and its inverse, one dimension at a time: through the cosine/sine batch under a host's
// context, without one through complex FFTs of vector pairs.
#include "tessel_fft/dct_nd.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <optional>

#include "backend/precision.hpp"
#include "batch/executor.hpp"
#include "batch/policy.hpp"
#include "dcst/dcst_batch.hpp"
#include "dcst/paired_dct.hpp"
#include "plans/step_plan_cache.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

namespace {

constexpr int kDCTII = 1;
constexpr int kDCTIII = 2;

// The orthonormal factors of one dimension of extent n. FFTW's REDFT10 is 2 sum x cos(...), so the
// orthonormal DCT-II divides coefficient 0 by sqrt(4n) and the others by sqrt(2n), after the transform.
// REDFT01 weighs its first input by 1 and the others by 2, so dividing its input by sqrt(n) and sqrt(2n)
// before the transform makes it the inverse of that, with no further division. The products are formed
// in 64 bits and only then converted, so float factors are single precision.
template <typename R>
EdgeDivisors<R> orthonormalDivisors(std::uint64_t n, int direction) {
  const bool forward = direction == -1;
  return {std::sqrt(static_cast<R>(forward ? 4 * n : n)), std::sqrt(static_cast<R>(2 * n)), !forward};
}

// One dimension of extent n at element distance `stride` of an array of `total` elements, from `src`
// to `out` (which may be the same array): DCT-II (Kind 1, `direction` -1) or its inverse (Kind 2,
// DCT-III divided by 2n, or orthonormal), as quillDCST1D runs it under a host's `context` and `cache`,
// with the orthonormal divisions folded into its runs.
template <int Kind, typename E>
void dctIIStep(fftwContext context, dcstPlanCacheInterface<ndReal<E>, Kind>* cache, const E* src, E* out,
               std::uint64_t total, std::uint64_t stride, std::uint64_t n, bool orthonormal,
               bool lastDimension) {
  using Parts = ElementParts<E>;
  using R = typename Parts::Real;
  constexpr int direction = Kind == kDCTII ? -1 : 1;
  const BatchShape shape{stride, n, n, total / n};
  const EdgeDivisors<R> divisors = orthonormalDivisors<R>(n, direction);
  const DCSTPass<R> pass{orthonormal ? &divisors : nullptr, !lastDimension};
  // The prescaled input makes REDFT01 the orthonormal inverse; no division by 2n follows.
  runDCSTBatch<R, Kind>(context, cache, Parts::real(src), Parts::real(out), shape,
                        orthonormal ? -1 : direction, Parts::isComplex, pass);
}

// The leading dimensions whose slabs take at most this much run slab by slab, so that a slab stays
// in the outer caches from one of them to the next.
inline constexpr std::uint64_t kCachedSlabBytes = 512 * 1024;
inline constexpr std::uint64_t kMaxSlabDimensions = 4;

// Without a host context: each dimension plans by estimate on one thread, and its plans die with the
// call.
template <int Kind, typename E>
void pairedAllDimensions(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                         std::uint64_t total, bool orthonormal) {
  using Parts = ElementParts<E>;
  using R = ndReal<E>;
  std::uint64_t leading = 0, slabElements = 1;
  while (leading < std::min(ndims, kMaxSlabDimensions) &&
         slabElements * dims[leading] * sizeof(E) <= kCachedSlabBytes)
    slabElements *= dims[leading++];
  if (leading < 2) leading = 0, slabElements = 1;
  if (leading != 0) {
    std::optional<nd_detail::PairedDctPass<R>> passes[kMaxSlabDimensions];
    for (std::uint64_t d = 0; d < leading; ++d) passes[d].emplace(dims[d], Kind == kDCTIII, orthonormal);
    // A step is one slab through all the leading dimensions.
    runSteps({false, 1, false}, total / slabElements, [&](std::size_t firstSlab, std::size_t lastSlab) {
      for (std::size_t slab = firstSlab; slab < lastSlab; ++slab) {
        const std::uint64_t start = slab * slabElements;
        std::uint64_t stride = 1;
        for (std::uint64_t d = 0; d < leading; ++d) {
          passes[d]->run(Parts::real(d == 0 ? in + start : out + start), Parts::real(out + start),
                         slabElements, stride, Parts::isComplex);
          stride *= dims[d];
        }
      }
    });
  }
  std::uint64_t stride = slabElements;
  for (std::uint64_t d = leading; d < ndims; ++d) {
    nd_detail::PairedDctPass<R> pass(dims[d], Kind == kDCTIII, orthonormal);
    pass.run(Parts::real(d == 0 ? in : out), Parts::real(out), total, stride, Parts::isComplex);
    stride *= dims[d];
  }
}

// Every dimension in ascending order, for both directions: the first reads `in`, the others work on
// `out` in place.
template <int Kind, typename E>
void dctIIAllDimensions(const fftwContext* hostContext, dcstPlanCacheInterface<ndReal<E>, Kind>* hostCache,
                        const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                        bool orthonormal) {
  std::uint64_t total = 1;
  for (std::uint64_t d = 0; d < ndims; ++d) total *= dims[d];
  if (ndims != 0 && total == 0) return;
  if (hostContext == nullptr) return pairedAllDimensions<Kind>(in, out, dims, ndims, total, orthonormal);
  const fftwContext& context = *hostContext;
  std::uint64_t stride = 1, leading = 0;
  const E* src = in;
  // The leading dimensions slab by slab, as the N-D FFTs run theirs.
  while (leading + 1 < ndims && stride * dims[leading] * sizeof(E) <= kNDSlabBytes) stride *= dims[leading++];
  const std::size_t steps = leading >= 2 ? slabStepsOf(total / stride, stride * sizeof(E)) : 0;
  if (steps == 0) {
    leading = 0;
    stride = 1;
  } else {
    const std::uint64_t stepElements = total / steps;
    fftwContext stepContext = context;
    stepContext.setNumThreads(1);
    // The first step runs here, where the host's cache may be asked; the others reuse its plans.
    StepPlanCache<dcstPlanCacheInterface<ndReal<E>, Kind>> stepCache(hostCache);
    runStepsAfterFirst(
        slabStepSpread(context.getNumThreads(), steps, stepElements, total * sizeof(E)), steps,
        [&](std::size_t step) {
          const std::uint64_t offset = step * stepElements;
          std::uint64_t slabStride = 1;
          for (std::uint64_t d = 0; d < leading; ++d) {
            dctIIStep<Kind>(stepContext, &stepCache, (d == 0 ? in : out) + offset, out + offset, stepElements,
                            slabStride, dims[d], orthonormal, false);
            slabStride *= dims[d];
          }
        },
        [&] { stepCache.seal(); });
    src = out;
  }
  for (std::uint64_t d = leading; d < ndims; ++d) {
    dctIIStep<Kind>(context, hostCache, src, out, total, stride, dims[d], orthonormal, d + 1 == ndims);
    stride *= dims[d];
    src = out;
  }
}

}  // namespace

template <typename E>
void dctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  dctIIAllDimensions<kDCTII, E>(nullptr, nullptr, in, out, dims, ndims, orthonormal);
}

template <typename E>
void idctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  dctIIAllDimensions<kDCTIII, E>(nullptr, nullptr, in, out, dims, ndims, orthonormal);
}

template <typename E>
void dctIIND(fftwContext context, dcstPlanCacheInterface<ndReal<E>, kDCTII>* cache, const E* in, E* out,
             const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  dctIIAllDimensions<kDCTII>(&context, cache, in, out, dims, ndims, orthonormal);
}

template <typename E>
void idctIIND(fftwContext context, dcstPlanCacheInterface<ndReal<E>, kDCTIII>* cache, const E* in, E* out,
              const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  dctIIAllDimensions<kDCTIII>(&context, cache, in, out, dims, ndims, orthonormal);
}

// Each name has two overloads, without and with a host context, so decltype can't name them.
#define TESSEL_DCT_ND(E)                                                                                     \
  template TESSEL_FFT_API void dctIIND<E>(const E*, E*, const std::uint64_t*, std::uint64_t, bool);          \
  template TESSEL_FFT_API void idctIIND<E>(const E*, E*, const std::uint64_t*, std::uint64_t, bool);         \
  template TESSEL_FFT_API void dctIIND<E>(fftwContext, dcstPlanCacheInterface<ndReal<E>, kDCTII>*, const E*, \
                                          E*, const std::uint64_t*, std::uint64_t, bool);                    \
  template TESSEL_FFT_API void idctIIND<E>(fftwContext, dcstPlanCacheInterface<ndReal<E>, kDCTIII>*,         \
                                           const E*, E*, const std::uint64_t*, std::uint64_t, bool);

TESSEL_FOR_EACH_ELEMENT(TESSEL_DCT_ND)

}  // namespace tessel_fft
