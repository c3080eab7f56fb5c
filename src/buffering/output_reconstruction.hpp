// Moving transform output out of chunk scratch, and completing one-sided r2c spectra to full Hermitian
// spectra on the way: out[j][k] = in[j][k] for k < h = n/2 + 1, out[j][k] = conj(in[j][n - k]) for
// h <= k < n. The DC term and, for even n, the Nyquist term are copied as stored. conj flips the sign bit
// of the imaginary part (+0 becomes -0, NaN payloads are kept).
#pragma once

#include <complex>
#include <cstddef>

namespace tessel_fft {

// The lowest one-sided length h, in bytes of elements, at which a completing move runs its copy and its
// mirror concurrently: to a strided destination, and to a unit-stride one.
inline constexpr std::size_t kStridedHalvesConcurrentBytes = 64 * 1024;
inline constexpr std::size_t kUnitHalvesConcurrentBytes = 128 * 1024;

// Selects the completing overloads of copyFromOutputBuffer. Carries no data.
struct r2cTag {};

// A strided destination: element k of vector j goes to first[k * stride + j], the vectors of a chunk
// being adjacent columns of a block.
template <typename E>
struct StridedOutput {
  E* first;
  std::size_t stride;
};

// Every overload reads `numVectors` vectors of transform length n from `src` and writes them to `dst`.
//
// Unit-stride destination, completing: `src` holds one-sided vectors at pitch h; the vectors of `dst`
// lie n apart. `src` may equal `dst` (the plan wrote into the destination): the vectors are then spread
// from pitch h to pitch n in place, last vector first, before the mirror. Otherwise they must not
// overlap. Needs n >= 1 and numVectors >= 1. E is complex<float> or complex<double>.
template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, E* dst, r2cTag);

// Strided destination, completing: `src` holds one-sided vectors at pitch h and does not overlap the
// destination. Needs n >= 1 and numVectors >= 1. E is complex<float> or complex<double>.
template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, StridedOutput<E> dst, r2cTag);

// Strided destination, no completion: `src` holds full vectors at pitch n. E is float, double,
// complex<float> or complex<double>; source and destination do not overlap.
template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, StridedOutput<E> dst);

}  // namespace tessel_fft
