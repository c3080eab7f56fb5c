#pragma once

#include <fftw3.h>

#include <complex>

namespace tessel_fft {

// FFT kinds, as template arguments of the FFT families.
inline constexpr int r2c = 0;
inline constexpr int c2r = 1;
inline constexpr int c2c = 2;

// FFTW's types of a precision, its plan and its complex number: fftw_plan and fftw_complex for double,
// fftwf_plan and fftwf_complex for float.
template <typename T>
struct fftwTypesOf;
template <>
struct fftwTypesOf<double> {
  using plan = fftw_plan;
  using complex = fftw_complex;
};
template <>
struct fftwTypesOf<float> {
  using plan = fftwf_plan;
  using complex = fftwf_complex;
};
template <typename T>
using fftwPlan = typename fftwTypesOf<T>::plan;

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

// The same types as the entries' signatures name them.
template <typename T, int Kind>
using interleavedIn = typename interleavedElements<T, Kind>::In;
template <typename T, int Kind>
using interleavedOut = typename interleavedElements<T, Kind>::Out;

}  // namespace tessel_fft
