// The data-movement kernels in every form, bit for bit against plain loops, around each size limit; the
// destination's other elements must keep their bits.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "buffering/copy.hpp"
#include "buffering/element_functors.hpp"
#include "buffering/hermitian.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/stream.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"

namespace {

namespace bf = tessel_fft::buffering;
using Index = std::ptrdiff_t;

// A byte budget in elements: every threshold is the library's own constant, so that boundary rows still
// straddle the switch after a constant changes.
template <typename T>
constexpr Index elems(std::size_t bytes) {
  return static_cast<Index>(bytes / sizeof(T));
}

template <typename R>
using BitsOf = std::conditional_t<sizeof(R) == 4, std::uint32_t, std::uint64_t>;

template <typename To, typename From>
To bitCast(const From& from) {
  To to;
  std::memcpy(static_cast<void*>(&to), &from, sizeof to);
  return to;
}

// Distinct values, +0, -0 and NaN payloads: bitwise comparison sees any misplaced or re-encoded element.
template <typename R>
R scalarAt(std::size_t i, unsigned seed) {
  if (i % 13 == 5)
    return bitCast<R>(bitCast<BitsOf<R>>(std::numeric_limits<R>::quiet_NaN()) | (((i + seed) & 0xffff) + 1));
  if (i % 7 == 3 || i % 7 == 4) return i % 7 == 3 ? R(0) : -R(0);
  return static_cast<R>(static_cast<double>((i * 2654435761u + seed) % 100003) * 0.125 - 5000.0);
}

template <typename T>
std::vector<T> pattern(std::size_t n, unsigned seed) {
  std::vector<T> values(n);
  for (std::size_t i = 0; i < n; ++i) {
    if constexpr (std::is_floating_point_v<T>) values[i] = scalarAt<T>(i, seed);
    if constexpr (!std::is_floating_point_v<T>)
      values[i] =
          T(scalarAt<typename T::value_type>(2 * i + 1, seed), scalarAt<typename T::value_type>(2 * i, seed));
  }
  return values;
}

// The conjugate by contract: the imaginary part's sign bit flipped, every other bit kept.
template <typename C>
C conjBits(const C& value) {
  using Bits = BitsOf<typename C::value_type>;
  auto parts = bitCast<std::array<Bits, 2>>(value);
  parts[1] ^= Bits{1} << (8 * sizeof(Bits) - 1);
  return bitCast<C>(parts);
}

// Each kernel(dst, src) on its own copy of a patterned destination, bit for bit as reference(dst, src).
template <typename T, typename Reference, typename... Kernels>
void expectSameAsReference(std::size_t srcSize, std::size_t dstSize, const Reference& reference,
                           const Kernels&... kernels) {
  const auto src = pattern<T>(srcSize + 1, 1), initial = pattern<T>(dstSize + 1, 2);
  auto expected = initial;
  reference(expected.data(), src.data());
  int form = 0;
  const auto check = [&](const auto& kernel) {
    auto dst = initial;
    kernel(dst.data(), src.data());
    EXPECT_EQ(0, std::memcmp(expected.data(), dst.data(), dst.size() * sizeof(T)))
        << "kernel form " << form++;
  };
  (check(kernels), ...);
}

// Every affine kernel: dst[dstAt + r dstRow + c dstCol] = src[srcAt + r srcRow + c srcCol] (conjugated
// if `conj`) for r < rows, c < cols; then rows up to clearTo of each column are zeroed.
struct Walk {
  Index rows, cols, dstRow, dstCol, srcRow, srcCol, dstAt = 0, srcAt = 0;
  bool conj = false;
  Index clearTo = 0;
};

// The elements an origin and two strides span.
inline std::size_t span(Index at, Index rows, Index rowStride, Index cols, Index colStride) {
  return static_cast<std::size_t>(at + std::max<Index>(0, (rows - 1) * rowStride) +
                                  std::max<Index>(0, (cols - 1) * colStride) + 1);
}

template <typename T, typename... Kernels>
void expectWalk(const Walk& w, const Kernels&... kernels) {
  const auto reference = [&](T* d, const T* s) {
    for (Index c = 0; c < w.cols; ++c) {
      for (Index r = 0; r < w.rows; ++r) {
        T value = s[w.srcAt + r * w.srcRow + c * w.srcCol];
        if constexpr (!std::is_floating_point_v<T>) value = w.conj ? conjBits(value) : value;
        d[w.dstAt + r * w.dstRow + c * w.dstCol] = value;
      }
      for (Index r = w.rows; r < w.clearTo; ++r) d[w.dstAt + r * w.dstRow + c * w.dstCol] = T{};
    }
  };
  expectSameAsReference<T>(span(w.srcAt, w.rows, w.srcRow, w.cols, w.srcCol),
                           span(w.dstAt, std::max(w.rows, w.clearTo), w.dstRow, w.cols, w.dstCol), reference,
                           kernels...);
}

template <typename T>
class Buffering : public ::testing::Test {};
using AllTypes = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(Buffering, AllTypes);

// Zero and short lengths, and one below, at and one above a block size and a limit.
template <typename T>
std::vector<Index> lengthsAround(const bf::Budget& budget) {
  const Index step = elems<T>(budget.stepBytes), limit = elems<T>(budget.limitBytes);
  return {0, 1, 5, step - 1, step, step + 1, 3 * step + 7, limit - 1, limit, limit + 1};
}

// Every form of the strided gather or scatter with functor F; strides of both signs.
template <typename T, template <typename> class F, bool kScatter>
void checkStrided(const bf::Budget& budget) {
  using Kernel = std::conditional_t<kScatter, void (*)(T*, Index, const T*, std::size_t),
                                    void (*)(T*, const T*, Index, std::size_t)>;
  for (Index stride : {1, 3, -2}) {
    for (Index n : lengthsAround<T>(budget)) {
      SCOPED_TRACE(::testing::Message() << "stride " << stride << " n " << n);
      const Index origin = stride < 0 ? -stride * n : 0;
      const auto kernel = [=](Kernel copy) {
        return [=](T* d, const T* s) {
          if constexpr (kScatter) copy(d + origin, stride, s, n);
          if constexpr (!kScatter) copy(d, s + origin, stride, n);
        };
      };
      const bool conj = !std::is_same_v<F<T>, bf::noop<T>>;
      expectWalk<T>(kScatter ? Walk{n, 1, stride, 0, 1, 0, origin, 0, conj}
                             : Walk{n, 1, 1, 0, stride, 0, 0, origin, conj},
                    kernel(bf::strided::serial_copy<T, F>), kernel(bf::strided::tbb_copy<T, F>),
                    kernel(bf::strided::copy<T, F>));
    }
  }
}

TYPED_TEST(Buffering, Copies) {
  using T = TypeParam;
  for (Index n : lengthsAround<T>(bf::kContiguousBudget)) {
    SCOPED_TRACE(n);
    const auto plain = [n](auto copy) { return [=](T* d, const T* s) { copy(d, s, n); }; };
    expectWalk<T>({n, 1, 1, 0, 1, 0}, plain(bf::contiguous::serial_copy<T>),
                  plain(bf::contiguous::tbb_copy<T>), plain(bf::contiguous::copy<T>),
                  plain(bf::contiguous::stream_copy<T>));
    // Streaming into a destination off a cache line: whole lines between partial ones.
    expectWalk<T>({n, 1, 1, 0, 1, 0, 1}, [=](T* d, const T* s) { bf::contiguous::stream_copy(d + 1, s, n); });
  }
  checkStrided<T, bf::noop, false>(bf::kGatherBudget);
  checkStrided<T, bf::noop, true>(bf::kScatterBudget);
  if constexpr (!std::is_floating_point_v<T>) checkStrided<T, bf::conjugate, true>(bf::kScatterBudget);
}

template <typename T, template <typename> class F>
void checkTranspose() {
  const Index colsLimit = elems<T>(bf::kGatherBudget.limitBytes),
              rowsLimit = elems<T>(bf::kScatterBudget.limitBytes);
  // Zero and unit extents, both sides of rows < cols, and one below, at and one above each limit.
  std::vector<std::pair<Index, Index>> shapes = {{0, 0}, {0, 5}, {5, 0},  {1, 1}, {1, 9},
                                                 {9, 1}, {7, 7}, {4, 33}, {33, 4}};
  for (Index delta : {-1, 0, 1})
    shapes.insert(shapes.end(), {{3, rowsLimit + delta}, {colsLimit + delta, 2}});
  for (const auto& [cols, rows] : shapes) {
    for (int signs = 0; signs < 4; ++signs) {
      // Pitches with gaps that must stay untouched; a negative stride hands over the highest row (column).
      const Index dstStride = (cols + 2) * ((signs & 1) ? -1 : 1),
                  srcStride = (rows + 1) * ((signs & 2) ? -1 : 1);
      const Index dstAt = dstStride < 0 ? -dstStride * rows : 0,
                  srcAt = srcStride < 0 ? -srcStride * cols : 0;
      SCOPED_TRACE(::testing::Message() << "cols " << cols << " rows " << rows << " signs " << signs);
      const auto kernel = [=](auto transpose) {
        return [=](T* d, const T* s) { transpose(d + dstAt, dstStride, s + srcAt, srcStride, cols, rows); };
      };
      const Walk walk{
          rows, cols, dstStride, 1, 1, srcStride, dstAt, srcAt, !std::is_same_v<F<T>, bf::noop<T>>};
      expectWalk<T>(walk, kernel(bf::strided::serial_transpose<T, F>),
                    kernel(bf::strided::tbb_transpose<T, F>), kernel(bf::strided::transpose<T, F>));
      if constexpr (std::is_same_v<F<T>, bf::noop<T>>) {
        // The same move through lists of the destination's rows or of the source's columns.
        if (signs != 0 || cols > 4096 || rows > 4096) continue;
        const auto columns = [=](auto scatter) {
          return [=](T* d, const T* s) {
            std::vector<const T*> list(cols);
            for (Index c = 0; c < cols; ++c) list[c] = s + c * srcStride;
            scatter(d, dstStride, list.data(), cols, rows);
          };
        };
        expectWalk<T>(
            walk,
            [=](T* d, const T* s) {
              std::vector<T*> list(rows);
              for (Index r = 0; r < rows; ++r) list[r] = d + r * dstStride;
              bf::strided::gather_rows(list.data(), s, srcStride, cols, rows);
            },
            columns(bf::strided::scatter_columns<T>), columns(bf::strided::stream_scatter_columns<T>));
      }
    }
  }
}

TYPED_TEST(Buffering, Transposes) {
  using T = TypeParam;
  checkTranspose<T, bf::noop>();
  if constexpr (!std::is_floating_point_v<T>) {
    checkTranspose<T, bf::conjugate>();
    // A complex destination on its parts' alignment only streams through another path.
    using R = typename T::value_type;
    const Index cols = 37, rows = 9;
    const auto src = pattern<T>(cols * rows, 3);
    std::vector<const T*> list(cols);
    for (Index c = 0; c < cols; ++c) list[c] = src.data() + c * rows;
    std::vector<R> parts(2 * cols * rows + 2, R(7)), want = parts;
    for (Index r = 0; r < rows; ++r) {
      for (Index c = 0; c < cols; ++c)
        std::memcpy(&want[1 + 2 * (r * cols + c)], &src[c * rows + r], sizeof(T));
    }
    bf::strided::stream_scatter_columns(reinterpret_cast<T*>(parts.data() + 1), cols, list.data(), cols,
                                        rows);
    EXPECT_EQ(0, std::memcmp(parts.data(), want.data(), parts.size() * sizeof(R)));
  } else {
    const Index small = elems<T>(bf::kScatterBudget.limitBytes),
                large = elems<T>(bf::kGatherBudget.limitBytes);
    // Rows 4/5 and 8/9 switch between the column and the row path; totals one below and at the column
    // limit and both row limits; long inner walks that cross the gather and scatter limits.
    // clang-format off
    const std::pair<Index, Index> shapes[] = {{0, 9}, {7, 0}, {5, 4}, {5, 5}, {5, 8}, {5, 9}, {small / 4 - 1, 4},
        {small / 8, 8}, {large / 16 - 1, 16}, {large / 16, 16}, {small / 16, 16}, {3, large / 2 + 1}, {large + 3, 9}};
    // clang-format on
    for (bool fromInterleaved : {false, true}) {
      for (const auto& [cols, rows] : shapes) {
        for (Index part : {0, 1}) {
          SCOPED_TRACE(::testing::Message()
                       << fromInterleaved << " cols " << cols << " rows " << rows << " " << part);
          // The interleaved side steps by two T and starts one T further for the second component.
          const Index dstUnit = fromInterleaved ? 1 : 2, srcUnit = fromInterleaved ? 2 : 1;
          const Index dstStride = cols + 1, srcStride = rows + 2;
          const Index dstAt = fromInterleaved ? 0 : part, srcAt = fromInterleaved ? part : 0;
          expectWalk<T>(
              {rows, cols, dstStride * dstUnit, dstUnit, srcUnit, srcStride * srcUnit, dstAt, srcAt},
              [=](T* d, const T* s) {
                bf::interleaved::transpose<T>(d + dstAt, dstStride, s + srcAt, srcStride, cols, rows,
                                              fromInterleaved);
              });
        }
      }
    }
  }
}

TYPED_TEST(Buffering, Submatrices) {
  using T = TypeParam;
  // cols 0, padding, truncation, rows 0, rows == dstLd; maxLd * cols at the matrix limit and one pitch
  // element above; a pitch above the block budget; rows around the copy (= matrix) limit.
  for (const bool interleaved : {false, true}) {
    if (interleaved && !std::is_floating_point_v<T>) continue;
    const bf::Budget& copyBudget = interleaved ? bf::kGatherBudget : bf::kContiguousBudget;
    const Index limit = elems<T>(copyBudget.limitBytes), budget = elems<T>(copyBudget.stepBytes);
    // clang-format off
    const Index shapes[][4] = {{5, 5, 5, 0}, {9, 4, 4, 3}, {4, 9, 4, 3}, {6, 6, 0, 4}, {8, 8, 8, 1},
        {16, 16, 11, limit / 16}, {17, 16, 11, limit / 16}, {16, 17, 11, limit / 16}, {budget + 3, 7, 7, 5},
        {limit + 2, limit - 1, limit - 1, 2}, {limit + 2, limit, limit, 2}, {limit + 2, limit + 1, limit + 1, 1}};
    // clang-format on
    for (const auto& [dstLd, srcLd, rows, cols] : shapes) {
      SCOPED_TRACE(::testing::Message() << "dstLd " << dstLd << " srcLd " << srcLd << " rows " << rows);
      if (interleaved) {
        // One component lifted out of interleaved pairs; the gap is always cleared.
        for (Index part : {0, 1}) {
          expectWalk<T>({rows, cols, 1, dstLd, 2, 2 * srcLd, 0, part, false, dstLd}, [=](T* d, const T* s) {
            bf::interleaved::submatrix(d, dstLd, s + part, srcLd, rows, cols);
          });
        }
        continue;
      }
      for (bool zeroFill : {false, true}) {
        expectWalk<T>(
            {rows, cols, 1, dstLd, 1, srcLd, 0, 0, false, zeroFill ? dstLd : 0},
            [=](T* d, const T* s) { bf::contiguous::submatrix(d, dstLd, s, srcLd, rows, cols, zeroFill); });
      }
    }
  }
}

// r2c completion in place in the layouts the walk's move out (below) doesn't reach, on the calling thread
// and over tasks: rows mirrored as a two-dimensional spectrum's, one long row, columns side by side.
TYPED_TEST(Buffering, Completion) {
  using T = TypeParam;
  if constexpr (!std::is_floating_point_v<T>) {
    const Index limit = elems<T>(bf::kContiguousBudget.limitBytes);
    // Spectrum j takes the upper half of spectrum (count - j) mod count where mirrored.
    // clang-format off
    const struct { Index n, count; bool columns, mirrored; } cases[] = {{1, 3, false, false}, {2, 3, true, false},
        {16, 5, false, true}, {64, limit / 31 + 1, false, true}, {2 * limit + 5, 1, false, false},
        {33, 6, true, false}, {2 * limit / 7 + 16, 7, true, false}};
    // clang-format on
    for (const auto& c : cases) {
      SCOPED_TRACE(::testing::Message() << "n " << c.n << " count " << c.count);
      const Index stride = c.count + 2;  // columns: gaps that must stay
      const auto at = [=](Index j, Index k) { return c.columns ? k * stride + j : j * c.n + k; };
      const auto kernel = [=](bool threaded) {
        return [=](T* d, const T*) {
          const bf::Spectra<T> full{d, c.columns ? 1 : c.n, c.columns ? stride : 1};
          bf::completeSpectra(full, {d, full.spectrumStep, full.elementStep},
                              {std::size_t(c.n), std::size_t(c.count), c.mirrored}, threaded);
        };
      };
      expectSameAsReference<T>(
          0, c.columns ? stride * c.n : c.n * c.count,
          [=](T* d, const T*) {
            for (Index j = 0; j < c.count; ++j) {
              for (Index k = c.n / 2 + 1; k < c.n; ++k)
                d[at(j, k)] = conjBits(d[at(c.mirrored ? (c.count - j) % c.count : j, c.n - k)]);
            }
          },
          kernel(false), kernel(true));
    }
  }
}

// Strided scatters, and r2c completion (k >= h = n/2+1 is the conjugate of n - k) to unit-stride or
// strided destinations and in place; both sides of the short-vector path (h 8 / 9) and of the
// thresholds at which the halves run concurrently.
TYPED_TEST(Buffering, OutputReconstruction) {
  using T = TypeParam;
  const auto strided = [](T* d, Index pitch) { return tessel_fft::StridedOutput<T>{d, std::size_t(pitch)}; };
  std::vector<Index> lengths = {1, 2, 3, 4, 5, 14, 15, 16, 17, 101};
  for (Index h : {elems<T>(tessel_fft::kStridedHalvesConcurrentBytes),
                  elems<T>(tessel_fft::kUnitHalvesConcurrentBytes)}) {
    for (Index n : {2 * h - 4, 2 * h - 3, 2 * h - 2, 2 * h - 1}) lengths.push_back(n);
  }
  for (Index n : lengths) {
    for (Index vectors : {1, 2, 5}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " vectors " << vectors);
      const Index stride = vectors + 3;
      expectWalk<T>({n, vectors, stride, 1, 1, n}, [=](T* d, const T* s) {
        tessel_fft::copyFromOutputBuffer(s, n, vectors, strided(d, stride));
      });
      if constexpr (!std::is_floating_point_v<T>) {
        const Index h = n / 2 + 1;
        const auto complete = [=](T* d, const T* oneSided, Index pitch) {
          for (Index j = 0; j < vectors; ++j) {
            for (Index k = 0; k < n; ++k) {
              d[pitch ? k * pitch + j : j * n + k] =
                  k < h ? oneSided[j * h + k] : conjBits(oneSided[j * h + n - k]);
            }
          }
        };
        // pitch 0 stands for the unit-stride overload. With n == 1 the strided one ignores its pitch.
        for (Index pitch : {Index{0}, stride}) {
          expectSameAsReference<T>(
              h * vectors, n * (pitch ? pitch : vectors), [=](T* d, const T* s) { complete(d, s, pitch); },
              [=](T* d, const T* s) {
                if (pitch)
                  tessel_fft::copyFromOutputBuffer(s, n, vectors, strided(d, pitch), tessel_fft::r2cTag{});
                if (!pitch) tessel_fft::copyFromOutputBuffer(s, n, vectors, d, tessel_fft::r2cTag{});
              });
        }
        // In place the one-sided vectors stand packed at the front; the spreading must not overwrite a
        // vector not yet moved, and with one vector only the upper part is written.
        expectSameAsReference<T>(
            0, n * vectors,
            [=](T* d, const T*) { complete(d, std::vector<T>(d, d + h * vectors).data(), 0); },
            [=](T* d, const T*) {
              tessel_fft::copyFromOutputBuffer(d, n, vectors, d, tessel_fft::r2cTag{});
            });
      }
    }
  }
}

}  // namespace
