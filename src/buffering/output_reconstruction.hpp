// Moving transform output out of chunk scratch, and completing one-sided r2c spectra to full Hermitian
// spectra on the way: out[j][k] = in[j][k] for k < h = n/2 + 1, out[j][k] = conj(in[j][n - k]) for
// h <= k < n. The DC term and, for even n, the Nyquist term are copied as stored. conj flips the sign bit
// of the imaginary part (+0 becomes -0, NaN payloads are kept).
#pragma once

#include <complex>
#include <cstddef>

namespace tessel_fft {

// Selects the completing overloads of copyFromOutputBuffer. Carries no data.
struct r2cTag {};

// Unit-stride destination, completing. `src` holds numVectors one-sided vectors at pitch h; the vectors of
// `dst` lie n apart. `src` may equal `dst` (the plan wrote into the destination): the vectors are then
// spread from pitch h to pitch n in place, last vector first, before the mirror. Otherwise they must not
// overlap. Needs n >= 1 and numVectors >= 1. E is complex<float> or complex<double>.
template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, E* dst, r2cTag);

// Strided destination, completing: element k of vector j goes to dst[k*stride + j]. `src` holds
// numVectors one-sided vectors at pitch h and does not overlap `dst`. Needs n >= 1 and numVectors >= 1.
// E is complex<float> or complex<double>.
template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t stride, std::size_t n, std::size_t numVectors, E* dst,
                          r2cTag);

// Strided destination, no completion: dst[k*stride + j] = src[j*n + k] for k < n, j < numVectors. E is
// float, double, complex<float> or complex<double>; `src` and `dst` do not overlap.
template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t stride, std::size_t n, std::size_t numVectors, E* dst);

}  // namespace tessel_fft

#define TESSEL_OUTPUT_RECONSTRUCTION_COMPLETING(kind, E)                                                     \
  kind void tessel_fft::copyFromOutputBuffer<E>(const E*, std::size_t, std::size_t, E*, tessel_fft::r2cTag); \
  kind void tessel_fft::copyFromOutputBuffer<E>(const E*, std::size_t, std::size_t, std::size_t, E*,         \
                                                tessel_fft::r2cTag);

#define TESSEL_OUTPUT_RECONSTRUCTION_PLAIN(kind, E) \
  kind void tessel_fft::copyFromOutputBuffer<E>(const E*, std::size_t, std::size_t, std::size_t, E*);

#define TESSEL_OUTPUT_RECONSTRUCTION_INSTANCES(kind)                  \
  TESSEL_OUTPUT_RECONSTRUCTION_COMPLETING(kind, std::complex<float>)  \
  TESSEL_OUTPUT_RECONSTRUCTION_COMPLETING(kind, std::complex<double>) \
  TESSEL_OUTPUT_RECONSTRUCTION_PLAIN(kind, float)                     \
  TESSEL_OUTPUT_RECONSTRUCTION_PLAIN(kind, double)                    \
  TESSEL_OUTPUT_RECONSTRUCTION_PLAIN(kind, std::complex<float>)       \
  TESSEL_OUTPUT_RECONSTRUCTION_PLAIN(kind, std::complex<double>)

TESSEL_OUTPUT_RECONSTRUCTION_INSTANCES(extern template)
