#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"
#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The host's plan caches of an N-D FFT, one per kind of pass it runs: an r2c call runs an r2c pass and
// c2c passes, a c2r call c2c passes and a c2r pass, a c2c call c2c passes only. Any may be null: plans
// then live for one pass.
template <typename T>
struct fftNDCaches {
  fftwPlanCacheInterface<T, r2c, fftwPlanKey>* realToComplex = nullptr;
  fftwPlanCacheInterface<T, c2r, fftwPlanKey>* complexToReal = nullptr;
  fftwPlanCacheInterface<T, c2c, fftwPlanKey>* complexToComplex = nullptr;
};

// A column-major array of `ndims` dimensions (dimension 0 fastest) and the dimensions to transform.
struct fftNDShape {
  // Per dimension: the transform length on a transformed dimension, the extent elsewhere. The output
  // has these extents, except an r2c output along axes[0], which holds lengths[axes[0]]/2+1.
  const std::uint64_t* lengths;
  // Per dimension: the input's extents. On a transformed dimension the input is cut or zero padded to
  // the length (for c2r along axes[0], to the one-sided lengths[axes[0]]/2+1); elsewhere it must equal
  // the length.
  const std::uint64_t* inputExtents;
  std::uint64_t ndims;
  // The transformed dimensions, each once, in any order; axes[0] carries the one-sided spectrum of r2c
  // and c2r.
  const std::uint64_t* axes;
  std::uint64_t naxes;
};

// The N-D FFT over `shape.axes` of a column-major array: r2c (real input, the one-sided spectrum along
// axes[0], full along the others), c2r (its inverse) or c2c. r2c is always FFTW's forward transform and
// c2r its backward one; `sign` reaches FFTW for c2c. For every kind FFTW_BACKWARD (+1) divides the output
// by the product of the transformed lengths. `in` and `out` must not overlap; the input is never written.
// The context (threads, plan strategy, chunk size) serves every step. A medium-sized array transformed
// whole (every dimension, nothing cut or padded, a real kind halving dimension 0) runs through one FFTW
// plan over all its dimensions, made per call (from FFTW's wisdom where the context measures, measured
// on scratch the first time) without calling the caches. Every other call runs one batched pass per
// dimension as quillFFT1D runs it, with its plan keys and cache calls: the c2c passes with sign -1 in
// r2c and forward c2c calls and +1 in c2r and inverse c2c calls, the r2c or c2r pass with the call's
// `sign`. Passes that change an array's size or element type go through scratch where `out` can't hold
// them. A zero length writes nothing; an input extent of 0 on a transformed dimension gives zeros; naxes
// 0 does nothing. Exceptions as quillFFT1D's.
template <typename T, int Kind>
TESSEL_FFT_API void fftND(fftwContext context, const fftNDCaches<T>& caches,
                          const typename fftElements<T, Kind>::In* in,
                          typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign);

}  // namespace tessel_fft
