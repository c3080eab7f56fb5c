// The eight cosine/sine kinds: FFTW's r2r kind and the divisor of an inverse call.
#pragma once

#include <fftw3.h>

#include <cstdint>

namespace tessel_fft {

// FFTW's r2r kind of a DCST Kind: 0..3 DCT-I..IV, 4..7 DST-I..IV. The II/III order of the Kinds is
// the library's own, so the FFTW values run 3, 5, 4, 6 and 7, 9, 8, 10.
template <int Kind>
constexpr fftw_r2r_kind dcstFftwKind() {
  static_assert(Kind >= 0 && Kind < 8, "DCST Kind is 0..7");
  constexpr fftw_r2r_kind kinds[8] = {FFTW_REDFT00, FFTW_REDFT10, FFTW_REDFT01, FFTW_REDFT11,
                                      FFTW_RODFT00, FFTW_RODFT10, FFTW_RODFT01, FFTW_RODFT11};
  return kinds[Kind];
}

// The logical size N of a kind of length n: the kind followed by its inverse kind multiplies by N.
// Unsigned arithmetic with no guard, so DCT-I of length 1 gives 0.
template <int Kind>
constexpr std::uint64_t dcstDivisor(std::uint64_t n) {
  if constexpr (Kind == 0) return 2 * n - 2;
  if constexpr (Kind == 4) return 2 * n + 2;
  return 2 * n;
}

}  // namespace tessel_fft

// X(T, Kind) for each precision and each of the eight kinds, for the lists of instantiations.
#define TESSEL_FOR_EACH_DCST_KIND(X, T) X(T, 0) X(T, 1) X(T, 2) X(T, 3) X(T, 4) X(T, 5) X(T, 6) X(T, 7)
#define TESSEL_FOR_EACH_DCST_TYPE(X) TESSEL_FOR_EACH_DCST_KIND(X, float) TESSEL_FOR_EACH_DCST_KIND(X, double)
