// Helpers shared by the data-movement tests: patterned data with signed zeros and NaN payloads, an
// independent conjugate, and a bitwise check of kernels against a reference loop.
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
using AllTypes = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
using ComplexTypes = ::testing::Types<std::complex<float>, std::complex<double>>;
using RealTypes = ::testing::Types<float, double>;

// The test's own statement of a byte budget in elements.
template <typename T>
constexpr std::size_t elems(std::size_t bytes) {
  return bytes / sizeof(T);
}

template <typename R>
using BitsOf = std::conditional_t<sizeof(R) == 4, std::uint32_t, std::uint64_t>;

template <typename R>
R nanWithPayload(std::uint32_t payload) {
  const R qnan = std::numeric_limits<R>::quiet_NaN();
  BitsOf<R> bits;
  std::memcpy(&bits, &qnan, sizeof bits);
  bits |= (payload & 0xffff) + 1;
  R value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// Distinct values with +0, -0 and NaNs with payloads sprinkled in, so that a bitwise comparison sees any
// element that is misplaced, wrongly conjugated or re-encoded.
template <typename R>
R scalarAt(std::size_t i, unsigned seed) {
  if (i % 13 == 5) return nanWithPayload<R>(static_cast<std::uint32_t>(i + seed));
  if (i % 7 == 3) return R(0);
  if (i % 7 == 4) return -R(0);
  return static_cast<R>(static_cast<double>((i * 2654435761u + seed) % 100003) * 0.125 - 5000.0);
}

template <typename T>
std::vector<T> pattern(std::size_t n, unsigned seed) {
  std::vector<T> values(n);
  for (std::size_t i = 0; i < n; ++i) {
    if constexpr (std::is_floating_point_v<T>) {
      values[i] = scalarAt<T>(i, seed);
    } else {
      values[i] =
          T(scalarAt<typename T::value_type>(2 * i + 1, seed), scalarAt<typename T::value_type>(2 * i, seed));
    }
  }
  return values;
}

// The conjugate by contract: the imaginary part's sign bit flipped, every other bit kept.
template <typename C>
C conjBits(const C& value) {
  using Bits = BitsOf<typename C::value_type>;
  Bits parts[2];
  std::memcpy(parts, &value, sizeof parts);
  parts[1] ^= Bits{1} << (8 * sizeof(Bits) - 1);
  C result;
  std::memcpy(&result, parts, sizeof parts);
  return result;
}

// Runs each kernel(dst, src) on its own copy of a patterned destination of dstSize elements, and checks
// it bit for bit against reference(dst, src) applied to another copy: a kernel must write what the
// reference writes and leave every other element alone.
template <typename T, typename Reference, typename... Kernels>
void expectSameAsReference(std::size_t srcSize, std::size_t dstSize, const Reference& reference,
                           const Kernels&... kernels) {
  const auto src = pattern<T>(srcSize + 1, 1);
  const auto initial = pattern<T>(dstSize + 1, 2);
  auto expected = initial;
  reference(expected.data(), src.data());
  int form = 0;
  auto check = [&](const auto& kernel) {
    auto dst = initial;
    kernel(dst.data(), src.data());
    EXPECT_EQ(0, std::memcmp(expected.data(), dst.data(), dst.size() * sizeof(T)))
        << "kernel form " << form++;
  };
  (check(kernels), ...);
}

}  // namespace buffering_test
