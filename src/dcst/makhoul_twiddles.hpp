// The twiddles of DCT-II and DCT-III through Makhoul's reordering, for the half-length road and the N-D
// passes that pair two vectors.
#pragma once

#include <complex>
#include <cstdint>

namespace tessel_fft {

inline constexpr long double kPi = 3.141592653589793238462643383279502884L;

// e^(-i pi k / 2n) in long double: output k of a DCT-II of length n is the real part of this times bin k
// of the FFT of the reordered input; DCT-III multiplies by its conjugate. Every other angle of the roads
// is one of these at another k or n (e^(-2 pi i k / n) is makhoulTwiddle(4k, n)), so that all of them
// round alike.
inline std::complex<long double> makhoulTwiddle(std::uint64_t k, std::uint64_t n) {
  return std::polar(1.0L, -kPi * static_cast<long double>(k) / (2 * static_cast<long double>(n)));
}

}  // namespace tessel_fft
