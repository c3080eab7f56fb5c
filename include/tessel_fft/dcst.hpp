#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// Real-to-real transforms along one dimension of a column-major array, FFTW's conventions:
// Kind 0..3 DCT-I..IV (REDFT00, REDFT10, REDFT01, REDFT11), 4..7 DST-I..IV (RODFT00, 10, 01, 11).
// With `isComplex` the arrays hold interleaved complex T and the real and imaginary parts are
// transformed independently; stride, n, inputLength and numVectors then count complex elements.
// Input vectors of `inputLength` are zero padded or cut to n. `direction` 1 divides the result by the
// kind's logical size (2n-2 for DCT-I, 2n+2 for DST-I, 2n otherwise), which makes a kind followed by
// its inverse kind an identity; any other direction leaves FFTW's unnormalised output. Threads, cache and
// context as for quillFFT1D. n 0 does nothing.
// Throws std::runtime_error("FFTW:nomem") when memory runs out and ("FFTWAssertionFailure") when
// FFTW's internal assertion fires; `out` is then partly written and unscaled, and nothing leaks. DCT-I
// of n 1 has no logical size and FFTW no plan for it: the call throws ("FFTWAssertionFailure") before
// anything is transformed.
template <typename T, int Kind>
TESSEL_FFT_API void quillDCST1D(fftwContext context, dcstPlanCacheInterface<T, Kind>* cache, const T* in,
                                T* out, std::uint64_t stride, std::uint64_t n, std::uint64_t inputLength,
                                std::uint64_t numVectors, int direction, bool isComplex);

}  // namespace tessel_fft
