#pragma once

#include <complex>
#include <cstdint>

#include "buffering/copy.hpp"

namespace tessel_fft {

// Completes `howmany` one-sided r2c spectra in place into full ones: rows of n elements, n apart; in
// each row the elements h = n/2+1 .. n-1 become the conjugates of n-h .. 1. Sources and destinations
// never overlap, and element 0 and the Nyquist element stay as FFTW wrote them. Serial.
template <typename T>
void completeHermitian1D(std::complex<T>* data, std::uint64_t n, std::uint64_t howmany) {
  const std::uint64_t h = n / 2 + 1;
  if (h >= n) return;
  for (std::uint64_t row = 0; row < howmany; ++row) {
    std::complex<T>* rowStart = data + row * n;
    buffering::contiguous::serial_conjugate_copy(rowStart + h, rowStart + (n - h), n - h);
  }
}

// The two-dimensional form on one n0 x n1 array (n0 contiguous): element (k, j) for k >= n0/2+1 becomes
// the conjugate of (n0-k, (n1-j) mod n1). It reads only the columns FFTW filled, so order can't matter.
template <typename T>
void completeHermitian2D(std::complex<T>* data, std::uint64_t n0, std::uint64_t n1) {
  const std::uint64_t h = n0 / 2 + 1;
  if (h >= n0) return;
  for (std::uint64_t row = 0; row < n1; ++row) {
    const std::uint64_t mirrorRow = row == 0 ? 0 : n1 - row;
    buffering::contiguous::serial_conjugate_copy(data + row * n0 + h, data + mirrorRow * n0 + (n0 - h),
                                                 n0 - h);
  }
}

}  // namespace tessel_fft
