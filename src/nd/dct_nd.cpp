// The N-D DCT-II and its inverse, one dimension at a time through the cosine/sine driver.
#include "tessel_fft/dct_nd.hpp"

#include <cmath>
#include <complex>
#include <cstdint>

#include "dcst/dcst_batch.hpp"
#include "nd/dcst_single_plan.hpp"
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
// to `out` (which may be the same array): DCT-II for `direction` -1, its inverse (DCT-III divided by
// 2n, or orthonormal) otherwise. Plans by estimate on one thread, through a cache of its own that
// dies with this step together with every plan of the step.
template <typename E>
void dctIIStep(const E* src, E* out, std::uint64_t total, std::uint64_t stride, std::uint64_t n,
               int direction, bool orthonormal, bool lastDimension) {
  using Parts = ElementParts<E>;
  using R = typename Parts::Real;
  // Constants: no N-D call measures, runs FFTW threads or goes pooled.
  fftwContext context(1, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, true);
  const BatchShape shape{stride, n, n, total / n};
  const EdgeDivisors<R> divisors = orthonormalDivisors<R>(n, direction);
  const DCSTPass<R> pass{orthonormal ? &divisors : nullptr, !lastDimension};
  if (direction == 1) {
    // The prescaled input makes REDFT01 the orthonormal inverse; no division by 2n follows.
    dcstSinglePlan<R, kDCTIII> cache;
    runDCSTBatch<R, kDCTIII>(context, &cache, Parts::real(src), Parts::real(out), shape,
                             orthonormal ? -1 : direction, Parts::isComplex, pass);
  } else {
    dcstSinglePlan<R, kDCTII> cache;
    runDCSTBatch<R, kDCTII>(context, &cache, Parts::real(src), Parts::real(out), shape, direction,
                            Parts::isComplex, pass);
  }
}

// Every dimension in ascending order, for both directions: the first reads `in`, the others work on
// `out` in place.
template <typename E>
void dctIIAllDimensions(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, int direction,
                        bool orthonormal) {
  std::uint64_t total = 1;
  for (std::uint64_t d = 0; d < ndims; ++d) total *= dims[d];
  if (ndims != 0 && total == 0) return;
  std::uint64_t stride = 1;
  const E* src = in;
  for (std::uint64_t d = 0; d < ndims; ++d) {
    dctIIStep(src, out, total, stride, dims[d], direction, orthonormal, d + 1 == ndims);
    stride *= dims[d];
    src = out;
  }
}

}  // namespace

template <typename E>
void dctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  dctIIAllDimensions(in, out, dims, ndims, -1, orthonormal);
}

template <typename E>
void idctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  dctIIAllDimensions(in, out, dims, ndims, 1, orthonormal);
}

#define TESSEL_DCT_ND(E)                                   \
  template TESSEL_FFT_API decltype(dctIIND<E>) dctIIND<E>; \
  template TESSEL_FFT_API decltype(idctIIND<E>) idctIIND<E>;

TESSEL_DCT_ND(float)
TESSEL_DCT_ND(double)
TESSEL_DCT_ND(std::complex<float>)
TESSEL_DCT_ND(std::complex<double>)

}  // namespace tessel_fft
