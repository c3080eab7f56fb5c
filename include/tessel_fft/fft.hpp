#pragma once

#include <complex>
#include <cstdint>

#include "tessel_fft/export.hpp"
#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// Transforms every vector along one dimension of a column-major array. `stride` is the product of the
// extents before the transformed dimension; `numVectors` the number of vectors in all. The input has
// `inputLength` elements per vector, zero padded or cut to what the transform reads: fftLength elements
// for r2c and c2c, and for c2r the one-sided spectrum of fftLength/2+1 complex elements, the rest of a
// longer input vector being ignored. The output has `fftLength` elements per vector (a full Hermitian
// spectrum for r2c). `sign` reaches FFTW for c2c only: r2c always computes FFTW's forward transform and
// c2r its backward one. For every kind FFTW_BACKWARD (+1) divides the output by fftLength, so r2c with +1
// is the forward transform scaled by 1/n; the sign also separates cache entries. The input is never
// written and needs no alignment; the context is taken by value and the caller's stays as it was. With
// numThreads_ above 1 a large batch is spread over oneTBB tasks, and a single vector of 65536 points or
// more gets FFTW's threads. `cache` may be null; it is called on the calling thread only. fftLength 0
// does nothing.
// Throws std::runtime_error("FFTW:nomem") when memory runs out and ("FFTWAssertionFailure") when
// FFTW's internal assertion fires; `out` is then partly written and unscaled, and nothing leaks.
template <typename T, int Kind>
TESSEL_FFT_API void quillFFT1D(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                               const typename fftElements<T, Kind>::In* in,
                               typename fftElements<T, Kind>::Out* out, std::uint64_t stride,
                               std::uint64_t fftLength, std::uint64_t inputLength, std::uint64_t numVectors,
                               int sign);

// The same call as quillFFT1D, kept for hosts written against it: results, plan keys, cache calls,
// scaling and exceptions are quillFFT1D's. quillFFT1D itself lets FFTW write straight into `out` where
// the output is contiguous (stride 1), every vector lies on a 16-byte border, and that is the faster way;
// elsewhere the output goes through scratch.
template <typename T, int Kind>
TESSEL_FFT_API void quillFFT1DNoCopy(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                                     const typename fftElements<T, Kind>::In* in,
                                     typename fftElements<T, Kind>::Out* out, std::uint64_t stride,
                                     std::uint64_t fftLength, std::uint64_t inputLength,
                                     std::uint64_t numVectors, int sign);

// quillFFT1D of kind r2c that keeps the spectrum one-sided: each output vector holds the fftLength/2+1
// non-negative frequencies (the rest follow by Hermitian symmetry), as FFTW's own r2c writes them and
// quillFFT1D<T, c2r> reads them. Plan keys and cache calls are quillFFT1D<T, r2c>'s, so one cache serves
// both; arguments, scaling, threads and exceptions as there.
template <typename T>
TESSEL_FFT_API void quillRFFT1D(fftwContext context, fftwPlanCacheInterface<T, r2c, fftwPlanKey>* cache,
                                const T* in, std::complex<T>* out, std::uint64_t stride,
                                std::uint64_t fftLength, std::uint64_t inputLength, std::uint64_t numVectors,
                                int sign);

}  // namespace tessel_fft
