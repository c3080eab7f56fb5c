#include "tessel_fft/dct_nd.hpp"

#include <complex>
#include <cstdint>

#include "nd/apply_scaling.hpp"
#include "nd/dcst_single_plan.hpp"
#include "tessel_fft/dcst.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

namespace {

// The real component type of an element and whether the element is complex.
template <typename E>
struct ElementParts {
  using Real = E;
  static constexpr bool isComplex = false;
  static const Real* real(const E* p) { return p; }
  static Real* real(E* p) { return p; }
};
template <typename R>
struct ElementParts<std::complex<R>> {
  using Real = R;
  static constexpr bool isComplex = true;
  static const Real* real(const std::complex<R>* p) { return reinterpret_cast<const R*>(p); }
  static Real* real(std::complex<R>* p) { return reinterpret_cast<R*>(p); }
};

constexpr int kDCTII = 1;
constexpr int kDCTIII = 2;

// One dimension of extent n at element distance `stride` of an array of `total` elements, from `src`
// to `out` (which may be the same array): DCT-II for `direction` -1, its inverse (DCT-III divided by
// 2n, or orthonormal) otherwise. Plans by estimate on one thread, through a cache of its own that
// dies with this step together with every plan of the step.
template <typename E>
void dctIIStep(const E* src, E* out, std::uint64_t total, std::uint64_t stride, std::uint64_t n,
               int direction, bool orthonormal) {
  using Parts = ElementParts<E>;
  using R = typename Parts::Real;
  // Constants: no N-D call measures, runs FFTW threads or goes pooled.
  fftwContext context(1, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, true);
  context.setChunkSize(4);
  const std::uint64_t numVectors = total / n;
  if (direction == 1) {
    int handedDirection = direction;
    if (orthonormal) {
      apply_scaling(out, src, stride, total, n, 1);
      src = out;
      // The prescaled input makes REDFT01 the orthonormal inverse; no division follows.
      handedDirection = -1;
    }
    dcstSinglePlan<R, kDCTIII> cache;
    quillDCST1D<R, kDCTIII>(context, &cache, Parts::real(src), Parts::real(out), stride, n, n, numVectors,
                            handedDirection, Parts::isComplex);
    return;
  }
  dcstSinglePlan<R, kDCTII> cache;
  quillDCST1D<R, kDCTII>(context, &cache, Parts::real(src), Parts::real(out), stride, n, n, numVectors,
                         direction, Parts::isComplex);
  if (orthonormal) apply_scaling(out, out, stride, total, n, direction);
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
    dctIIStep(src, out, total, stride, dims[d], direction, orthonormal);
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

template TESSEL_FFT_API void dctIIND<float>(const float*, float*, const std::uint64_t*, std::uint64_t, bool);
template TESSEL_FFT_API void dctIIND<double>(const double*, double*, const std::uint64_t*, std::uint64_t,
                                             bool);
template TESSEL_FFT_API void dctIIND<std::complex<float>>(const std::complex<float>*, std::complex<float>*,
                                                          const std::uint64_t*, std::uint64_t, bool);
template TESSEL_FFT_API void dctIIND<std::complex<double>>(const std::complex<double>*, std::complex<double>*,
                                                           const std::uint64_t*, std::uint64_t, bool);
template TESSEL_FFT_API void idctIIND<float>(const float*, float*, const std::uint64_t*, std::uint64_t, bool);
template TESSEL_FFT_API void idctIIND<double>(const double*, double*, const std::uint64_t*, std::uint64_t,
                                              bool);
template TESSEL_FFT_API void idctIIND<std::complex<float>>(const std::complex<float>*, std::complex<float>*,
                                                           const std::uint64_t*, std::uint64_t, bool);
template TESSEL_FFT_API void idctIIND<std::complex<double>>(const std::complex<double>*,
                                                            std::complex<double>*, const std::uint64_t*,
                                                            std::uint64_t, bool);

}  // namespace tessel_fft
