// Division of transformed data by a size or a factor, serial or over tasks.
#include "batch/scale_inverse.hpp"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <cmath>

#include "backend/precision.hpp"
#include "buffering/variants.hpp"

namespace tessel_fft {

// Dividing by a power of two and multiplying by its reciprocal, which is then exact, round the same exact
// value once: the results are the same bits, and the product is several times cheaper.
template <typename Real>
void divideAll(Real* first, std::size_t count, Real divisor) {
  int exponent = 0;
  if (std::frexp(divisor, &exponent) == Real(0.5)) {
    buffering::kernels<Real>().multiply(first, count, std::ldexp(Real(1), 1 - exponent));
  } else {
    buffering::kernels<Real>().divide(first, count, divisor);
  }
}

template <typename E>
void scaleInverse(E* data, std::uint64_t divisor, std::size_t count, bool threaded) {
  using Real = typename ElementParts<E>::Real;
  // Two scheduler round trips cost about what dividing this many elements does.
  constexpr std::size_t kParallelAbove = 8192;
  constexpr std::size_t kRealsPerTask = 4096;
  // A complex element is two adjacent reals divided by the same divisor.
  Real* reals = ElementParts<E>::real(data);
  const std::size_t realCount = count * (sizeof(E) / sizeof(Real));
  const auto realDivisor = static_cast<Real>(divisor);
  if (count > kParallelAbove && threaded) {
    tbb::parallel_for(
        tbb::blocked_range<std::size_t>(0, realCount, kRealsPerTask),
        [=](const tbb::blocked_range<std::size_t>& range) {
          divideAll(reals + range.begin(), range.size(), realDivisor);
        },
        tbb::auto_partitioner());
    return;
  }
  divideAll(reals, realCount, realDivisor);
}

#define TESSEL_DIVIDE_ALL(R) template decltype(divideAll<R>) divideAll<R>;
#define TESSEL_SCALE_INVERSE(E) template decltype(scaleInverse<E>) scaleInverse<E>;
TESSEL_FOR_EACH_REAL(TESSEL_DIVIDE_ALL)
TESSEL_FOR_EACH_ELEMENT(TESSEL_SCALE_INVERSE)

}  // namespace tessel_fft
