// The extension road of DCT-I and DST-I: the extension before the FFT, and the result taken from its
// spectrum after it.
#include "dcst/even_extension.hpp"

#include "families.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

template <typename R, int Kind>
void runExtension(fftwPlan<R> plan, R* in, R* out, std::size_t n, std::size_t count) {
  static_assert(Kind % 4 == 0, "only DCT-I and DST-I extend their input");
  const std::size_t pitch = extensionPitch<Kind>(n), length = extensionLength<Kind>(n);
  for (R* x = in; x != in + count * pitch; x += pitch) {
    if constexpr (Kind == 0) {
      // x_0 ... x_(n-1), then x_(n-2) down to x_1.
      for (std::size_t j = n; j < length; ++j) x[j] = x[length - j];
    } else {
      // 0, x_0 ... x_(n-1), 0, then -x_(n-1) down to -x_0: the input moves one place on first.
      for (std::size_t j = n; j-- > 0;) x[j + 1] = x[j];
      x[0] = 0;
      x[n + 1] = 0;
      for (std::size_t j = n + 2; j < length; ++j) x[j] = -x[length - j];
    }
  }
  fftwApi::getInstance().execute(plan, in, reinterpret_cast<fftwComplex<R>*>(out));
  // Element k of the result reads element 2k or 2k + 3 of the spectrum's parts, never one already written.
  for (R* y = out; y != out + count * pitch; y += pitch) {
    for (std::size_t k = 0; k < n; ++k) y[k] = Kind == 0 ? y[2 * k] : -y[2 * k + 3];
  }
}

#define TESSEL_EXTENSION(R)                                 \
  template decltype(runExtension<R, 0>) runExtension<R, 0>; \
  template decltype(runExtension<R, 4>) runExtension<R, 4>;
TESSEL_FOR_EACH_REAL(TESSEL_EXTENSION)

}  // namespace tessel_fft
