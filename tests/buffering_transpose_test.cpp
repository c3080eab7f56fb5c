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

template <typename T, template <typename> class F, typename Element>
void checkTranspose(Element element) {
  const std::size_t colsLimit = elems<T>(128 * kKiB), rowsLimit = elems<T>(64 * kKiB);
  // Zero and unit extents, both sides of rows < cols, and one below, at and one above each limit.
  std::vector<Shape> shapes = {{0, 0}, {0, 5}, {5, 0}, {1, 1}, {1, 9}, {9, 1}, {7, 7}, {4, 33}, {33, 4}};
  for (std::size_t delta : {0, 1, 2}) {
    shapes.push_back({3, rowsLimit + delta - 1});
    shapes.push_back({colsLimit + delta - 1, 2});
  }
  for (const Shape& shape : shapes) {
    for (int signs = 0; signs < 4; ++signs) {
      // Pitches with gaps that must stay untouched; a negative stride hands over the highest row (column).
      const auto rows = static_cast<std::ptrdiff_t>(shape.rows),
                 cols = static_cast<std::ptrdiff_t>(shape.cols);
      const std::ptrdiff_t dstStride = (cols + 2) * ((signs & 1) ? -1 : 1);
      const std::ptrdiff_t srcStride = (rows + 1) * ((signs & 2) ? -1 : 1);
      const std::ptrdiff_t dstOrigin = dstStride < 0 ? -dstStride * rows : 0;
      const std::ptrdiff_t srcOrigin = srcStride < 0 ? -srcStride * cols : 0;
      SCOPED_TRACE(::testing::Message() << "cols " << cols << " rows " << rows << " signs " << signs);
      auto reference = [=](T* d, const T* s) {
        for (std::ptrdiff_t r = 0; r < rows; ++r) {
          for (std::ptrdiff_t c = 0; c < cols; ++c) {
            d[dstOrigin + r * dstStride + c] = element(s[srcOrigin + c * srcStride + r]);
          }
        }
      };
      auto kernel = [=](auto transpose) {
        return [=](T* d, const T* s) {
          transpose(d + dstOrigin, dstStride, s + srcOrigin, srcStride, shape.cols, shape.rows);
        };
      };
      expectSameAsReference<T>((cols + 1) * (rows + 1), (rows + 1) * (cols + 2), reference,
                               kernel(bf::strided::serial_transpose<T, F>),
                               kernel(bf::strided::tbb_transpose<T, F>),
                               kernel(bf::strided::transpose<T, F>));
    }
  }
}

template <typename T>
class BufferingTranspose : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingTranspose, AllTypes);
template <typename T>
class BufferingInterleavedTranspose : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingInterleavedTranspose, RealTypes);

TYPED_TEST(BufferingTranspose, AllFormsMatchReference) {
  using T = TypeParam;
  checkTranspose<T, bf::noop>([](const T& v) { return v; });
  if constexpr (!std::is_floating_point_v<T>)
    checkTranspose<T, bf::conjugate>([](const T& v) { return conjBits(v); });
}

TYPED_TEST(BufferingInterleavedTranspose, BothDirectionsBothComponents) {
  using T = TypeParam;
  const std::size_t small = elems<T>(64 * kKiB), large = elems<T>(128 * kKiB);
  // Rows 4/5 and 8/9 switch between the column and the row path; totals one below and at the column
  // limit and both row limits; long inner walks that cross the gather and scatter limits.
  // clang-format off
  const std::vector<Shape> shapes = {{0, 9}, {7, 0}, {5, 4}, {5, 5}, {5, 8}, {5, 9}, {small / 4 - 1, 4},
      {small / 8, 8}, {large / 16 - 1, 16}, {large / 16, 16}, {small / 16, 16}, {3, large / 2 + 1}, {large + 3, 9}};
  // clang-format on
  for (bool fromInterleaved : {false, true}) {
    for (const Shape& shape : shapes) {
      for (std::ptrdiff_t part : {0, 1}) {
        SCOPED_TRACE(::testing::Message() << "fromInterleaved " << fromInterleaved << " cols " << shape.cols
                                          << " rows " << shape.rows << " part " << part);
        const std::ptrdiff_t dstUnit = fromInterleaved ? 1 : 2, srcUnit = fromInterleaved ? 2 : 1;
        const auto rows = static_cast<std::ptrdiff_t>(shape.rows),
                   cols = static_cast<std::ptrdiff_t>(shape.cols);
        const std::ptrdiff_t dstStride = cols + 1, srcStride = rows + 2;
        // The interleaved side is offset by one T for the second component.
        const std::ptrdiff_t dstOffset = fromInterleaved ? 0 : part, srcOffset = fromInterleaved ? part : 0;
        auto reference = [=](T* d, const T* s) {
          for (std::ptrdiff_t r = 0; r < rows; ++r) {
            for (std::ptrdiff_t c = 0; c < cols; ++c) {
              d[dstOffset + (r * dstStride + c) * dstUnit] = s[srcOffset + (c * srcStride + r) * srcUnit];
            }
          }
        };
        auto kernel = [=](T* d, const T* s) {
          bf::interleaved::transpose<T>(d + dstOffset, dstStride, s + srcOffset, srcStride, shape.cols,
                                        shape.rows, fromInterleaved);
        };
        expectSameAsReference<T>(srcUnit * (cols + 1) * srcStride, dstUnit * (rows + 1) * dstStride,
                                 reference, kernel);
      }
    }
  }
}

}  // namespace
