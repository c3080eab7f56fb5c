// One-dimensional copy kernels: contiguous, and strided gather and scatter.
//
// Every kernel exists as a plain loop (`serial_...`, never touches the TBB scheduler), a parallel form
// (`tbb_...`, always one tbb::parallel_for over fixed-size blocks) and a dispatcher that picks one of the
// two from the element count alone. Limits and block sizes are byte budgets divided by the element size:
// kContiguousBudget for the contiguous copy, kGatherBudget for the strided gather, kScatterBudget for the
// strided scatter (element_functors.hpp).
//
// Arguments: destination before source; counts and strides in elements; strides may be negative. Source
// and destination of one call must not overlap. Any thread may call, also from inside a parallel section.
#pragma once

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

}  // namespace contiguous

namespace strided {

// Gather: F(dst[i], src[i * srcStride]) for i in [0, n); F is noop, no gather conjugates.
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
