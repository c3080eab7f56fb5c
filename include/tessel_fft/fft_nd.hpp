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

// The N-D FFT over `shape.axes` of a column-major array, dimension by dimension as quillFFT1D runs each:
// r2c (real input, the one-sided spectrum along axes[0], full along the others), c2r (its inverse) or
// c2c. r2c is always FFTW's forward transform and c2r its backward one; `sign` reaches FFTW for c2c. For
// every kind FFTW_BACKWARD (+1) divides the output by the product of the transformed lengths. `in` and
// `out` must not overlap; the input is never written. Passes that change an array's size or element type
// go through scratch where `out` cannot hold them. The context (threads, plan strategy, chunk size)
// serves every pass, and `caches` keeps their plans: the keys and cache calls of each pass are
// quillFFT1D's of its kind and length, with sign -1 for the c2c passes of r2c and of a forward c2c and
// +1 for those of c2r and an inverse c2c, and the call's `sign` for the r2c and c2r pass. A zero length
// or extent, or naxes 0, writes nothing but the zeros an empty input gives. Exceptions as quillFFT1D's.
template <typename T, int Kind>
TESSEL_FFT_API void fftND(fftwContext context, const fftNDCaches<T>& caches,
                          const typename fftElements<T, Kind>::In* in,
                          typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign);

}  // namespace tessel_fft
