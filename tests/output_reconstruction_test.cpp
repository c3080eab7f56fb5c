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

// Element k of the completed vector j, from one-sided vectors at pitch h.
template <typename C>
C completed(const C* oneSided, std::size_t n, std::size_t j, std::size_t k) {
  const std::size_t h = n / 2 + 1;
  return k < h ? oneSided[j * h + k] : conjBits(oneSided[j * h + n - k]);
}

// Short lengths, both sides of the short-vector path (h = 8 at n = 14, h = 9 at n = 16), and both sides of
// the thresholds at which the halves run concurrently: h one below and at 64 KiB and 128 KiB of elements.
template <typename C>
std::vector<std::size_t> lengths() {
  std::vector<std::size_t> result = {1, 2, 3, 4, 5, 14, 15, 16, 17, 101};
  for (std::size_t h : {elems<C>(64 * kKiB), elems<C>(128 * kKiB)}) {
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

TYPED_TEST(OutputReconstruction, UnitStrideAndStridedDestinations) {
  using C = TypeParam;
  for (std::size_t n : lengths<C>()) {
    for (std::size_t vectors : {1, 4}) {
      // stride 0 selects the unit-stride overload. With n == 1 the strided one ignores its stride.
      for (std::size_t stride : {std::size_t{0}, vectors + 2}) {
        SCOPED_TRACE(::testing::Message() << "n " << n << " vectors " << vectors << " stride " << stride);
        auto reference = [=](C* d, const C* s) {
          for (std::size_t j = 0; j < vectors; ++j) {
            for (std::size_t k = 0; k < n; ++k)
              d[stride ? k * stride + j : j * n + k] = completed(s, n, j, k);
          }
        };
        expectSameAsReference<C>((n / 2 + 1) * vectors, n * (stride ? stride : vectors), reference,
                                 [=](C* d, const C* s) {
                                   if (stride) copyFromOutputBuffer(s, stride, n, vectors, d, r2cTag{});
                                   if (!stride) copyFromOutputBuffer(s, n, vectors, d, r2cTag{});
                                 });
      }
    }
  }
}

TYPED_TEST(OutputReconstruction, InPlaceSpreadsSeveralVectors) {
  using C = TypeParam;
  for (std::size_t n : lengths<C>()) {
    for (std::size_t vectors : {1, 2, 5}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " vectors " << vectors);
      // The plan left the one-sided vectors packed at pitch h at the front of the destination; whatever
      // stands behind them is overwritten by the spreading, and with one vector only the upper part is.
      const std::size_t packed = (n / 2 + 1) * vectors;
      auto reference = [=](C* d, const C*) {
        const std::vector<C> oneSided(d, d + packed);
        for (std::size_t j = 0; j < vectors; ++j) {
          for (std::size_t k = 0; k < n; ++k) d[j * n + k] = completed(oneSided.data(), n, j, k);
        }
      };
      expectSameAsReference<C>(0, n * vectors, reference,
                               [=](C* d, const C*) { copyFromOutputBuffer(d, n, vectors, d, r2cTag{}); });
    }
  }
}

TYPED_TEST(OutputReconstruction, MirrorOfPositiveZeroIsNegativeZero) {
  using C = TypeParam;
  using R = typename C::value_type;
  const C src[] = {C(1, 0), C(2, 0), C(3, -R(0)), C(4, 0)};
  C unit[6], strided[6];
  copyFromOutputBuffer(src, 6, 1, unit, r2cTag{});
  copyFromOutputBuffer(src, 1, 6, 1, strided, r2cTag{});
  for (const C* out : {unit, strided}) {
    // DC and Nyquist are copied as stored; X[5] = conj(2 + 0i), X[4] = conj(3 - 0i).
    EXPECT_FALSE(std::signbit(out[0].imag()) || std::signbit(out[3].imag()));
    EXPECT_TRUE(std::signbit(out[5].imag()) && out[5].imag() == 0);
    EXPECT_FALSE(std::signbit(out[4].imag()));
  }
}

TYPED_TEST(OutputReconstructionPlain, StridedWithoutCompletion) {
  using E = TypeParam;
  for (std::size_t n : {1, 2, 3, 16, 4097}) {
    for (std::size_t vectors : {1, 4, 9}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " vectors " << vectors);
      const std::size_t stride = vectors + 3;
      auto reference = [=](E* d, const E* s) {
        for (std::size_t j = 0; j < vectors; ++j) {
          for (std::size_t k = 0; k < n; ++k) d[k * stride + j] = s[j * n + k];
        }
      };
      expectSameAsReference<E>(n * vectors, n * stride, reference,
                               [=](E* d, const E* s) { copyFromOutputBuffer(s, stride, n, vectors, d); });
    }
  }
}

}  // namespace
