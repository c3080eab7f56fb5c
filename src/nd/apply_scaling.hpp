#pragma once

#include <complex>
#include <cstdint>

namespace tessel_fft {

// Turns FFTW's unnormalised DCT-II (REDFT10) output into the orthonormal DCT-II along one dimension
// (`direction` -1, divisors sqrt(4n) for index 0 and sqrt(2n) for the rest), or prepares REDFT01
// input so that it becomes the orthonormal inverse (any other `direction`, divisors sqrt(n) and
// sqrt(2n)). dst[e] = src[e] / factor for every element of the complete pages of `total` elements,
// a page being the stride * n elements that share all indices after the dimension. T is float,
// double, std::complex<float> or std::complex<double>; complex parts are divided alike. `src` may
// equal `dst`; otherwise the two must not overlap. n and stride above 0. May run tasks on the
// calling thread's arena; keeps no state.
template <typename T>
void apply_scaling(T* dst, const T* src, std::uint64_t stride, std::uint64_t total, std::uint64_t n,
                   int direction);

extern template void apply_scaling<float>(float*, const float*, std::uint64_t, std::uint64_t, std::uint64_t,
                                          int);
extern template void apply_scaling<double>(double*, const double*, std::uint64_t, std::uint64_t,
                                           std::uint64_t, int);
extern template void apply_scaling<std::complex<float>>(std::complex<float>*, const std::complex<float>*,
                                                        std::uint64_t, std::uint64_t, std::uint64_t, int);
extern template void apply_scaling<std::complex<double>>(std::complex<double>*, const std::complex<double>*,
                                                         std::uint64_t, std::uint64_t, std::uint64_t, int);

}  // namespace tessel_fft
