#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"

namespace tessel_fft {

// DCT-II over every dimension of a column-major array of extents dims[0..ndims-1] (dims[0] fastest).
// E is float, double, std::complex<float> or std::complex<double>; complex data have their parts
// transformed independently. Unnormalised (FFTW's REDFT10 per dimension) unless `orthonormal`.
// `in` may equal `out`. An empty array, or ndims 0, leaves `out` untouched.
template <typename E>
TESSEL_FFT_API void dctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                            bool orthonormal);

// The inverse of dctIIND with the same `orthonormal`.
template <typename E>
TESSEL_FFT_API void idctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims,
                             bool orthonormal);

}  // namespace tessel_fft
