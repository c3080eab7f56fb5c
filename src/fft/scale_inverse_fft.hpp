#pragma once

#include <complex>
#include <cstddef>

namespace tessel_fft {

// Divides `count` elements of `data` by n, converted once to the real type of T: the last step of an
// inverse batched transform, run on the driver's thread after the batch has finished. A true division of
// every element (complex ones part by part), never a multiplication by a reciprocal. With `threaded` and
// more than 8192 elements the work is spread over tasks of at least 4096 elements; otherwise, and for
// small outputs, it never touches the scheduler. T is float, double, complex<float> or complex<double>.
template <typename T>
void scaleInverseFFT(T* data, std::size_t n, std::size_t count, bool threaded);

extern template void scaleInverseFFT<float>(float*, std::size_t, std::size_t, bool);
extern template void scaleInverseFFT<double>(double*, std::size_t, std::size_t, bool);
extern template void scaleInverseFFT<std::complex<float>>(std::complex<float>*, std::size_t, std::size_t,
                                                          bool);
extern template void scaleInverseFFT<std::complex<double>>(std::complex<double>*, std::size_t, std::size_t,
                                                           bool);

}  // namespace tessel_fft
