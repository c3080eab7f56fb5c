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
// place; it needs a context with EMBED_FULL_LENGTH when howmany is above 1. c2r treats its input as
// destroyed. No scaling: FFTW_BACKWARD results are unnormalised. `planOnly` gets (and caches) the plan
// without transforming. n or howmany 0 does nothing. `in == out` means in place.
template <typename T, int Kind>
TESSEL_FFT_API void interleavedFFT1D(const fftwContext& context,
                                     fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                                     typename interleavedElements<T, Kind>::In* in,
                                     typename interleavedElements<T, Kind>::Out* out, std::uint64_t n,
                                     std::uint64_t howmany, int sign, bool planOnly);

// One n0 x n1 array (n0 contiguous) in FFTW's layout, planned through FFTW's plan_many interface.
// The r2c output is the full two-dimensional Hermitian spectrum (context with EMBED_FULL_LENGTH).
template <typename T, int Kind>
TESSEL_FFT_API void interleavedFFT2D(const fftwContext& context,
                                     fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                                     typename interleavedElements<T, Kind>::In* in,
                                     typename interleavedElements<T, Kind>::Out* out, std::uint64_t n0,
                                     std::uint64_t n1, int sign, bool planOnly);

}  // namespace tessel_fft
