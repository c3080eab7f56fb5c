#include "nd/apply_scaling.hpp"

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "backend/precision.hpp"

namespace tessel_fft {

namespace {

// Stride 1: a page is one vector. The first element is taken out of the loop so the loop has one
// constant divisor.
template <typename T, typename R>
struct VectorBody {
  T* dst;
  std::uint64_t n;
  const T* src;
  R first;
  R rest;

  void operator()(std::uint64_t page) const {
    const std::uint64_t base = page * n;
    dst[base] = src[base] / first;
    for (std::uint64_t i = 1; i < n; ++i) dst[base + i] = src[base + i] / rest;
  }
};

// A block of rows of one page, a row being the `stride` contiguous elements of one index along the
// dimension; the factor is chosen once per row.
template <typename T, typename R>
struct RowBlockBody {
  std::uint64_t n;
  std::uint64_t rowsPerBlock;
  std::uint64_t dstStride;
  T* dst;
  std::uint64_t srcStride;
  const T* src;
  R first;
  R rest;

  void operator()(std::uint64_t firstRow) const {
    const std::uint64_t rowEnd = std::min(firstRow + rowsPerBlock, n);
    for (std::uint64_t row = firstRow; row < rowEnd; ++row) {
      const R factor = row == 0 ? first : rest;
      T* dstRow = dst + row * dstStride;
      const T* srcRow = src + row * srcStride;
      for (std::uint64_t column = 0; column < dstStride; ++column) dstRow[column] = srcRow[column] / factor;
    }
  }
};

// Stride above 1: one page, cut into row blocks of about 16 KiB, which nest as tasks inside the task
// of the page.
template <typename T, typename R>
struct PageBody {
  T* dst;
  std::uint64_t dstStride;
  std::uint64_t n;
  const T* src;
  std::uint64_t srcStride;
  R first;
  R rest;

  void operator()(std::uint64_t page) const {
    constexpr std::uint64_t kRowBlockBytes = 16384;
    const std::uint64_t pageOffset = page * dstStride * n;
    const std::uint64_t rowsPerBlock = std::max<std::uint64_t>(1, kRowBlockBytes / (dstStride * sizeof(T)));
    if (n == 0) return;
    const RowBlockBody<T, R> rows{n,         rowsPerBlock,     dstStride, dst + pageOffset,
                                  srcStride, src + pageOffset, first,     rest};
    tbb::parallel_for(std::uint64_t{0}, n, rowsPerBlock, rows, tbb::auto_partitioner());
  }
};

}  // namespace

template <typename T>
void apply_scaling(T* dst, const T* src, std::uint64_t stride, std::uint64_t total, std::uint64_t n,
                   int direction) {
  using R = typename RealOf<T>::type;
  // The products are formed in 64 bits and only then converted, so float factors are single precision.
  const R first = std::sqrt(static_cast<R>(direction == -1 ? 4 * n : n));
  const R rest = std::sqrt(static_cast<R>(2 * n));
  const std::uint64_t pages = total / (stride * n);
  if (stride == 1) {
    const VectorBody<T, R> body{dst, n, src, first, rest};
    if (pages <= 1) {
      body(0);
    } else {
      tbb::parallel_for(std::uint64_t{0}, pages, std::uint64_t{1}, body, tbb::auto_partitioner());
    }
    return;
  }
  const PageBody<T, R> body{dst, stride, n, src, stride, first, rest};
  if (pages <= 1) {
    body(0);
  } else {
    tbb::parallel_for(std::uint64_t{0}, pages, std::uint64_t{1}, body, tbb::auto_partitioner());
  }
}

template void apply_scaling<float>(float*, const float*, std::uint64_t, std::uint64_t, std::uint64_t, int);
template void apply_scaling<double>(double*, const double*, std::uint64_t, std::uint64_t, std::uint64_t, int);
template void apply_scaling<std::complex<float>>(std::complex<float>*, const std::complex<float>*,
                                                 std::uint64_t, std::uint64_t, std::uint64_t, int);
template void apply_scaling<std::complex<double>>(std::complex<double>*, const std::complex<double>*,
                                                  std::uint64_t, std::uint64_t, std::uint64_t, int);

}  // namespace tessel_fft
