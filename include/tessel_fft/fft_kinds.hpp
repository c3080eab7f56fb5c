#pragma once

#include <fftw3.h>

#include <complex>

namespace tessel_fft {

// FFT kinds, as template arguments of the FFT families.
inline constexpr int r2c = 0;
inline constexpr int c2r = 1;
inline constexpr int c2c = 2;

// FFTW's plan type of a precision: fftw_plan for double, fftwf_plan for float.
template <typename T>
struct fftwPlanOf;
template <>
struct fftwPlanOf<double> {
  using type = fftw_plan;
};
template <>
struct fftwPlanOf<float> {
  using type = fftwf_plan;
};
template <typename T>
using fftwPlan = typename fftwPlanOf<T>::type;

// Element types of the column-major drivers, per kind.
template <typename T, int Kind>
struct fftElements;
template <typename T>
struct fftElements<T, r2c> {
  using In = T;
  using Out = std::complex<T>;
};
template <typename T>
struct fftElements<T, c2r> {
  using In = std::complex<T>;
  using Out = T;
};
template <typename T>
struct fftElements<T, c2c> {
  using In = std::complex<T>;
  using Out = std::complex<T>;
};

// Element types of the entries on FFTW's interleaved layout, per kind: T, or T[2] for a complex number.
template <typename T, int Kind>
struct interleavedElements;
template <typename T>
struct interleavedElements<T, r2c> {
  using In = T;
  using Out = T[2];
};
template <typename T>
struct interleavedElements<T, c2r> {
  using In = T[2];
  using Out = T;
};
template <typename T>
struct interleavedElements<T, c2c> {
  using In = T[2];
  using Out = T[2];
};

}  // namespace tessel_fft
