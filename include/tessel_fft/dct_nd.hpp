#pragma once

#include <complex>
#include <cstdint>

#include "tessel_fft/export.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The real component type of an N-D element: R for R and for std::complex<R>.
template <typename E>
struct ndRealOf {
  using type = E;
};
template <typename R>
struct ndRealOf<std::complex<R>> {
  using type = R;
};
template <typename E>
using ndReal = typename ndRealOf<E>::type;

// DCT-II over every dimension of a column-major array of extents dims[0..ndims-1] (dims[0] fastest).
// E is float, double, std::complex<float> or std::complex<double>; complex data have their parts
// transformed independently. Unnormalised (FFTW's REDFT10 per dimension) unless `orthonormal`.
// `in` may equal `out`. An empty array, or ndims 0, leaves `out` untouched. It takes no context and no
// cache: every call plans by FFTW_ESTIMATE, dimension by dimension, runs FFTW on the calling thread
// only, and keeps no plan after it returns. Any number of threads may call it at once.
// Throws std::runtime_error("FFTW:nomem") when memory runs out and ("FFTWAssertionFailure") when
// FFTW's internal assertion fires; `out` is then partly written, and nothing leaks.
template <typename E>
TESSEL_FFT_API void dctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                            bool orthonormal);

// The inverse of dctIIND with the same `orthonormal`, under the same conditions.
template <typename E>
TESSEL_FFT_API void idctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                             bool orthonormal);

// dctIIND for hosts that want more: each dimension runs as quillDCST1D runs DCT-II (Kind 1) under
// `context` (threads, plan strategy, chunk size) and `cache`, so a large dimension is spread over oneTBB
// tasks, plans may be measured, and the cache keeps them for the next call (a plan serves every
// dimension of the same extent). The plan keys and cache calls of each dimension are those of
// quillDCST1D with direction -1 (dimension extent as n). The dimensions still run one after another.
// `cache` may be null: plans then live for one dimension. Results, aliasing and exceptions as dctIIND;
// the cache is called on the calling thread only.
template <typename E>
TESSEL_FFT_API void dctIIND(fftwContext context, dcstPlanCacheInterface<ndReal<E>, 1>* cache, const E* in,
                            E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal);

// The inverse of either dctIIND with the same `orthonormal`, with DCT-III (Kind 2) plans from `cache`,
// under `context`, as the dctIIND above. The keys carry direction 1 without `orthonormal` and -1 with
// it, for the orthonormal inverse scales its input and needs no division by 2n.
template <typename E>
TESSEL_FFT_API void idctIIND(fftwContext context, dcstPlanCacheInterface<ndReal<E>, 2>* cache, const E* in,
                             E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal);

}  // namespace tessel_fft
