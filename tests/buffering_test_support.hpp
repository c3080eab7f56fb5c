// Helpers shared by the data-movement tests: distinguishable element patterns, an independent conjugate,
// and bitwise comparison.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace buffering_test {

inline constexpr std::size_t kKiB = 1024;

template <typename T>
struct IsComplex : std::false_type {};
template <typename T>
struct IsComplex<std::complex<T>> : std::true_type {};

using AllTypes = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
using ComplexTypes = ::testing::Types<std::complex<float>, std::complex<double>>;
using RealTypes = ::testing::Types<float, double>;

// Elements of the test's own byte budgets.
template <typename T>
constexpr std::size_t elems(std::size_t bytes) {
  return bytes / sizeof(T);
}

// A quiet NaN carrying `payload` in its low mantissa bits.
template <typename R>
R nanWithPayload(std::uint32_t payload) {
  using Bits = std::conditional_t<sizeof(R) == 4, std::uint32_t, std::uint64_t>;
  Bits bits;
  const R qnan = std::numeric_limits<R>::quiet_NaN();
  std::memcpy(&bits, &qnan, sizeof bits);
  bits |= static_cast<Bits>(payload & 0xffff) + 1;
  R value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// Element i of a pattern: distinct values, with +0 and -0 imaginary parts and NaNs with payloads
// sprinkled in, so that a bitwise comparison sees misplaced, conjugated or re-encoded elements.
template <typename R>
R scalarAt(std::size_t i, unsigned seed) {
  if (i % 13 == 5) return nanWithPayload<R>(static_cast<std::uint32_t>(i + seed));
  if (i % 7 == 3) return R(0);
  if (i % 7 == 4) return -R(0);
  return static_cast<R>(static_cast<double>((i * 2654435761u + seed) % 100003) * 0.125 - 5000.0);
}

template <typename T>
T elementAt(std::size_t i, unsigned seed) {
  if constexpr (IsComplex<T>::value) {
    using R = typename T::value_type;
    return T(scalarAt<R>(2 * i + 1, seed), scalarAt<R>(2 * i, seed + 17));
  } else {
    return scalarAt<T>(i, seed);
  }
}

template <typename T>
std::vector<T> pattern(std::size_t n, unsigned seed) {
  std::vector<T> values(n);
  for (std::size_t i = 0; i < n; ++i) values[i] = elementAt<T>(i, seed);
  return values;
}

// The conjugate as defined by the library's contract: the imaginary sign bit flipped, nothing else.
template <typename C>
C conjBits(const C& value) {
  using R = typename C::value_type;
  using Bits = std::conditional_t<sizeof(R) == 4, std::uint32_t, std::uint64_t>;
  Bits parts[2];
  std::memcpy(parts, &value, sizeof parts);
  parts[1] ^= Bits{1} << (8 * sizeof(R) - 1);
  C result;
  std::memcpy(&result, parts, sizeof parts);
  return result;
}

template <typename T>
::testing::AssertionResult sameBits(const std::vector<T>& expected, const std::vector<T>& actual) {
  if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "sizes differ";
  if (expected.empty() || std::memcmp(expected.data(), actual.data(), expected.size() * sizeof(T)) == 0) {
    return ::testing::AssertionSuccess();
  }
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (std::memcmp(&expected[i], &actual[i], sizeof(T)) != 0) {
      return ::testing::AssertionFailure()
             << "first difference at element " << i << " of " << expected.size();
    }
  }
  return ::testing::AssertionFailure();
}

}  // namespace buffering_test
