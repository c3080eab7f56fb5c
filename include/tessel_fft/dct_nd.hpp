#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"

namespace tessel_fft {

// DCT-II over every dimension of a column-major array of extents dims[0..ndims-1] (dims[0] fastest).
// E is float, double, std::complex<float> or std::complex<double>; complex data have their parts
// transformed independently. Unnormalised (FFTW's REDFT10 per dimension) unless `orthonormal`.
// `in` may equal `out`. An empty array, or ndims 0, leaves `out` untouched. It takes no context and no
// cache: every call plans by FFTW_ESTIMATE, dimension by dimension, runs FFTW on the calling thread
// only, and keeps no plan after it returns. Any number of threads may call it at once.
// Throws std::runtime_error("FFTW:nomem") when memory runs out and ("FFTWAssertionFailure") when
// FFTW's internal assertion fires; `out` is then partly written, and nothing leaks.
template <typename E>
TESSEL_FFT_API void dctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                            bool orthonormal);

// The inverse of dctIIND with the same `orthonormal`, under the same conditions.
template <typename E>
TESSEL_FFT_API void idctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                             bool orthonormal);

}  // namespace tessel_fft
