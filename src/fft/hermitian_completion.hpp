// Completion of one-sided r2c spectra in place, for the entries on FFTW's own layout.
#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <algorithm>
#include <complex>
#include <cstdint>

#include "backend/precision.hpp"
#include "buffering/copy.hpp"
#include "buffering/element_functors.hpp"

namespace tessel_fft {

// Calls mirror(row) for every row of `rows`, each completing `rowBytes`: on the calling thread, or,
// where the caller may use threads and there is as much to move as a parallel contiguous copy needs,
// over tasks of a contiguous copy's step. Rows are independent: each writes only its own upper half.
template <typename Mirror>
void forEachRow(std::uint64_t rows, std::uint64_t rowBytes, bool threaded, const Mirror& mirror) {
  const buffering::Budget& budget = buffering::kContiguousBudget;
  if (!threaded || rows < 2 || rows * rowBytes < budget.limitBytes) {
    for (std::uint64_t row = 0; row < rows; ++row) mirror(row);
    return;
  }
  const std::uint64_t rowsPerTask =
      std::max<std::uint64_t>(1, budget.stepBytes / std::max<std::uint64_t>(rowBytes, 1));
  tbb::parallel_for(
      tbb::blocked_range<std::uint64_t>(0, rows, rowsPerTask),
      [&](const tbb::blocked_range<std::uint64_t>& range) {
        for (std::uint64_t row = range.begin(); row < range.end(); ++row) mirror(row);
      },
      tbb::auto_partitioner());
}

// Completes `howmany` one-sided r2c spectra in place into full ones: rows of n elements, n apart; in
// each row the elements h = n/2+1 .. n-1 become the conjugates of n-h .. 1. Sources and destinations
// never overlap, and element 0 and the Nyquist element stay as FFTW wrote them.
template <typename T>
void completeHermitian1D(std::complex<T>* data, std::uint64_t n, std::uint64_t howmany, bool threaded) {
  const std::uint64_t h = oneSidedLength(n);
  if (h >= n) return;
  forEachRow(howmany, (n - h) * sizeof(std::complex<T>), threaded, [=](std::uint64_t row) {
    std::complex<T>* rowStart = data + row * n;
    buffering::contiguous::serial_conjugate_copy(rowStart + h, rowStart + (n - h), n - h);
  });
}

// The two-dimensional form on one n0 x n1 array (n0 contiguous): element (k, j) for k >= n0/2+1 becomes
// the conjugate of (n0-k, (n1-j) mod n1). It reads only the columns FFTW filled, so order can't matter.
template <typename T>
void completeHermitian2D(std::complex<T>* data, std::uint64_t n0, std::uint64_t n1, bool threaded) {
  const std::uint64_t h = oneSidedLength(n0);
  if (h >= n0) return;
  forEachRow(n1, (n0 - h) * sizeof(std::complex<T>), threaded, [=](std::uint64_t row) {
    const std::uint64_t mirrorRow = row == 0 ? 0 : n1 - row;
    buffering::contiguous::serial_conjugate_copy(data + row * n0 + h, data + mirrorRow * n0 + (n0 - h),
                                                 n0 - h);
  });
}

}  // namespace tessel_fft
