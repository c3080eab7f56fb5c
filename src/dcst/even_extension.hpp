// DCT-I and DST-I of longer vectors through FFTW's real-to-complex FFT of their even or odd extension.
//
// FFTW's own REDFT00 and RODFT00 plans pad to the same 2(n-1) or 2(n+1) points, but run them through its
// real-to-halfcomplex codelets, which it doesn't vectorise; its r2c of that length is vectorised (4096
// points, 82 vectors on a 2-core AMD EPYC, family 26, one thread: 2.4 ms against 4.4 ms for REDFT00; 1009
// points: 0.61 against 0.94 ms). The extension is built in the vector's own scratch, where the walk
// leaves room for the spectrum, and the result is the spectrum's real parts (DCT-I) or its imaginary
// parts negated (DST-I), one place further on.
#pragma once

#include <cstddef>
#include <cstdint>

#include "backend/precision.hpp"
#include "families.hpp"

namespace tessel_fft {

// Shorter vectors stay with FFTW's r2r plans.
inline constexpr std::uint64_t kExtensionMinLength = 64;

// Whether Kind (0..3 DCT-I..IV, 4..7 DST-I..IV) of length n runs through the FFT of its extension. A pure
// function of the plan key's kind and length: the host's cache holds that plan under the same key.
template <int Kind>
constexpr bool extensionServes(std::uint64_t n) {
  return Kind % 4 == 0 && n >= kExtensionMinLength;
}

// The points of the extension: the kind's logical size, 2(n-1) or 2(n+1).
template <int Kind>
constexpr std::uint64_t extensionLength(std::uint64_t n) {
  return DCSTPlans::divisor<Kind>(n);
}

// Places per vector in scratch, on both sides of the plan: the r2c's output of extensionLength / 2 + 1
// complex points, in whole 16-byte units of floats as of doubles.
template <int Kind>
constexpr std::uint64_t extensionPitch(std::uint64_t n) {
  return (extensionLength<Kind>(n) + 2 + 3) / 4 * 4;
}

// One unit of the road: `count` vectors of Kind, n points each, extensionPitch apart in `in` and `out`.
// `plan` is the r2c of extensionLength points over `count` vectors from `in` to `out`, made out of place.
// `in` is used as scratch: it holds neither input nor output afterwards.
template <typename R, int Kind>
void runExtension(fftwPlan<R> plan, R* in, R* out, std::size_t n, std::size_t count);

}  // namespace tessel_fft
