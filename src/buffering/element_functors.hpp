// Element functors of the data-movement kernels, and the byte budgets that their thresholds are made of.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "backend/precision.hpp"

namespace tessel_fft::buffering {

inline constexpr std::size_t kKiB = 1024;
inline constexpr std::size_t kMiB = 1024 * kKiB;

// The number of elements of T that fit in a budget of `bytes`. Every limit and block size of the kernels
// is one of these, so that a threshold means the same amount of memory traffic for every element type.
template <typename T>
constexpr std::size_t elementsInBudget(std::size_t bytes) {
  return bytes / sizeof(T);
}

// log2 of elementsInBudget<T>(bytes); the budgets and element sizes are powers of two.
template <typename T>
constexpr unsigned log2ElementsInBudget(std::size_t bytes) {
  unsigned shift = 0;
  for (std::size_t count = elementsInBudget<T>(bytes); count > 1; count >>= 1) ++shift;
  return shift;
}

// The two thresholds of an access pattern, in bytes: from `limitBytes` on a dispatcher runs the
// parallel form, whose blocks hold `stepBytes`.
struct Budget {
  std::size_t limitBytes;
  std::size_t stepBytes;

  template <typename T>
  constexpr std::size_t limit() const {
    return elementsInBudget<T>(limitBytes);
  }
  template <typename T>
  constexpr std::size_t step() const {
    return elementsInBudget<T>(stepBytes);
  }
};

// Contiguous copies. Reads spread over memory (gather) turn parallel later and in larger blocks than
// writes spread over memory (scatter): a half and a quarter of them. Transposes use the gather budget
// where their outer axis is the columns (unit-stride reads) and the scatter budget where it is the
// rows; submatrix kernels use the budget of the copy their columns make.
inline constexpr Budget kContiguousBudget{1 * kMiB, 256 * kKiB};
inline constexpr Budget kGatherBudget{128 * kKiB, 16 * kKiB};
inline constexpr Budget kScatterBudget{64 * kKiB, 4 * kKiB};
// The smallest of the limits: no kernel call that moves fewer bytes starts a parallel loop.
inline constexpr std::size_t kSerialBelowBytes = kScatterBudget.limitBytes;

// Writes `src` to `dst`. The kernels take functors as template template parameters, so a call costs nothing.
// Moves the element's bytes in one piece: an assignment of std::complex moves its two parts one by one.
template <typename T>
struct noop {
  void operator()(T& dst, const T& src) const noexcept { std::memcpy(&dst, &src, sizeof(T)); }
};

// Writes the complex conjugate of `src` to `dst` (which may be the same object). The imaginary part's sign
// bit is flipped by an exclusive or on its bit pattern, not by negation: +0 becomes -0, and a NaN keeps its
// payload and its quiet/signalling state. Defined for complex<float> and complex<double> only.
template <typename T>
struct conjugate;

template <typename T>
struct conjugate<std::complex<T>> {
  static_assert(std::is_same_v<T, float> || std::is_same_v<T, double>,
                "conjugate needs complex<float|double>");

  void operator()(std::complex<T>& dst, const std::complex<T>& src) const noexcept {
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    static_assert(sizeof(Bits) == sizeof(T) && sizeof(std::complex<T>) == 2 * sizeof(T));
    Bits parts[2];
    std::memcpy(parts, &src, sizeof parts);
    parts[1] ^= Bits{1} << (8 * sizeof(T) - 1);
    std::memcpy(&dst, parts, sizeof parts);
  }
};

}  // namespace tessel_fft::buffering
