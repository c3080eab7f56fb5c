#include "fft/scale_inverse_fft.hpp"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include "backend/precision.hpp"

namespace tessel_fft {

namespace {

// A complex element is two adjacent reals divided by the same divisor, so the loop runs over reals and
// stays a plain vectorisable division.
template <typename T>
void divideRange(T* first, T* last, typename RealOf<T>::type divisor) {
  using Real = typename RealOf<T>::type;
  constexpr std::size_t realsPerElement = sizeof(T) / sizeof(Real);
  Real* reals = reinterpret_cast<Real*>(first);
  const std::size_t realCount = static_cast<std::size_t>(last - first) * realsPerElement;
  for (std::size_t i = 0; i < realCount; ++i) reals[i] /= divisor;
}

}  // namespace

template <typename T>
void scaleInverseFFT(T* data, std::size_t n, std::size_t count, bool threaded) {
  using Real = typename RealOf<T>::type;
  // Two scheduler round trips cost about what dividing 8192 elements does.
  constexpr std::size_t parallelAbove = 8192;
  constexpr std::size_t grain = 4096;
  const Real divisor = static_cast<Real>(n);
  if (count > parallelAbove && threaded) {
    tbb::parallel_for(
        tbb::blocked_range<T*>(data, data + count, grain),
        [divisor](const tbb::blocked_range<T*>& range) { divideRange(range.begin(), range.end(), divisor); },
        tbb::auto_partitioner());
    return;
  }
  divideRange(data, data + count, divisor);
}

template void scaleInverseFFT<float>(float*, std::size_t, std::size_t, bool);
template void scaleInverseFFT<double>(double*, std::size_t, std::size_t, bool);
template void scaleInverseFFT<std::complex<float>>(std::complex<float>*, std::size_t, std::size_t, bool);
template void scaleInverseFFT<std::complex<double>>(std::complex<double>*, std::size_t, std::size_t, bool);

}  // namespace tessel_fft
