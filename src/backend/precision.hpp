// Element types of the library and the views FFTW takes of them.
#pragma once

#include <fftw3.h>

#include <complex>
#include <cstdint>

#include "families.hpp"  // the lists of instantiations that come with the element types
#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// FFTW's complex element of a precision: fftw_complex for double, fftwf_complex for float.
template <typename T>
using fftwComplex = typename fftwTypesOf<T>::complex;

// The real type of an element type (itself for float and double, R for std::complex<R>), whether the
// element is complex, and a view of an array of elements as its reals, two per complex element.
template <typename E>
struct ElementParts {
  using Real = E;
  static constexpr bool isComplex = false;
  static const Real* real(const E* p) { return p; }
  static Real* real(E* p) { return p; }
};
template <typename R>
struct ElementParts<std::complex<R>> {
  using Real = R;
  static constexpr bool isComplex = true;
  static const Real* real(const std::complex<R>* p) { return reinterpret_cast<const R*>(p); }
  static Real* real(std::complex<R>* p) { return reinterpret_cast<R*>(p); }
};

// The complex values a real transform of n points keeps: its one-sided spectrum, n/2+1 values. The
// complex side of r2c output and c2r input, and the length up to which a full spectrum is copied
// rather than mirrored.
constexpr std::uint64_t oneSidedLength(std::uint64_t n) { return n / 2 + 1; }

// Views of the library's element types as the pointers FFTW's entries take. std::complex<T> is
// layout-compatible with T[2].
template <typename T>
T* asFftw(T* p) {
  return p;
}
template <typename T>
T (*asFftw(T (*p)[2]))
[2] {
  return p;
}
template <typename T>
fftwComplex<T>* asFftw(std::complex<T>* p) {
  return reinterpret_cast<fftwComplex<T>*>(p);
}

}  // namespace tessel_fft
