#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <vector>

#include "buffering/transpose.hpp"
#include "buffering_test_support.hpp"

namespace {

using namespace buffering_test;
namespace bf = tessel_fft::buffering;

struct Shape {
  std::size_t cols, rows;
};

// Shapes on both sides of rows < cols, at the two dispatcher limits (one below, at, one above, which also
// gives several parallel blocks), with unit and zero extents.
template <typename T>
std::vector<Shape> transposeShapes() {
  const std::size_t colsLimit = elems<T>(128 * kKiB), rowsLimit = elems<T>(64 * kKiB);
  return {{0, 0},
          {0, 5},
          {5, 0},
          {1, 1},
          {1, 9},
          {9, 1},
          {7, 7},
          {4, 33},
          {33, 4},
          {6, 13},
          {13, 6},
          {3, rowsLimit - 1},
          {3, rowsLimit},
          {3, rowsLimit + 1},
          {colsLimit - 1, 2},
          {colsLimit, 2},
          {colsLimit + 1, 2}};
}

template <typename T, template <typename> class F, typename Reference>
void checkTranspose(Reference reference) {
  for (const Shape& shape : transposeShapes<T>()) {
    // Both signs of both strides; the pitches leave gaps that must stay untouched.
    for (int signs = 0; signs < 4; ++signs) {
      const std::ptrdiff_t dstStride = (shape.cols + 2) * ((signs & 1) ? -1 : 1);
      const std::ptrdiff_t srcStride = (shape.rows + 1) * ((signs & 2) ? -1 : 1);
      SCOPED_TRACE(::testing::Message() << "cols " << shape.cols << " rows " << shape.rows << " dstStride "
                                        << dstStride << " srcStride " << srcStride);
      const std::size_t dstSize = (shape.rows + 1) * (shape.cols + 2);
      const std::size_t srcSize = (shape.cols + 1) * (shape.rows + 1);
      // A negative stride puts the first row (column) at the top of its buffer.
      const std::ptrdiff_t dstOrigin =
          dstStride < 0 ? -dstStride * static_cast<std::ptrdiff_t>(shape.rows) : 0;
      const std::ptrdiff_t srcOrigin =
          srcStride < 0 ? -srcStride * static_cast<std::ptrdiff_t>(shape.cols) : 0;
      const auto src = pattern<T>(srcSize, 7);
      const auto initial = pattern<T>(dstSize, 8);
      auto expected = initial;
      for (std::size_t r = 0; r < shape.rows; ++r) {
        for (std::size_t c = 0; c < shape.cols; ++c) {
          const auto ri = static_cast<std::ptrdiff_t>(r), ci = static_cast<std::ptrdiff_t>(c);
          expected[dstOrigin + ri * dstStride + ci] = reference(src[srcOrigin + ci * srcStride + ri]);
        }
      }
      for (auto kernel : {&bf::strided::serial_transpose<T, F>, &bf::strided::tbb_transpose<T, F>,
                          &bf::strided::transpose<T, F>}) {
        auto dst = initial;
        kernel(dst.data() + dstOrigin, dstStride, src.data() + srcOrigin, srcStride, shape.cols, shape.rows);
        EXPECT_TRUE(sameBits(expected, dst));
      }
    }
  }
}

template <typename T>
class BufferingTranspose : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingTranspose, AllTypes);

template <typename T>
class BufferingConjugateTranspose : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingConjugateTranspose, ComplexTypes);

template <typename T>
class BufferingInterleavedTranspose : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingInterleavedTranspose, RealTypes);

TYPED_TEST(BufferingTranspose, AllFormsMatchReference) {
  checkTranspose<TypeParam, bf::noop>([](const TypeParam& v) { return v; });
}

TYPED_TEST(BufferingConjugateTranspose, AllFormsMatchReference) {
  checkTranspose<TypeParam, bf::conjugate>([](const TypeParam& v) { return conjBits(v); });
}

TYPED_TEST(BufferingInterleavedTranspose, BothDirectionsMatchReference) {
  using T = TypeParam;
  const std::size_t columnLimit = elems<T>(64 * kKiB), rowLimit = elems<T>(128 * kKiB);
  // Rows around 4 and 8 switch between the column and the row path; the totals cross the column limit and
  // both row limits, and the long inner walks of the big shapes cross the gather and scatter limits.
  const std::vector<Shape> shapes = {{0, 0},
                                     {0, 9},
                                     {7, 0},
                                     {1, 1},
                                     {5, 3},
                                     {5, 4},
                                     {5, 5},
                                     {5, 8},
                                     {5, 9},
                                     {columnLimit / 4 - 1, 4},
                                     {columnLimit / 4, 4},
                                     {columnLimit / 8, 8},
                                     {rowLimit / 16 - 1, 16},
                                     {rowLimit / 16, 16},
                                     {rowLimit / 32, 16},
                                     {3, rowLimit / 2 + 1},
                                     {elems<T>(128 * kKiB) + 3, 9}};
  for (bool fromInterleaved : {false, true}) {
    for (const Shape& shape : shapes) {
      for (std::ptrdiff_t part : {0, 1}) {
        SCOPED_TRACE(::testing::Message() << "fromInterleaved " << fromInterleaved << " cols " << shape.cols
                                          << " rows " << shape.rows << " part " << part);
        const std::ptrdiff_t dstUnit = fromInterleaved ? 1 : 2, srcUnit = fromInterleaved ? 2 : 1;
        const auto dstStride = static_cast<std::ptrdiff_t>(shape.cols + 1);
        const auto srcStride = static_cast<std::ptrdiff_t>(shape.rows + 2);
        const std::size_t dstSize = dstUnit * (shape.rows + 1) * dstStride;
        const std::size_t srcSize = srcUnit * (shape.cols + 1) * srcStride;
        const auto src = pattern<T>(srcSize, 9);
        const auto initial = pattern<T>(dstSize, 10);
        // The interleaved side is offset by one T for the second component.
        const std::ptrdiff_t dstOffset = fromInterleaved ? 0 : part, srcOffset = fromInterleaved ? part : 0;
        auto expected = initial;
        for (std::ptrdiff_t r = 0; r < static_cast<std::ptrdiff_t>(shape.rows); ++r) {
          for (std::ptrdiff_t c = 0; c < static_cast<std::ptrdiff_t>(shape.cols); ++c) {
            expected[dstOffset + (r * dstStride + c) * dstUnit] =
                src[srcOffset + (c * srcStride + r) * srcUnit];
          }
        }
        auto dst = initial;
        bf::interleaved::transpose<T>(dst.data() + dstOffset, dstStride, src.data() + srcOffset, srcStride,
                                      shape.cols, shape.rows, fromInterleaved);
        EXPECT_TRUE(sameBits(expected, dst));
      }
    }
  }
}

}  // namespace
