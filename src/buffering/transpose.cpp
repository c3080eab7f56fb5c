#include "buffering/transpose.hpp"

#include <algorithm>

#include "buffering/blocks.hpp"
#include "buffering/copy.hpp"

namespace tessel_fft::buffering {
namespace {

using detail::forEachBlock;

template <typename T>
constexpr std::size_t kColumnsStep = elementsInBudget<T>(16 * kKiB);
template <typename T>
constexpr std::size_t kRowsStep = elementsInBudget<T>(4 * kKiB);
// Twice the rows limit, in step with the gather and scatter limits of the copy kernels.
template <typename T>
constexpr std::size_t kColumnsLimit = elementsInBudget<T>(128 * kKiB);
template <typename T>
constexpr std::size_t kRowsLimit = elementsInBudget<T>(64 * kKiB);

// How far ahead of the outer walk the strided side is prefetched. Each step of the outer walk touches one
// short run at a large stride, a pattern the hardware prefetchers do not follow far enough ahead.
constexpr std::ptrdiff_t kPrefetchAhead = 32;

// Prefetches the first and the last element of a short run; they usually share a cache line. A read
// prefetch also for runs about to be written: x86-64 without PRFCHW has no write prefetch, and the
// compiler drops one silently, while a line fetched for reading is owned exclusively when no other core
// holds it.
template <typename T>
inline void prefetchRun(const T* first, std::ptrdiff_t count) {
  __builtin_prefetch(first, 0, 3);
  __builtin_prefetch(first + (count - 1), 0, 3);
}

// Columns [firstColumn, endColumn) outside, all rows inside: reads run along a source column with unit
// stride, writes go down a destination column at dstStride.
template <typename T, template <typename> class F>
void columnsOuter(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride,
                  std::size_t firstColumn, std::size_t endColumn, std::size_t rows) {
  const F<T> f;
  const auto rowCount = static_cast<std::ptrdiff_t>(rows);
  if (rowCount == 0) return;
  const auto end = static_cast<std::ptrdiff_t>(endColumn);
  auto column = [&](std::ptrdiff_t c) {
    const T* in = src + c * srcStride;
    T* out = dst + c;
    for (std::ptrdiff_t r = 0; r < rowCount; ++r) f(out[r * dstStride], in[r]);
  };
  auto c = static_cast<std::ptrdiff_t>(firstColumn);
  // Only prefetch columns of this call's range, so that no address outside the source is formed.
  for (; c + kPrefetchAhead < end; ++c) {
    prefetchRun(src + (c + kPrefetchAhead) * srcStride, rowCount);
    column(c);
  }
  for (; c < end; ++c) column(c);
}

// Rows [firstRow, endRow) outside, all columns inside: writes run along a destination row with unit
// stride, reads go across the source columns at srcStride.
template <typename T, template <typename> class F>
void rowsOuter(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t firstRow,
               std::size_t endRow, std::size_t cols) {
  const F<T> f;
  const auto columnCount = static_cast<std::ptrdiff_t>(cols);
  if (columnCount == 0) return;
  const auto end = static_cast<std::ptrdiff_t>(endRow);
  auto row = [&](std::ptrdiff_t r) {
    T* out = dst + r * dstStride;
    const T* in = src + r;
    for (std::ptrdiff_t c = 0; c < columnCount; ++c) f(out[c], in[c * srcStride]);
  };
  auto r = static_cast<std::ptrdiff_t>(firstRow);
  for (; r + kPrefetchAhead < end; ++r) {
    prefetchRun(dst + (r + kPrefetchAhead) * dstStride, columnCount);
    row(r);
  }
  for (; r < end; ++r) row(r);
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
    forEachBlock(cols, kColumnsStep<T>, [=](std::size_t first, std::size_t count) {
      columnsOuter<T, F>(dst, dstStride, src, srcStride, first, first + count, rows);
    });
  } else {
    forEachBlock(rows, kRowsStep<T>, [=](std::size_t first, std::size_t count) {
      rowsOuter<T, F>(dst, dstStride, src, srcStride, first, first + count, cols);
    });
  }
}

template <typename T, template <typename> class F>
void transpose(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
               std::size_t rows) {
  if (rows < cols ? cols >= kColumnsLimit<T> : rows >= kRowsLimit<T>) {
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
  constexpr std::size_t columnLimit = elementsInBudget<T>(64 * kKiB);
  constexpr unsigned columnShift = log2ElementsInBudget<T>(4 * kKiB);
  const std::size_t rowLimit = elementsInBudget<T>((fromInterleaved ? 128 : 64) * kKiB);
  const unsigned rowShift = log2ElementsInBudget<T>((fromInterleaved ? 16 : 4) * kKiB);

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
}  // namespace tessel_fft::buffering

TESSEL_BUFFERING_TRANSPOSE_INSTANCES(template)
