#include "buffering/submatrix.hpp"

#include <algorithm>

#include "buffering/blocks.hpp"
#include "buffering/copy.hpp"

namespace tessel_fft::buffering {
namespace {

struct Budgets {
  std::size_t copyLimitBytes;
  std::size_t matrixLimitBytes;
  std::size_t blockBudgetBytes;
};

// The contiguous kernels use the limit and step of a contiguous copy, the interleaved one those of a
// strided gather, since that is how their columns are read.
constexpr Budgets kContiguousBudgets{1 * kMiB, 1 * kMiB, 256 * kKiB};
constexpr Budgets kInterleavedBudgets{128 * kKiB, 128 * kKiB, 16 * kKiB};

template <typename T>
using ColumnCopy = void (*)(T* dst, const T* src, std::size_t n);

// The shared skeleton. `columnCopy(dst column, src column, rows)` is chosen once by the caller;
// `srcColumnPitch` is the distance between source columns in elements.
template <typename T>
void forEachColumn(const Budgets& budgets, T* dst, std::size_t dstLd, const T* src, std::size_t srcLd,
                   std::size_t srcColumnPitch, std::size_t rows, std::size_t cols, bool zeroFill,
                   ColumnCopy<T> columnCopy) {
  auto columns = [=](std::size_t first, std::size_t count) {
    for (std::size_t c = first; c < first + count; ++c) {
      T* out = dst + c * dstLd;
      columnCopy(out, src + c * srcColumnPitch, rows);
      if (zeroFill) std::fill(out + rows, out + dstLd, T{});
    }
  };
  // The pitches are compared as they stand, also where they count different units.
  const std::size_t maxLd = std::max(srcLd, dstLd);
  // Strictly above the limit: at exactly the limit the columns stay serial, even when each column copy at
  // that length is itself parallel.
  if (maxLd * cols > elementsInBudget<T>(budgets.matrixLimitBytes)) {
    const std::size_t columnsPerBlock =
        std::max<std::size_t>(1, elementsInBudget<T>(budgets.blockBudgetBytes) / maxLd);
    detail::forEachBlock(cols, columnsPerBlock, columns);
  } else {
    columns(0, cols);
  }
}

template <typename T>
void interleavedSerialGather(T* dst, const T* src, std::size_t n) {
  strided::serial_copy<T, noop>(dst, src, 2, n);
}

template <typename T>
void interleavedParallelGather(T* dst, const T* src, std::size_t n) {
  strided::tbb_copy<T, noop>(dst, src, 2, n);
}

}  // namespace

namespace contiguous {

template <typename T>
void submatrix(T* dst, std::size_t dstLd, const T* src, std::size_t srcLd, std::size_t rows, std::size_t cols,
               bool zeroFill) {
  const ColumnCopy<T> columnCopy =
      rows >= elementsInBudget<T>(kContiguousBudgets.copyLimitBytes) ? &tbb_copy<T> : &serial_copy<T>;
  forEachColumn(kContiguousBudgets, dst, dstLd, src, srcLd, srcLd, rows, cols, zeroFill, columnCopy);
}

template <typename C>
void conjugate_submatrix(C* dst, std::size_t dstLd, const C* src, std::size_t srcLd, std::size_t rows,
                         std::size_t cols) {
  const ColumnCopy<C> columnCopy = rows >= elementsInBudget<C>(kContiguousBudgets.copyLimitBytes)
                                       ? &tbb_conjugate_copy<C>
                                       : &serial_conjugate_copy<C>;
  forEachColumn(kContiguousBudgets, dst, dstLd, src, srcLd, srcLd, rows, cols, false, columnCopy);
}

}  // namespace contiguous

namespace interleaved {

template <typename T>
void submatrix(T* dst, std::size_t dstLd, const T* src, std::size_t srcLd, std::size_t rows,
               std::size_t cols) {
  const ColumnCopy<T> columnCopy = rows >= elementsInBudget<T>(kInterleavedBudgets.copyLimitBytes)
                                       ? &interleavedParallelGather<T>
                                       : &interleavedSerialGather<T>;
  forEachColumn(kInterleavedBudgets, dst, dstLd, src, srcLd, 2 * srcLd, rows, cols, true, columnCopy);
}

}  // namespace interleaved
}  // namespace tessel_fft::buffering

TESSEL_BUFFERING_SUBMATRIX_INSTANCES(template)
