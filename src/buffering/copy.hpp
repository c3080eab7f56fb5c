// One-dimensional copy kernels: contiguous, reversing-conjugating, and strided gather and scatter.
//
// Every kernel exists as a plain loop (`serial_...`, never touches the TBB scheduler), a parallel form
// (`tbb_...`, always one tbb::parallel_for over fixed-size blocks) and a dispatcher that picks one of the
// two from the element count alone. Limits and block sizes are byte budgets divided by the element size:
//
//   contiguous and reversing conjugate: limit 1 MiB,   block 256 KiB
//   strided gather:                     limit 128 KiB, block 16 KiB
//   strided scatter:                    limit 64 KiB,  block 4 KiB
//
// Arguments: destination before source; counts and strides in elements; strides may be negative. Source
// and destination of one call must not overlap. Any thread may call, also from inside a parallel section.
#pragma once

#include <complex>
#include <cstddef>

#include "buffering/element_functors.hpp"

namespace tessel_fft::buffering {

namespace contiguous {

// dst[i] = src[i] for i in [0, n).
template <typename T>
void serial_copy(T* dst, const T* src, std::size_t n);
template <typename T>
void tbb_copy(T* dst, const T* src, std::size_t n);
template <typename T>
void copy(T* dst, const T* src, std::size_t n);

// dst[i] = conj(src[-i]) for i in [0, n): `src` points at the highest source element, which is read first.
template <typename C>
void serial_conjugate_copy(C* dst, const C* src, std::size_t n);
template <typename C>
void tbb_conjugate_copy(C* dst, const C* src, std::size_t n);
template <typename C>
void conjugate_copy(C* dst, const C* src, std::size_t n);

}  // namespace contiguous

namespace strided {

// Gather: F(dst[i], src[i * srcStride]) for i in [0, n).
template <typename T, template <typename> class F = noop>
void serial_copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n);
template <typename T, template <typename> class F = noop>
void tbb_copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n);
template <typename T, template <typename> class F = noop>
void copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n);

// Scatter: F(dst[i * dstStride], src[i]) for i in [0, n). With a negative stride `dst` is the highest
// destination element and the walk goes downward.
template <typename T, template <typename> class F = noop>
void serial_copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n);
template <typename T, template <typename> class F = noop>
void tbb_copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n);
template <typename T, template <typename> class F = noop>
void copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n);

}  // namespace strided

}  // namespace tessel_fft::buffering

// The instantiated set, once for the `extern template` declarations below and once for the definitions in
// copy.cpp, so the two lists cannot drift apart.
#define TESSEL_BUFFERING_CONTIGUOUS_COPY(kind, T)                                         \
  kind void tessel_fft::buffering::contiguous::serial_copy<T>(T*, const T*, std::size_t); \
  kind void tessel_fft::buffering::contiguous::tbb_copy<T>(T*, const T*, std::size_t);    \
  kind void tessel_fft::buffering::contiguous::copy<T>(T*, const T*, std::size_t);

#define TESSEL_BUFFERING_CONJUGATE_COPY(kind, C)                                                    \
  kind void tessel_fft::buffering::contiguous::serial_conjugate_copy<C>(C*, const C*, std::size_t); \
  kind void tessel_fft::buffering::contiguous::tbb_conjugate_copy<C>(C*, const C*, std::size_t);    \
  kind void tessel_fft::buffering::contiguous::conjugate_copy<C>(C*, const C*, std::size_t);

#define TESSEL_BUFFERING_STRIDED_GATHER(kind, T, F)                                                       \
  kind void tessel_fft::buffering::strided::serial_copy<T, F>(T*, const T*, std::ptrdiff_t, std::size_t); \
  kind void tessel_fft::buffering::strided::tbb_copy<T, F>(T*, const T*, std::ptrdiff_t, std::size_t);    \
  kind void tessel_fft::buffering::strided::copy<T, F>(T*, const T*, std::ptrdiff_t, std::size_t);

#define TESSEL_BUFFERING_STRIDED_SCATTER(kind, T, F)                                                      \
  kind void tessel_fft::buffering::strided::serial_copy<T, F>(T*, std::ptrdiff_t, const T*, std::size_t); \
  kind void tessel_fft::buffering::strided::tbb_copy<T, F>(T*, std::ptrdiff_t, const T*, std::size_t);    \
  kind void tessel_fft::buffering::strided::copy<T, F>(T*, std::ptrdiff_t, const T*, std::size_t);

#define TESSEL_BUFFERING_COPY_INSTANCES(kind)                                                   \
  TESSEL_BUFFERING_CONTIGUOUS_COPY(kind, float)                                                 \
  TESSEL_BUFFERING_CONTIGUOUS_COPY(kind, double)                                                \
  TESSEL_BUFFERING_CONTIGUOUS_COPY(kind, std::complex<float>)                                   \
  TESSEL_BUFFERING_CONTIGUOUS_COPY(kind, std::complex<double>)                                  \
  TESSEL_BUFFERING_CONJUGATE_COPY(kind, std::complex<float>)                                    \
  TESSEL_BUFFERING_CONJUGATE_COPY(kind, std::complex<double>)                                   \
  TESSEL_BUFFERING_STRIDED_GATHER(kind, float, tessel_fft::buffering::noop)                     \
  TESSEL_BUFFERING_STRIDED_GATHER(kind, double, tessel_fft::buffering::noop)                    \
  TESSEL_BUFFERING_STRIDED_GATHER(kind, std::complex<float>, tessel_fft::buffering::noop)       \
  TESSEL_BUFFERING_STRIDED_GATHER(kind, std::complex<double>, tessel_fft::buffering::noop)      \
  TESSEL_BUFFERING_STRIDED_SCATTER(kind, float, tessel_fft::buffering::noop)                    \
  TESSEL_BUFFERING_STRIDED_SCATTER(kind, double, tessel_fft::buffering::noop)                   \
  TESSEL_BUFFERING_STRIDED_SCATTER(kind, std::complex<float>, tessel_fft::buffering::noop)      \
  TESSEL_BUFFERING_STRIDED_SCATTER(kind, std::complex<double>, tessel_fft::buffering::noop)     \
  TESSEL_BUFFERING_STRIDED_SCATTER(kind, std::complex<float>, tessel_fft::buffering::conjugate) \
  TESSEL_BUFFERING_STRIDED_SCATTER(kind, std::complex<double>, tessel_fft::buffering::conjugate)

TESSEL_BUFFERING_COPY_INSTANCES(extern template)
