// Transposing copies: the gathers into and scatters out of chunk scratch of strided batches.
#include "buffering/transpose.hpp"

#include <algorithm>

#include "buffering/blocks.hpp"
#include "buffering/copy.hpp"
#include "buffering/move_loops.hpp"
#include "buffering/prefetch.hpp"
#include "buffering/variants.hpp"

namespace tessel_fft::buffering {
namespace {

using detail::forEachBlock;
using detail::kPrefetchRunBytes;
using detail::walkTranspose;

// Columns [firstColumn, endColumn) outside: each destination row receives a line of the tile's columns,
// while the source columns are read along their unit stride.
template <typename T, template <typename> class F>
void columnsOuter(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride,
                  std::size_t firstColumn, std::size_t endColumn, std::size_t rows) {
  walkTranspose<T, F, true>(
      firstColumn, endColumn, rows, [&](std::ptrdiff_t r) { return dst + r * dstStride; },
      [&](std::ptrdiff_t c) { return src + c * srcStride; },
      [&](std::ptrdiff_t c) {
        prefetchForRead(src + c * srcStride, std::min(rows * sizeof(T), kPrefetchRunBytes));
      });
}

// Rows [firstRow, endRow) outside: each source column gives a line of the tile's rows, while the
// destination rows are written along their unit stride.
template <typename T, template <typename> class F>
void rowsOuter(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t firstRow,
               std::size_t endRow, std::size_t cols) {
  walkTranspose<T, F, false>(
      firstRow, endRow, cols, [&](std::ptrdiff_t r) { return dst + r * dstStride; },
      [&](std::ptrdiff_t c) { return src + c * srcStride; },
      [&](std::ptrdiff_t r) {
        prefetchForRead(dst + r * dstStride, std::min(cols * sizeof(T), kPrefetchRunBytes));
      });
}

// One inner walk of interleaved::transpose: d[i*dstStep] = s[i*srcStep] for i in [0, n).
template <typename T>
void interleavedWalk(T* d, std::ptrdiff_t dstStep, const T* s, std::ptrdiff_t srcStep, std::size_t n) {
  if (dstStep == 1) {
    strided::copy<T, noop>(d, s, srcStep, n);
  } else if (srcStep == 1) {
    strided::copy<T, noop>(d, dstStep, s, n);
  } else {
    const auto count = static_cast<std::ptrdiff_t>(n);
    for (std::ptrdiff_t i = 0; i < count; ++i) d[i * dstStep] = s[i * srcStep];
  }
}

}  // namespace

namespace strided {

template <typename T>
void gather_rows(T* const* rows, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                 std::size_t rowCount) {
  kernels<T>().gatherRows(rows, src, srcStride, cols, rowCount);
}

template <typename T>
void scatter_columns(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                     std::size_t rows) {
  kernels<T>().scatterColumns(dst, dstStride, columns, cols, rows);
}

template <typename C>
void conjugate_scatter_columns(C* dst, std::ptrdiff_t dstStride, const C* const* columns, std::size_t cols,
                               std::size_t rows) {
  kernels<C>().conjugateScatterColumns(dst, dstStride, columns, cols, rows);
}

template <typename T, template <typename> class F>
void serial_transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride,
                      std::size_t cols, std::size_t rows) {
  if (rows < cols) {
    columnsOuter<T, F>(dst, dstStride, src, srcStride, 0, cols, rows);
  } else {
    rowsOuter<T, F>(dst, dstStride, src, srcStride, 0, rows, cols);
  }
}

template <typename T, template <typename> class F>
void tbb_transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                   std::size_t rows) {
  // The longer axis is the parallel one, so that the inner walk is the shorter one.
  if (rows < cols) {
    forEachBlock(cols, kGatherBudget.step<T>(), [=](std::size_t first, std::size_t count) {
      columnsOuter<T, F>(dst, dstStride, src, srcStride, first, first + count, rows);
    });
  } else {
    forEachBlock(rows, kScatterBudget.step<T>(), [=](std::size_t first, std::size_t count) {
      rowsOuter<T, F>(dst, dstStride, src, srcStride, first, first + count, cols);
    });
  }
}

