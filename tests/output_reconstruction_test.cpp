#include "buffering/output_reconstruction.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "buffering_test_support.hpp"

namespace {

using namespace buffering_test;
using tessel_fft::copyFromOutputBuffer;
using tessel_fft::r2cTag;

// The full Hermitian vector j of a chunk of one-sided vectors at pitch h.
template <typename C>
C completed(const std::vector<C>& oneSided, std::size_t n, std::size_t j, std::size_t k) {
  const std::size_t h = n / 2 + 1;
  return k < h ? oneSided[j * h + k] : conjBits(oneSided[j * h + n - k]);
}

// Short vectors, both sides of the short-vector path (h = 8 and 9) and of the thresholds at which the
// halves run concurrently, for the unit-stride (128 KiB) and the strided (64 KiB) destination.
template <typename C>
std::vector<std::size_t> lengths() {
  std::vector<std::size_t> result = {1, 2, 3, 4, 5, 14, 15, 16, 17, 101};
  for (std::size_t bytes : {64 * kKiB, 128 * kKiB}) {
    const std::size_t h = elems<C>(bytes);
    // n = 2h - 2 and 2h - 1 both give h; their neighbours give h - 1.
    for (std::size_t n : {2 * h - 4, 2 * h - 3, 2 * h - 2, 2 * h - 1}) result.push_back(n);
  }
  return result;
}

template <typename C>
class OutputReconstruction : public ::testing::Test {};
TYPED_TEST_SUITE(OutputReconstruction, ComplexTypes);

template <typename E>
class OutputReconstructionPlain : public ::testing::Test {};
TYPED_TEST_SUITE(OutputReconstructionPlain, AllTypes);

TYPED_TEST(OutputReconstruction, UnitStrideCompletes) {
  using C = TypeParam;
  for (std::size_t n : lengths<C>()) {
    for (std::size_t numVectors : {1, 3}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " numVectors " << numVectors);
      const std::size_t h = n / 2 + 1;
      const auto src = pattern<C>(h * numVectors, 21);
      const auto initial = pattern<C>(n * numVectors + 1, 22);
      auto expected = initial;
      for (std::size_t j = 0; j < numVectors; ++j) {
        for (std::size_t k = 0; k < n; ++k) expected[j * n + k] = completed(src, n, j, k);
      }
      auto dst = initial;
      copyFromOutputBuffer(src.data(), n, numVectors, dst.data(), r2cTag{});
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

TYPED_TEST(OutputReconstruction, InPlaceSpreadsThenCompletes) {
  using C = TypeParam;
  for (std::size_t n : lengths<C>()) {
    for (std::size_t numVectors : {1, 2, 5}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " numVectors " << numVectors);
      const std::size_t h = n / 2 + 1;
      // The plan left the one-sided vectors packed at pitch h at the front of the chunk.
      auto buffer = pattern<C>(n * numVectors + 1, 23);
      const std::vector<C> oneSided(buffer.begin(), buffer.begin() + h * numVectors);
      auto expected = buffer;
      for (std::size_t j = 0; j < numVectors; ++j) {
        for (std::size_t k = 0; k < n; ++k) expected[j * n + k] = completed(oneSided, n, j, k);
      }
      copyFromOutputBuffer(buffer.data(), n, numVectors, buffer.data(), r2cTag{});
      EXPECT_TRUE(sameBits(expected, buffer));
    }
  }
}

TYPED_TEST(OutputReconstruction, StridedCompletes) {
  using C = TypeParam;
  for (std::size_t n : lengths<C>()) {
    for (std::size_t numVectors : {1, 4}) {
      const std::size_t stride = numVectors + 2;
      SCOPED_TRACE(::testing::Message() << "n " << n << " numVectors " << numVectors);
      const std::size_t h = n / 2 + 1;
      const auto src = pattern<C>(h * numVectors, 24);
      const auto initial = pattern<C>(n * stride, 25);
      auto expected = initial;
      for (std::size_t j = 0; j < numVectors; ++j) {
        // With n == 1 the stride plays no part: the single elements land side by side.
        for (std::size_t k = 0; k < n; ++k) expected[k * stride + j] = completed(src, n, j, k);
      }
      auto dst = initial;
      copyFromOutputBuffer(src.data(), stride, n, numVectors, dst.data(), r2cTag{});
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

TYPED_TEST(OutputReconstruction, MirroredPositiveZeroBecomesNegativeZero) {
  using C = TypeParam;
  using R = typename C::value_type;
  const std::size_t n = 6;
  const std::vector<C> src = {C(1, 0), C(2, 0), C(3, -R(0)), C(4, nanWithPayload<R>(0x55))};
  std::vector<C> unit(n), strided(n);
  copyFromOutputBuffer(src.data(), n, 1, unit.data(), r2cTag{});
  copyFromOutputBuffer(src.data(), 1, n, 1, strided.data(), r2cTag{});
  for (const auto& out : {unit, strided}) {
    EXPECT_FALSE(std::signbit(out[0].imag()));  // DC is copied, not mirrored
    EXPECT_FALSE(std::signbit(out[3].imag()));  // nor is the Nyquist term
    EXPECT_TRUE(std::signbit(out[5].imag()));   // conj of X[1] = 2 + 0i
    EXPECT_FALSE(std::signbit(out[4].imag()));  // conj of X[2] = 3 - 0i
    EXPECT_EQ(out[5].imag(), R(0));
  }
}

TYPED_TEST(OutputReconstructionPlain, StridedScatterWithoutCompletion) {
  using E = TypeParam;
  for (std::size_t n : {1, 2, 3, 16, 4097}) {
    for (std::size_t numVectors : {1, 4, 9}) {
      const std::size_t stride = numVectors + 3;
      SCOPED_TRACE(::testing::Message() << "n " << n << " numVectors " << numVectors);
      const auto src = pattern<E>(n * numVectors, 26);
      const auto initial = pattern<E>(n * stride, 27);
      auto expected = initial;
      for (std::size_t j = 0; j < numVectors; ++j) {
        for (std::size_t k = 0; k < n; ++k) expected[k * stride + j] = src[j * n + k];
      }
      auto dst = initial;
      copyFromOutputBuffer(src.data(), stride, n, numVectors, dst.data());
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

}  // namespace
