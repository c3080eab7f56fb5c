// Accuracy of the entries on FFTW's interleaved layout against a long-double naive DFT, for every
// kind, both precisions, 1-D batches and 2-D arrays, in place where FFTW accepts it.

#include <gtest/gtest.h>

#include <complex>
#include <cstring>
#include <vector>

#include "support/counting_cache.hpp"
#include "support/reference.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::fftwContext;
using tessel_fft::r2c;
using tessel_test::LongComplex;

// Storage that is 16-byte aligned and large enough for either side of a transform.
template <typename T>
struct Buffer {
  explicit Buffer(std::size_t reals) : storage(reals + 4) {}
  T* reals() { return reinterpret_cast<T*>(storage.data()); }
  T (*complex())[2] { return reinterpret_cast<T(*)[2]>(storage.data()); }
  std::vector<std::complex<T>> storage;
};

template <typename T>
std::vector<LongComplex> toLong(const T (*values)[2], std::size_t count) {
  std::vector<LongComplex> result(count);
  for (std::size_t i = 0; i < count; ++i) result[i] = {values[i][0], values[i][1]};
  return result;
}

struct Shape {
  std::uint64_t n0, n1;  // 1-D: length and howmany; 2-D: the two extents
  bool twoDimensional;
};

// Runs kind `Kind` on random data of `shape` and compares with the reference. Real sides are real
// parts of complex references; a c2r input is the exact one-sided spectrum of a random real array, so
// its expected output is that array times the transform size.
template <typename T, int Kind>
void checkAgainstReference(const Shape& shape, bool inPlace, int sign, fftwContext::EmbedStyleType style) {
  const std::uint64_t n0 = shape.n0, n1 = shape.n1;
  const std::uint64_t total = n0 * n1;
  const std::uint64_t half = style == fftwContext::EMBED_COMPACT ? n0 / 2 + 1 : n0;
  const fftwContext context(1, FFTW_ESTIMATE, style, false);
  const auto transform = [&](auto* in, auto* out) {
    if (shape.twoDimensional)
      tessel_fft::interleavedFFT2D<T, Kind>(context, nullptr, in, out, n0, n1, sign, false);
    else
      tessel_fft::interleavedFFT1D<T, Kind>(context, nullptr, in, out, n0, n1, sign, false);
  };
  const auto reference = [&](const std::vector<LongComplex>& x, int referenceSign) {
    if (shape.twoDimensional) return tessel_test::naiveDFT2D(x, n0, n1, referenceSign);
    std::vector<LongComplex> result;
    for (std::uint64_t row = 0; row < n1; ++row) {
      const auto transformed =
          tessel_test::naiveDFT({x.begin() + row * n0, x.begin() + (row + 1) * n0}, referenceSign);
      result.insert(result.end(), transformed.begin(), transformed.end());
    }
    return result;
  };
  Buffer<T> input(2 * total), separateOutput(2 * total);
  Buffer<T>& output = inPlace ? input : separateOutput;

  if constexpr (Kind == c2c) {
    const auto data = tessel_test::randomComplex<T>(total, 11);
    std::memcpy(input.complex(), data.data(), total * sizeof(data[0]));
    const auto expected = reference(toLong(input.complex(), total), sign);
    transform(input.complex(), output.complex());
    EXPECT_LT(tessel_test::relativeError(toLong(output.complex(), total), expected),
              tessel_test::tolerance<T>(total));
  } else if constexpr (Kind == r2c) {
    const auto data = tessel_test::randomReals<T>(total, 12);
    std::copy(data.begin(), data.end(), input.reals());
    const auto expected = reference(std::vector<LongComplex>(data.begin(), data.end()), FFTW_FORWARD);
    transform(input.reals(), output.complex());
    EXPECT_LT(tessel_test::relativeError(toLong(output.complex(), total), expected),
              tessel_test::tolerance<T>(total));
  } else {
    const auto data = tessel_test::randomReals<T>(total, 13);
    const auto spectrum = reference(std::vector<LongComplex>(data.begin(), data.end()), FFTW_FORWARD);
    for (std::uint64_t row = 0; row < n1; ++row)
      for (std::uint64_t k = 0; k < n0 / 2 + 1; ++k) {
        input.complex()[row * half + k][0] = static_cast<T>(spectrum[row * n0 + k].real());
        input.complex()[row * half + k][1] = static_cast<T>(spectrum[row * n0 + k].imag());
      }
    transform(input.complex(), output.reals());
    std::vector<long double> expected(data.begin(), data.end()),
        actual(output.reals(), output.reals() + total);
    const std::uint64_t size = shape.twoDimensional ? total : n0;
    for (auto& value : expected) value *= static_cast<long double>(size);
    EXPECT_LT(tessel_test::relativeError(actual, expected), tessel_test::tolerance<T>(total));
  }
}

template <typename T>
class InterleavedAccuracy : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(InterleavedAccuracy, Precisions);

const std::uint64_t kLengths[] = {1, 2, 3, 4, 5, 6, 7, 8, 13, 16, 17, 31, 64, 97, 100, 128, 1009};