template <typename T, template <typename> class F>
void transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
               std::size_t rows) {
  if (rows < cols ? cols >= kGatherBudget.limit<T>() : rows >= kScatterBudget.limit<T>()) {
    tbb_transpose<T, F>(dst, dstStride, src, srcStride, cols, rows);
  } else {
    serial_transpose<T, F>(dst, dstStride, src, srcStride, cols, rows);
  }
}

}  // namespace strided

namespace interleaved {

template <typename T>
void transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
               std::size_t rows, bool fromInterleaved) {
  // Columns outer write across the interleaved side; rows outer read across it when it is the source.
  constexpr std::size_t columnLimit = kScatterBudget.limit<T>();
  constexpr unsigned columnShift = log2ElementsInBudget<T>(kScatterBudget.stepBytes);
  const Budget& rowBudget = fromInterleaved ? kGatherBudget : kScatterBudget;
  const std::size_t rowLimit = elementsInBudget<T>(rowBudget.limitBytes);
  const unsigned rowShift = log2ElementsInBudget<T>(rowBudget.stepBytes);

  const std::ptrdiff_t dstUnit = fromInterleaved ? 1 : 2;
  const std::ptrdiff_t srcUnit = fromInterleaved ? 2 : 1;
  const std::size_t total = cols * rows;
  const std::size_t shortRows = fromInterleaved ? 4 : 8;

  // Only very few rows make the columns the outer axis; the test is on the rows alone.
  if (rows <= shortRows) {
    auto columns = [=](std::size_t first, std::size_t count) {
      for (auto c = static_cast<std::ptrdiff_t>(first); c < static_cast<std::ptrdiff_t>(first + count); ++c) {
        interleavedWalk(dst + c * dstUnit, dstUnit * dstStride, src + c * srcStride * srcUnit, srcUnit, rows);
      }
    };
    if (total < columnLimit) {
      columns(0, cols);
    } else {
      forEachBlock(cols, std::max<std::size_t>(total >> columnShift, 1), columns);
    }
  } else {
    auto rowsBlock = [=](std::size_t first, std::size_t count) {
      for (auto r = static_cast<std::ptrdiff_t>(first); r < static_cast<std::ptrdiff_t>(first + count); ++r) {
        interleavedWalk(dst + r * dstStride * dstUnit, dstUnit, src + r * srcUnit, srcUnit * srcStride, cols);
      }
    };
    // The step grows with the total, so the number of blocks follows the length of the inner walk.
    if (total < rowLimit) {
      rowsBlock(0, rows);
    } else {
      forEachBlock(rows, std::max<std::size_t>(total >> rowShift, 1), rowsBlock);
    }
  }
}

}  // namespace interleaved

#define TESSEL_BUFFERING_STRIDED_TRANSPOSE(T, F)                                      \
  template decltype(strided::serial_transpose<T, F>) strided::serial_transpose<T, F>; \
  template decltype(strided::tbb_transpose<T, F>) strided::tbb_transpose<T, F>;       \
  template decltype(strided::transpose<T, F>) strided::transpose<T, F>;
#define TESSEL_BUFFERING_TRANSPOSES(T)                                \
  TESSEL_BUFFERING_STRIDED_TRANSPOSE(T, noop)                         \
  template decltype(strided::gather_rows<T>) strided::gather_rows<T>; \
  template decltype(strided::scatter_columns<T>) strided::scatter_columns<T>;
#define TESSEL_BUFFERING_CONJUGATING_TRANSPOSE(C)  \
  TESSEL_BUFFERING_STRIDED_TRANSPOSE(C, conjugate) \
  template decltype(strided::conjugate_scatter_columns<C>) strided::conjugate_scatter_columns<C>;
#define TESSEL_BUFFERING_INTERLEAVED_TRANSPOSE(T) \
  template decltype(interleaved::transpose<T>) interleaved::transpose<T>;

TESSEL_FOR_EACH_ELEMENT(TESSEL_BUFFERING_TRANSPOSES)
TESSEL_FOR_EACH_COMPLEX_ELEMENT(TESSEL_BUFFERING_CONJUGATING_TRANSPOSE)
TESSEL_FOR_EACH_REAL(TESSEL_BUFFERING_INTERLEAVED_TRANSPOSE)

}  // namespace tessel_fft::buffering
