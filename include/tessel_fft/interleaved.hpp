#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"
#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// FFTs on FFTW's own interleaved layout: the caller's buffers go to FFTW as they are, `howmany`
// vectors of n elements one after another in one plan. Kind is r2c, c2r or c2c (0, 1, 2); T is float
// or double. An r2c output is the full Hermitian spectrum, n complex values per vector, completed in
// place; it needs a context with EMBED_FULL_LENGTH when howmany is above 1. c2r reads n/2+1 complex
// values per vector, n apart with EMBED_FULL_LENGTH and n/2+1 apart with EMBED_COMPACT, and treats its
// input as destroyed. `sign` reaches FFTW for c2c only (r2c always computes FFTW's forward transform,
// c2r its backward one) but separates cache entries for every kind. No scaling: FFTW_BACKWARD results
// are unnormalised. `planOnly` gets (and caches) the plan without transforming. n or howmany 0 does
// nothing. `in == out` means in place, as far as FFTW accepts it. Runs on the calling thread; FFTW gets
// numThreads_ threads.
// Throws std::runtime_error("FFTW:nomem") when memory runs out and ("FFTWAssertionFailure") when
// FFTW's internal assertion fires; the plan, if the call owns it, is released. FFTW has no plan for an
// in-place r2c or c2r of n 1 with howmany above 1 (in 2-D: n0 1, n1 above 1); such a call throws
// ("FFTWAssertionFailure") before anything is transformed, unless `planOnly`.
template <typename T, int Kind>
TESSEL_FFT_API void interleavedFFT1D(const fftwContext& context,
                                     fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                                     interleavedIn<T, Kind>* in, interleavedOut<T, Kind>* out,
                                     std::uint64_t n, std::uint64_t howmany, int sign, bool planOnly);

// One n0 x n1 array (n0 contiguous) in FFTW's layout, planned through FFTW's plan_many interface.
// The r2c output is the full two-dimensional Hermitian spectrum (context with EMBED_FULL_LENGTH). c2r
// reads n1 rows of n0/2+1 complex values, n0 apart with EMBED_FULL_LENGTH and n0/2+1 apart with
// EMBED_COMPACT. Signs, scaling and exceptions as interleavedFFT1D.
template <typename T, int Kind>
TESSEL_FFT_API void interleavedFFT2D(const fftwContext& context,
                                     fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                                     interleavedIn<T, Kind>* in, interleavedOut<T, Kind>* out,
                                     std::uint64_t n0, std::uint64_t n1, int sign, bool planOnly);

}  // namespace tessel_fft
