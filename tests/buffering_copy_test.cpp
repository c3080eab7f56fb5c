#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "buffering/copy.hpp"
#include "buffering_test_support.hpp"

namespace {

using namespace buffering_test;
namespace bf = tessel_fft::buffering;

// Zero and short lengths, and one below, at and one above both a block size and a limit.
template <typename T>
std::vector<std::size_t> lengthsAround(std::size_t stepBytes, std::size_t limitBytes) {
  const std::size_t step = elems<T>(stepBytes), limit = elems<T>(limitBytes);
  return {0, 1, 5, step - 1, step, step + 1, 3 * step + 7, limit - 1, limit, limit + 1};
}

// Every form of the gather (kScatter false) or scatter with functor F, strides of both signs. With a
// negative stride the strided side is handed over at its highest element.
template <typename T, template <typename> class F, bool kScatter, typename Element>
void checkStrided(std::size_t stepBytes, std::size_t limitBytes, Element element) {
  for (std::ptrdiff_t stride : {1, 3, -2}) {
    for (std::size_t n : lengthsAround<T>(stepBytes, limitBytes)) {
      SCOPED_TRACE(::testing::Message() << "stride " << stride << " n " << n);
      const std::size_t wide = n * static_cast<std::size_t>(std::abs(stride));
      const std::ptrdiff_t origin = stride < 0 ? static_cast<std::ptrdiff_t>(wide) : 0;
      auto reference = [=](T* d, const T* s) {
        for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(n); ++i) {
          if (kScatter) d[origin + i * stride] = element(s[i]);
          if (!kScatter) d[i] = element(s[origin + i * stride]);
        }
      };
      auto kernel = [=](auto copy) {
        return [=](T* d, const T* s) {
          if constexpr (kScatter) {
            copy(d + origin, stride, s, n);
          } else {
            copy(d, s + origin, stride, n);
          }
        };
      };
      using Kernel = std::conditional_t<kScatter, void (*)(T*, std::ptrdiff_t, const T*, std::size_t),
                                        void (*)(T*, const T*, std::ptrdiff_t, std::size_t)>;
      expectSameAsReference<T>(
          kScatter ? n : wide, kScatter ? wide : n, reference, kernel(Kernel(bf::strided::serial_copy<T, F>)),
          kernel(Kernel(bf::strided::tbb_copy<T, F>)), kernel(Kernel(bf::strided::copy<T, F>)));
    }
  }
}

template <typename T>
class BufferingCopy : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingCopy, AllTypes);

TYPED_TEST(BufferingCopy, AllFormsMatchReference) {
  using T = TypeParam;
  auto same = [](const T& v) { return v; };
  for (std::size_t n : lengthsAround<T>(256 * kKiB, 1024 * kKiB)) {
    SCOPED_TRACE(n);
    auto plain = [n](auto copy) { return [=](T* d, const T* s) { copy(d, s, n); }; };
    expectSameAsReference<T>(
        n, n, [n](T* d, const T* s) { std::copy(s, s + n, d); }, plain(bf::contiguous::serial_copy<T>),
        plain(bf::contiguous::tbb_copy<T>), plain(bf::contiguous::copy<T>));
    if constexpr (!std::is_floating_point_v<T>) {
      // The reversing copy gets its source at the highest element.
      auto reversing = [n](auto copy) { return [=](T* d, const T* s) { copy(d, s + n, n); }; };
      expectSameAsReference<T>(
          n, n,
          [n](T* d, const T* s) {
            for (std::size_t i = 0; i < n; ++i) d[i] = conjBits(s[n - i]);
          },
          reversing(bf::contiguous::serial_conjugate_copy<T>),
          reversing(bf::contiguous::tbb_conjugate_copy<T>), reversing(bf::contiguous::conjugate_copy<T>));
    }
  }
  checkStrided<T, bf::noop, false>(16 * kKiB, 128 * kKiB, same);
  checkStrided<T, bf::noop, true>(4 * kKiB, 64 * kKiB, same);
  if constexpr (!std::is_floating_point_v<T>) {
    checkStrided<T, bf::conjugate, true>(4 * kKiB, 64 * kKiB, [](const T& v) { return conjBits(v); });
  }
}

template <typename T>
class BufferingConjugateCopy : public ::testing::Test {};
TYPED_TEST_SUITE(BufferingConjugateCopy, ComplexTypes);

TYPED_TEST(BufferingConjugateCopy, SignedZeroAndNaNPayload) {
  using C = TypeParam;
  using R = typename C::value_type;
  const R nan = nanWithPayload<R>(0x2b);
  const C src[] = {C(1, 0), C(-2, -R(0)), C(nan, nan)};
  C dst[3], twice;
  bf::strided::serial_copy<C, bf::conjugate>(dst, 1, src, 3);
  EXPECT_TRUE(std::signbit(dst[0].imag()) && dst[0].imag() == 0);
  EXPECT_FALSE(std::signbit(dst[1].imag()));
  EXPECT_TRUE(std::signbit(dst[2].imag()) && std::isnan(dst[2].imag()));
  // Flipping back restores every bit, the payload included; the functor may work in place.
  twice = dst[2];
  bf::conjugate<C>()(twice, twice);
  EXPECT_EQ(0, std::memcmp(&twice, &src[2], sizeof twice));
}

}  // namespace