// Every kind on one shape: c2c both ways, in and out of place; r2c and c2r out of place with both
// layouts of the complex side, and in place where FFTW accepts it (a single vector).
template <typename T>
void checkEveryKind(const Shape& shape, bool realInPlace) {
  for (int sign : {FFTW_FORWARD, FFTW_BACKWARD}) {
    checkAgainstReference<T, c2c>(shape, false, sign, fftwContext::EMBED_COMPACT);
    checkAgainstReference<T, c2c>(shape, true, sign, fftwContext::EMBED_COMPACT);
  }
  checkAgainstReference<T, r2c>(shape, false, FFTW_FORWARD, fftwContext::EMBED_FULL_LENGTH);
  checkAgainstReference<T, c2r>(shape, false, FFTW_BACKWARD, fftwContext::EMBED_FULL_LENGTH);
  checkAgainstReference<T, c2r>(shape, false, FFTW_BACKWARD, fftwContext::EMBED_COMPACT);
  if (realInPlace) {
    checkAgainstReference<T, r2c>(shape, true, FFTW_FORWARD, fftwContext::EMBED_FULL_LENGTH);
    checkAgainstReference<T, c2r>(shape, true, FFTW_BACKWARD, fftwContext::EMBED_COMPACT);
  }
}

TYPED_TEST(InterleavedAccuracy, OneDimensionalBatches) {
  for (std::uint64_t n : kLengths)
    for (std::uint64_t howmany : {1, 3}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " howmany " << howmany);
      checkEveryKind<TypeParam>(Shape{n, howmany, false}, howmany == 1);
    }
}

TYPED_TEST(InterleavedAccuracy, TwoDimensionalArrays) {
  const std::pair<std::uint64_t, std::uint64_t> extents[] = {
      {1, 1}, {4, 3}, {5, 1}, {1, 6}, {2, 2}, {7, 5}, {8, 8}, {16, 9}, {17, 4}, {30, 12}, {64, 33}};
  for (const auto& [n0, n1] : extents) {
    SCOPED_TRACE(::testing::Message() << "n0 " << n0 << " n1 " << n1);
    checkEveryKind<TypeParam>(Shape{n0, n1, true}, false);
  }
}

// The mirrored half carries -0 wherever FFTW stored +0, and element 0 and the Nyquist element are
// left as FFTW wrote them.
TEST(InterleavedCompletion, MirrorFlipsTheSignBitOnly) {
  const fftwContext context(1, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  double in[4] = {1, 1, 1, 1};  // spectrum 4, 0, 0, 0 with +0 imaginary parts
  double out[4][2];
  tessel_fft::interleavedFFT1D<double, r2c>(context, nullptr, in, out, 4, 1, FFTW_FORWARD, false);
  EXPECT_EQ(out[0][0], 4.0);
  EXPECT_FALSE(std::signbit(out[2][1]));
  EXPECT_TRUE(std::signbit(out[3][1]));
  EXPECT_EQ(out[3][0], out[1][0]);
}

TEST(InterleavedEntries, EmptyProblemsTouchNothing) {
  tessel_test::CountingFFTCache<double, c2c> cache;
  const fftwContext context;
  tessel_fft::interleavedFFT1D<double, c2c>(context, &cache, nullptr, nullptr, 0, 5, FFTW_FORWARD, false);
  tessel_fft::interleavedFFT1D<double, c2c>(context, &cache, nullptr, nullptr, 5, 0, FFTW_FORWARD, false);
  tessel_fft::interleavedFFT2D<double, c2c>(context, &cache, nullptr, nullptr, 0, 5, FFTW_FORWARD, false);
  tessel_fft::interleavedFFT2D<double, c2c>(context, &cache, nullptr, nullptr, 5, 0, FFTW_FORWARD, false);
  EXPECT_EQ(cache.lookups, 0);
}

// A cached plan serves the second call without planning, and gives the same spectrum.
TEST(InterleavedEntries, CachedPlanIsReusedAndPlanOnlyTransformsNothing) {
  tessel_test::CountingFFTCache<float, r2c> cache;
  const fftwContext context(1, FFTW_MEASURE, fftwContext::EMBED_FULL_LENGTH, false);
  std::vector<float> in = tessel_test::randomReals<float>(3 * 24, 5), untouched = in;
  std::vector<float> first(2 * 3 * 24, -7.0f), second(2 * 3 * 24, -7.0f);
  auto* firstOut = reinterpret_cast<float(*)[2]>(first.data());
  auto* secondOut = reinterpret_cast<float(*)[2]>(second.data());
  tessel_fft::interleavedFFT1D<float, r2c>(context, &cache, in.data(), secondOut, 24, 3, FFTW_FORWARD, true);
  EXPECT_EQ(cache.size(), 1u);
  EXPECT_EQ(in, untouched);
  tessel_fft::interleavedFFT1D<float, r2c>(context, &cache, in.data(), firstOut, 24, 3, FFTW_FORWARD, false);
  tessel_fft::interleavedFFT1D<float, r2c>(context, &cache, in.data(), secondOut, 24, 3, FFTW_FORWARD, false);
  EXPECT_EQ(cache.hits, 2);
  EXPECT_EQ(cache.inserts, 1);
  EXPECT_EQ(first, second);
}

}  // namespace
