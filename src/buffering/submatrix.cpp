// Submatrix kernels: padding, cutting and spreading the columns of unit-stride batches.
#include "buffering/submatrix.hpp"

#include <algorithm>

#include "buffering/blocks.hpp"
#include "buffering/copy.hpp"

namespace tessel_fft::buffering {
namespace {

// The contiguous kernels read their columns as contiguous copies, the interleaved one as strided gathers;
// each uses that copy's budget for the column copy (limit), for the matrix (limit on maxLd * cols) and
// for the blocks of columns (step).
template <typename T>
using ColumnCopy = void (*)(T* dst, const T* src, std::size_t n);

// A kernel's column copy in its plain and its parallel form, and the budget that chooses between them.
template <typename T>
struct ColumnCopies {
  const Budget& budget;
  ColumnCopy<T> serial;
  ColumnCopy<T> parallel;
};

// A matrix of `cols` columns: column c starts at base + c * pitch.
template <typename T>
struct Columns {
  T* base;
  std::size_t pitch;
};

// The shared skeleton: copies the first `rows` elements of each column, then zero fills the rest of the
// destination column up to dst.pitch if asked. `srcLd` is the source pitch as the caller counts it, which
// the thresholds compare as it stands, also where it counts other units than the destination's.
template <typename T>
void forEachColumn(const ColumnCopies<T>& copies, Columns<T> dst, Columns<const T> src, std::size_t srcLd,
                   std::size_t rows, std::size_t cols, bool zeroFill) {
  // Chosen once per call, not per column.
  const ColumnCopy<T> columnCopy =
      rows >= copies.budget.template limit<T>() ? copies.parallel : copies.serial;
  auto columns = [=](std::size_t first, std::size_t count) {
    for (std::size_t c = first; c < first + count; ++c) {
      T* out = dst.base + c * dst.pitch;
      columnCopy(out, src.base + c * src.pitch, rows);
      if (zeroFill) std::fill(out + rows, out + dst.pitch, T{});
    }
  };
  const std::size_t maxLd = std::max(srcLd, dst.pitch);
  // Strictly above the limit: at exactly the limit the columns stay serial, even when each column copy at
  // that length is itself parallel.
  if (maxLd * cols > copies.budget.template limit<T>()) {
    const std::size_t columnsPerBlock = std::max<std::size_t>(1, copies.budget.template step<T>() / maxLd);
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
  forEachColumn<T>({kContiguousBudget, &serial_copy<T>, &tbb_copy<T>}, {dst, dstLd}, {src, srcLd}, srcLd,
                   rows, cols, zeroFill);
}

}  // namespace contiguous

namespace interleaved {

// The source pitch counts complex elements: two T each.
template <typename T>
void submatrix(T* dst, std::size_t dstLd, const T* src, std::size_t srcLd, std::size_t rows,
               std::size_t cols) {
  forEachColumn<T>({kGatherBudget, &interleavedSerialGather<T>, &interleavedParallelGather<T>}, {dst, dstLd},
                   {src, 2 * srcLd}, srcLd, rows, cols, true);
}

}  // namespace interleaved

#define TESSEL_BUFFERING_SUBMATRIX(T) template decltype(contiguous::submatrix<T>) contiguous::submatrix<T>;
#define TESSEL_BUFFERING_INTERLEAVED_SUBMATRIX(T) \
  template decltype(interleaved::submatrix<T>) interleaved::submatrix<T>;

TESSEL_FOR_EACH_ELEMENT(TESSEL_BUFFERING_SUBMATRIX)
TESSEL_FOR_EACH_REAL(TESSEL_BUFFERING_INTERLEAVED_SUBMATRIX)

}  // namespace tessel_fft::buffering
