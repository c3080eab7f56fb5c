#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <vector>

#include "buffering/submatrix.hpp"
#include "buffering_test_support.hpp"

namespace {

using namespace buffering_test;
namespace bf = tessel_fft::buffering;

struct Case {
  std::size_t dstLd, srcLd, rows, cols;
};

// Truncation and padding, rows == dstLd, rows == 0, cols == 0; maxLd * cols at the matrix limit and one
// element of pitch above it; a pitch above the block budget; rows one below, at and one above the copy
// limit.
std::vector<Case> submatrixCases(std::size_t copyLimit, std::size_t matrixLimit, std::size_t blockBudget) {
  return {{5, 5, 5, 0},
          {9, 4, 4, 3},
          {4, 9, 4, 3},
          {6, 6, 0, 4},
          {8, 8, 8, 1},
          {16, 16, 11, matrixLimit / 16},
          {17, 16, 11, matrixLimit / 16},
          {16, 17, 11, matrixLimit / 16},
          {blockBudget + 3, 7, 7, 5},
          {copyLimit + 2, copyLimit - 1, copyLimit - 1, 2},
          {copyLimit + 2, copyLimit, copyLimit, 2},
          {copyLimit + 2, copyLimit + 1, copyLimit + 1, 1}};
}

template <typename T>
class BufferingSubmatrix : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingSubmatrix, AllTypes);

template <typename T>
class BufferingConjugateSubmatrix : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingConjugateSubmatrix, ComplexTypes);

template <typename T>
class BufferingInterleavedSubmatrix : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingInterleavedSubmatrix, RealTypes);

TYPED_TEST(BufferingSubmatrix, CopiesLeadingRowsAndFillsTheGap) {
  using T = TypeParam;
  const std::size_t limit = elems<T>(1024 * kKiB);
  for (const Case& k : submatrixCases(limit, limit, elems<T>(256 * kKiB))) {
    for (bool zeroFill : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "dstLd " << k.dstLd << " srcLd " << k.srcLd << " rows " << k.rows
                                        << " cols " << k.cols << " zeroFill " << zeroFill);
      const auto src = pattern<T>(k.srcLd * k.cols, 11);
      const auto initial = pattern<T>(k.dstLd * k.cols, 12);
      auto expected = initial;
      for (std::size_t c = 0; c < k.cols; ++c) {
        for (std::size_t i = 0; i < k.dstLd; ++i) {
          if (i < k.rows) expected[c * k.dstLd + i] = src[c * k.srcLd + i];
          if (i >= k.rows && zeroFill) expected[c * k.dstLd + i] = T{};
        }
      }
      auto dst = initial;
      bf::contiguous::submatrix(dst.data(), k.dstLd, src.data(), k.srcLd, k.rows, k.cols, zeroFill);
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

TYPED_TEST(BufferingConjugateSubmatrix, ReadsEachColumnDownward) {
  using C = TypeParam;
  const std::size_t limit = elems<C>(1024 * kKiB);
  for (const Case& k : submatrixCases(limit, limit, elems<C>(256 * kKiB))) {
    SCOPED_TRACE(::testing::Message()
                 << "dstLd " << k.dstLd << " srcLd " << k.srcLd << " rows " << k.rows << " cols " << k.cols);
    // Column c is read from srcTop + c*srcLd downward, so the source starts rows - 1 below srcTop.
    const std::size_t below = k.rows == 0 ? 0 : k.rows - 1;
    const auto src = pattern<C>(below + k.srcLd * k.cols + 1, 13);
    const auto initial = pattern<C>(k.dstLd * k.cols, 14);
    auto expected = initial;
    for (std::size_t c = 0; c < k.cols; ++c) {
      for (std::size_t i = 0; i < k.rows; ++i)
        expected[c * k.dstLd + i] = conjBits(src[below + c * k.srcLd - i]);
    }
    auto dst = initial;
    bf::contiguous::conjugate_submatrix(dst.data(), k.dstLd, src.data() + below, k.srcLd, k.rows, k.cols);
    EXPECT_TRUE(sameBits(expected, dst));
  }
}

TYPED_TEST(BufferingInterleavedSubmatrix, LiftsOneComponentAndAlwaysFillsTheGap) {
  using T = TypeParam;
  const std::size_t limit = elems<T>(128 * kKiB);
  for (const Case& k : submatrixCases(limit, limit, elems<T>(16 * kKiB))) {
    for (std::size_t part : {0, 1}) {
      SCOPED_TRACE(::testing::Message() << "dstLd " << k.dstLd << " srcLd " << k.srcLd << " rows " << k.rows
                                        << " cols " << k.cols << " part " << part);
      const auto src = pattern<T>(2 * k.srcLd * k.cols, 15);
      const auto initial = pattern<T>(k.dstLd * k.cols, 16);
      auto expected = initial;
      for (std::size_t c = 0; c < k.cols; ++c) {
        for (std::size_t i = 0; i < k.dstLd; ++i) {
          expected[c * k.dstLd + i] = i < k.rows ? src[part + 2 * (c * k.srcLd + i)] : T{};
        }
      }
      auto dst = initial;
      bf::interleaved::submatrix(dst.data(), k.dstLd, src.data() + part, k.srcLd, k.rows, k.cols);
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

}  // namespace
