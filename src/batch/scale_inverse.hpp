// Divisions that make inverse transforms true inverses and orthonormal ones orthonormal.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>

namespace tessel_fft {

// first[i] = first[i] / divisor for i < count: a true division of every value, never a multiplication
// by a rounded reciprocal. Serial, with the widest vector instructions the machine offers. Real is float
// or double.
template <typename Real>
void divideAll(Real* first, std::size_t count, Real divisor);

// Divides `count` elements of `data` by `divisor`, converted once to the real type of E (for float and
// large divisors the rounded value), complex elements part by part. `threaded` spreads a large array over
// tasks; small ones never touch the scheduler. E is float, double, std::complex<float> or
// std::complex<double>.
template <typename E>
void scaleInverse(E* data, std::uint64_t divisor, std::size_t count, bool threaded);

}  // namespace tessel_fft
