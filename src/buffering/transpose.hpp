// Transposing copies between a matrix with unit stride along one axis and a matrix with unit stride along
// the other; the gather into and the scatter out of chunk scratch of strided batches.
//
// Loop order and parallel axis follow the shape: with rows < cols the columns are the outer (and parallel)
// axis, otherwise the rows are. A parallel block cuts the outer axis only and walks the inner axis whole.
// Columns outer take kGatherBudget (limit on cols, blocks of columns), rows outer kScatterBudget.
//
// Source and destination of one call must not overlap. Any thread may call, also from inside a parallel
// section.
#pragma once

#include <complex>
#include <cstddef>

#include "buffering/element_functors.hpp"

namespace tessel_fft::buffering {

namespace strided {

// F(dst[r*dstStride + c], src[c*srcStride + r]) for r in [0, rows), c in [0, cols): a row of `dst` and a
// column of `src` are contiguous. Strides may be negative (then `dst`/`src` is the element with the highest
// address among rows/columns). serial_ is the plain loop nest, tbb_ always runs a tbb::parallel_for, and
// transpose dispatches by the limits above.
template <typename T, template <typename> class F = noop>
void serial_transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride,
                      std::size_t cols, std::size_t rows);
template <typename T, template <typename> class F = noop>
void tbb_transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                   std::size_t rows);
template <typename T, template <typename> class F = noop>
void transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
               std::size_t rows);

// The same move between a matrix and a list of vectors that may lie at any distances from each other, as
// the chunks of a group do in scratch: gather_rows writes rows[r][c] = src[c*srcStride + r] and
// scatter_columns writes dst[r*dstStride + c] = columns[c][r], for r < rows and c < cols. Serial: callers
// run them inside their own tasks.
template <typename T>
void gather_rows(T* const* rows, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                 std::size_t rowCount);
template <typename T>
void scatter_columns(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                     std::size_t rows);
// scatter_columns with every element conjugated, for complex C; dstStride may be negative, as where the
// mirrored half of a spectrum moves out from its last row down.
template <typename C>
void conjugate_scatter_columns(C* dst, std::ptrdiff_t dstStride, const C* const* columns, std::size_t cols,
                               std::size_t rows);

}  // namespace strided

namespace interleaved {

// Moves one component of interleaved complex data from or to a real buffer, transposing:
// dst[(r*dstStride + c)*dstUnit] = src[(c*srcStride + r)*srcUnit] with dstUnit = 2 - fromInterleaved and
// srcUnit = 1 + fromInterleaved. Strides count whole units (complex elements on the interleaved side); the
// caller picks the component by offsetting the interleaved pointer by one T. Chooses its own loop order
// and whether to go parallel; inner walks go through strided::copy where one side has unit stride.
template <typename T>
void transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
               std::size_t rows, bool fromInterleaved);

}  // namespace interleaved

}  // namespace tessel_fft::buffering
