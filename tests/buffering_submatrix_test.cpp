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

// cols == 0, padding and truncation, rows == 0, rows == dstLd; maxLd * cols at the matrix limit and one
// element of pitch above it; a pitch above the block budget; rows one below, at and one above the copy
// limit. The copy and matrix limits are equal for every kernel.
std::vector<Case> cases(std::size_t limit, std::size_t blockBudget) {
  // clang-format off
  return {{5, 5, 5, 0}, {9, 4, 4, 3}, {4, 9, 4, 3}, {6, 6, 0, 4}, {8, 8, 8, 1}, {16, 16, 11, limit / 16},
          {17, 16, 11, limit / 16}, {16, 17, 11, limit / 16}, {blockBudget + 3, 7, 7, 5},
          {limit + 2, limit - 1, limit - 1, 2}, {limit + 2, limit, limit, 2}, {limit + 2, limit + 1, limit + 1, 1}};
  // clang-format on
}

#define TRACE_CASE(k)                                                                                    \
  SCOPED_TRACE(::testing::Message() << "dstLd " << k.dstLd << " srcLd " << k.srcLd << " rows " << k.rows \
                                    << " cols " << k.cols)

template <typename T>
class BufferingSubmatrix : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingSubmatrix, AllTypes);
template <typename T>
class BufferingConjugateSubmatrix : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingConjugateSubmatrix, ComplexTypes);
template <typename T>
class BufferingInterleavedSubmatrix : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingInterleavedSubmatrix, RealTypes);

TYPED_TEST(BufferingSubmatrix, CopiesLeadingRowsAndOptionallyClearsTheGap) {
  using T = TypeParam;
  for (const Case& k : cases(elems<T>(1024 * kKiB), elems<T>(256 * kKiB))) {
    for (bool zeroFill : {false, true}) {
      TRACE_CASE(k);
      auto reference = [=](T* d, const T* s) {
        for (std::size_t c = 0; c < k.cols; ++c) {
          for (std::size_t i = 0; i < k.dstLd; ++i) {
            if (i < k.rows || zeroFill) d[c * k.dstLd + i] = i < k.rows ? s[c * k.srcLd + i] : T{};
          }
        }
      };
      expectSameAsReference<T>(k.srcLd * k.cols, k.dstLd * k.cols, reference, [=](T* d, const T* s) {
        bf::contiguous::submatrix(d, k.dstLd, s, k.srcLd, k.rows, k.cols, zeroFill);
      });
    }
  }
}

TYPED_TEST(BufferingConjugateSubmatrix, ReadsEachColumnDownward) {
  using C = TypeParam;
  for (const Case& k : cases(elems<C>(1024 * kKiB), elems<C>(256 * kKiB))) {
    TRACE_CASE(k);
    // Column c is read downward from s + top + c*srcLd.
    const std::size_t top = k.rows == 0 ? 0 : k.rows - 1;
    auto reference = [=](C* d, const C* s) {
      for (std::size_t c = 0; c < k.cols; ++c) {
        for (std::size_t i = 0; i < k.rows; ++i) d[c * k.dstLd + i] = conjBits(s[top + c * k.srcLd - i]);
      }
    };
    expectSameAsReference<C>(top + k.srcLd * k.cols, k.dstLd * k.cols, reference, [=](C* d, const C* s) {
      bf::contiguous::conjugate_submatrix(d, k.dstLd, s + top, k.srcLd, k.rows, k.cols);
    });
  }
}

TYPED_TEST(BufferingInterleavedSubmatrix, LiftsOneComponentAndAlwaysClearsTheGap) {
  using T = TypeParam;
  for (const Case& k : cases(elems<T>(128 * kKiB), elems<T>(16 * kKiB))) {
    for (std::size_t part : {0, 1}) {
      TRACE_CASE(k);
      auto reference = [=](T* d, const T* s) {
        for (std::size_t c = 0; c < k.cols; ++c) {
          for (std::size_t i = 0; i < k.dstLd; ++i)
            d[c * k.dstLd + i] = i < k.rows ? s[part + 2 * (c * k.srcLd + i)] : T{};
        }
      };
      expectSameAsReference<T>(2 * k.srcLd * k.cols, k.dstLd * k.cols, reference, [=](T* d, const T* s) {
        bf::interleaved::submatrix(d, k.dstLd, s + part, k.srcLd, k.rows, k.cols);
      });
    }
  }
}

}  // namespace
