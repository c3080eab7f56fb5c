#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "buffering/copy.hpp"
#include "buffering_test_support.hpp"

namespace {

using namespace buffering_test;
namespace bf = tessel_fft::buffering;

// Lengths one below, at and one above a block size and a limit, plus short and zero lengths.
template <typename T>
std::vector<std::size_t> lengthsAround(std::size_t stepBytes, std::size_t limitBytes) {
  const std::size_t step = elems<T>(stepBytes), limit = elems<T>(limitBytes);
  return {0, 1, 5, step - 1, step, step + 1, 3 * step + 7, limit - 1, limit, limit + 1};
}

template <typename T>
class BufferingCopy : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingCopy, AllTypes);

template <typename T>
class BufferingConjugateCopy : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingConjugateCopy, ComplexTypes);

TYPED_TEST(BufferingCopy, ContiguousMatchesReference) {
  using T = TypeParam;
  for (std::size_t n : lengthsAround<T>(256 * kKiB, 1024 * kKiB)) {
    SCOPED_TRACE(n);
    const auto src = pattern<T>(n, 1);
    // One guard element on each side of the destination must stay untouched.
    const auto initial = pattern<T>(n + 2, 2);
    auto expected = initial;
    for (std::size_t i = 0; i < n; ++i) expected[i + 1] = src[i];
    for (auto kernel :
         {&bf::contiguous::serial_copy<T>, &bf::contiguous::tbb_copy<T>, &bf::contiguous::copy<T>}) {
      auto dst = initial;
      kernel(dst.data() + 1, src.data(), n);
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

// The gather and scatter for one functor, every form, against a reference loop; strides of both signs.
template <typename T, template <typename> class F, bool scatter, typename Reference>
void checkStrided(std::size_t stepBytes, std::size_t limitBytes, Reference reference) {
  for (std::ptrdiff_t stride : {1, 3, -2}) {
    for (std::size_t n : lengthsAround<T>(stepBytes, limitBytes)) {
      SCOPED_TRACE(::testing::Message() << "stride " << stride << " n " << n);
      const std::size_t wide = n * static_cast<std::size_t>(std::abs(stride)) + 1;
      // The strided side starts at its highest element for a negative stride.
      const std::size_t origin = stride < 0 ? wide - 1 : 0;
      const auto src = pattern<T>(scatter ? n : wide, 3);
      const auto initial = pattern<T>(scatter ? wide : n, 4);
      auto expected = initial;
      for (std::size_t i = 0; i < n; ++i) {
        const std::ptrdiff_t far =
            static_cast<std::ptrdiff_t>(origin) + static_cast<std::ptrdiff_t>(i) * stride;
        if (scatter) {
          expected[far] = reference(src[i]);
        } else {
          expected[i] = reference(src[far]);
        }
      }
      std::vector<std::vector<T>> results;
      for (int form = 0; form < 3; ++form) {
        auto dst = initial;
        if constexpr (scatter) {
          T* d = dst.data() + origin;
          if (form == 0) bf::strided::serial_copy<T, F>(d, stride, src.data(), n);
          if (form == 1) bf::strided::tbb_copy<T, F>(d, stride, src.data(), n);
          if (form == 2) bf::strided::copy<T, F>(d, stride, src.data(), n);
        } else {
          const T* s = src.data() + origin;
          if (form == 0) bf::strided::serial_copy<T, F>(dst.data(), s, stride, n);
          if (form == 1) bf::strided::tbb_copy<T, F>(dst.data(), s, stride, n);
          if (form == 2) bf::strided::copy<T, F>(dst.data(), s, stride, n);
        }
        EXPECT_TRUE(sameBits(expected, dst)) << "form " << form;
      }
    }
  }
}

TYPED_TEST(BufferingCopy, StridedGatherMatchesReference) {
  using T = TypeParam;
  checkStrided<T, bf::noop, false>(16 * kKiB, 128 * kKiB, [](const T& v) { return v; });
}

TYPED_TEST(BufferingCopy, StridedScatterMatchesReference) {
  using T = TypeParam;
  checkStrided<T, bf::noop, true>(4 * kKiB, 64 * kKiB, [](const T& v) { return v; });
}

TYPED_TEST(BufferingConjugateCopy, ConjugatingScatterMatchesReference) {
  using C = TypeParam;
  checkStrided<C, bf::conjugate, true>(4 * kKiB, 64 * kKiB, [](const C& v) { return conjBits(v); });
}

TYPED_TEST(BufferingConjugateCopy, ReversingCopyMatchesReference) {
  using C = TypeParam;
  for (std::size_t n : lengthsAround<C>(256 * kKiB, 1024 * kKiB)) {
    SCOPED_TRACE(n);
    const auto src = pattern<C>(n + 1, 5);
    const auto initial = pattern<C>(n + 2, 6);
    auto expected = initial;
    for (std::size_t i = 0; i < n; ++i) expected[i + 1] = conjBits(src[n - i]);
    for (auto kernel : {&bf::contiguous::serial_conjugate_copy<C>, &bf::contiguous::tbb_conjugate_copy<C>,
                        &bf::contiguous::conjugate_copy<C>}) {
      auto dst = initial;
      kernel(dst.data() + 1, src.data() + n, n);
      EXPECT_TRUE(sameBits(expected, dst));
    }
  }
}

TYPED_TEST(BufferingConjugateCopy, FlipsOnlyTheImaginarySignBit) {
  using C = TypeParam;
  using R = typename C::value_type;
  const R nan = nanWithPayload<R>(0x2b);
  const std::vector<C> src = {C(R(1), R(0)), C(R(-2), -R(0)), C(nan, nan), C(-R(0), R(3))};
  std::vector<C> dst(src.size());
  bf::strided::serial_copy<C, bf::conjugate>(dst.data(), 1, src.data(), src.size());
  EXPECT_TRUE(std::signbit(dst[0].imag()));
  EXPECT_EQ(dst[0].imag(), R(0));
  EXPECT_FALSE(std::signbit(dst[1].imag()));
  EXPECT_TRUE(std::signbit(dst[2].imag()));
  EXPECT_TRUE(std::isnan(dst[2].imag()));
  // Real parts, NaN payloads and everything but the one bit are kept.
  EXPECT_TRUE(
      sameBits(std::vector<C>{conjBits(src[0]), conjBits(src[1]), conjBits(src[2]), conjBits(src[3])}, dst));
  const C twice = [&] {
    C value = dst[2];
    bf::conjugate<C>()(value, value);
    return value;
  }();
  EXPECT_TRUE(sameBits(std::vector<C>{src[2]}, std::vector<C>{twice}));
}

}  // namespace
