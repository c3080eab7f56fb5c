#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"
#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// Transforms every vector along one dimension of a column-major array. `stride` is the product of the
// extents before the transformed dimension; `numVectors` the number of vectors in all. The input has
// `inputLength` elements per vector, zero padded or cut to the transform length `fftLength`; the output
// has `fftLength` elements per vector (a full Hermitian spectrum for r2c). With FFTW_BACKWARD (+1) the
// output is divided by fftLength, for every kind. The input is never written and needs no alignment;
// the context is taken by value and the caller's stays as it was. fftLength 0 does nothing.
template <typename T, int Kind>
TESSEL_FFT_API void quillFFT1D(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                               const typename fftElements<T, Kind>::In* in,
                               typename fftElements<T, Kind>::Out* out, std::uint64_t stride,
                               std::uint64_t fftLength, std::uint64_t inputLength, std::uint64_t numVectors,
                               int sign);

// As quillFFT1D, but FFTW writes straight into `out` when the output is contiguous (stride 1), 16-byte
// aligned and every vector keeps that alignment; otherwise it is a call of quillFFT1D. The previous
// contents of `out` may be used as planner scratch.
template <typename T, int Kind>
TESSEL_FFT_API void quillFFT1DNoCopy(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                                     const typename fftElements<T, Kind>::In* in,
                                     typename fftElements<T, Kind>::Out* out, std::uint64_t stride,
                                     std::uint64_t fftLength, std::uint64_t inputLength,
                                     std::uint64_t numVectors, int sign);

}  // namespace tessel_fft
