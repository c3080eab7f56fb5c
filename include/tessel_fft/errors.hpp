#pragma once

#include <stdexcept>

#include "tessel_fft/export.hpp"

namespace tessel_fft {

// The library's two failures, as types a host can catch without comparing what() texts. Both are
// std::runtime_error, so code that catches that keeps working. Their type information lives in the
// shared library (the destructor is the key function), so a catch in the host matches a throw inside it.

// Memory ran out, in FFTW's allocator or the library's scratch. what() is "FFTW:nomem".
class TESSEL_FFT_API out_of_memory : public std::runtime_error {
 public:
  out_of_memory();
  ~out_of_memory() override;
};

// FFTW's internal assertion fired, or FFTW had no plan where one has to run. what() is
// "FFTWAssertionFailure".
class TESSEL_FFT_API backend_failure : public std::runtime_error {
 public:
  backend_failure();
  ~backend_failure() override;
};

}  // namespace tessel_fft
