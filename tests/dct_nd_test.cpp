// dctIIND and idctIIND against a separable long-double reference built from the DCT-II and DCT-III
// definitions, for ranks 0 to 4, extents of 1, both normalisations, real and complex, in and out of
// place; the plan cache of one dimension; the edges of the orthonormal scaling.

#include "tessel_fft/dct_nd.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <numeric>
#include <vector>

#include "nd/apply_scaling.hpp"
#include "nd/dcst_single_plan.hpp"
#include "support/reference.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace {

using Shape = std::vector<std::uint64_t>;

std::uint64_t totalOf(const Shape& dims) {
  return std::accumulate(dims.begin(), dims.end(), std::uint64_t{1}, std::multiplies<>());
}

// Applies `transform` to every vector along every dimension, in place, in long double.
void alongEveryDimension(
    std::vector<long double>& data, const Shape& dims,
    const std::function<std::vector<long double>(const std::vector<long double>&)>& transform) {
  const std::uint64_t total = totalOf(dims);
  std::uint64_t stride = 1;
  for (const std::uint64_t n : dims) {
    for (std::uint64_t start = 0; start < total; ++start) {
      // Visit each vector once, from its element with index 0 along this dimension.
      if ((start / stride) % n != 0) continue;
      std::vector<long double> x(n);
      for (std::uint64_t i = 0; i < n; ++i) x[i] = data[start + i * stride];
      const std::vector<long double> y = transform(x);
      for (std::uint64_t i = 0; i < n; ++i) data[start + i * stride] = y[i];
    }
    stride *= n;
  }
}

// Forward: REDFT10 per dimension, orthonormal dividing Y[0] by sqrt(4n) and the rest by sqrt(2n).
// Inverse: REDFT01 per dimension, divided by 2n, or orthonormal with the input weighted first.
std::vector<long double> referenceND(std::vector<long double> data, const Shape& dims, bool inverse,
                                     bool orthonormal) {
  alongEveryDimension(data, dims, [&](std::vector<long double> x) {
    const long double n = static_cast<long double>(x.size());
    if (!inverse) {
      std::vector<long double> y = tessel_test::naiveR2R(x, 1);
      if (orthonormal) {
        for (std::size_t k = 0; k < y.size(); ++k) y[k] /= std::sqrt(k == 0 ? 4 * n : 2 * n);
      }
      return y;
    }
    if (orthonormal) {
      for (std::size_t k = 0; k < x.size(); ++k) x[k] /= std::sqrt(k == 0 ? n : 2 * n);
    }
    std::vector<long double> y = tessel_test::naiveR2R(x, 2);
    if (!orthonormal) {
      for (long double& value : y) value /= 2 * n;
    }
    return y;
  });
  return data;
}

template <typename T>
std::uint64_t longestExtent(const Shape& dims) {
  return dims.empty() ? 1 : *std::max_element(dims.begin(), dims.end());
}

// Real T: one array; complex T: its two parts, each checked against the reference.
template <typename T>
void checkAgainstReference(const Shape& dims, bool inverse, bool orthonormal, bool inPlace) {
  const std::uint64_t total = totalOf(dims);
  const std::vector<T> input = tessel_test::randomReals<T>(2 * total, 41);
  std::vector<std::complex<T>> complexInput(total);
  for (std::uint64_t i = 0; i < total; ++i) complexInput[i] = {input[2 * i], input[2 * i + 1]};

  std::vector<T> realOut(input.begin(), input.begin() + total);
  std::vector<std::complex<T>> complexOut = complexInput;
  const auto run = [&](const auto* in, auto* out) {
    if (inverse) {
      tessel_fft::idctIIND(in, out, dims.data(), dims.size(), orthonormal);
    } else {
      tessel_fft::dctIIND(in, out, dims.data(), dims.size(), orthonormal);
    }
  };
  const std::vector<T> realIn(realOut);
  if (inPlace) {
    run(realOut.data(), realOut.data());
    run(complexOut.data(), complexOut.data());
  } else {
    run(realIn.data(), realOut.data());
    run(complexInput.data(), complexOut.data());
  }

  const auto expect = [&](const std::vector<T>& actual, const std::vector<T>& x, const char* what) {
    const std::vector<long double> expected =
        referenceND(std::vector<long double>(x.begin(), x.end()), dims, inverse, orthonormal);
    EXPECT_LT(tessel_test::relativeError(actual, expected), tessel_test::tolerance<T>(longestExtent<T>(dims)))
        << what << " rank " << dims.size() << " inverse " << inverse << " orthonormal " << orthonormal;
  };
  expect(realOut, realIn, "real");
  std::vector<T> re(total), im(total), reIn(total), imIn(total);
  for (std::uint64_t i = 0; i < total; ++i) {
    re[i] = complexOut[i].real(), im[i] = complexOut[i].imag();
    reIn[i] = complexInput[i].real(), imIn[i] = complexInput[i].imag();
  }
  expect(re, reIn, "real part");
  expect(im, imIn, "imaginary part");
}

// 5 x 7 and 9 x 6 x 13 have dimensions whose batch leaves a tail after whole chunks, so they run the
// single plan after the chunk plan was made; 4 x 4 has the chunk plan alone, 3 x 3 the single plan
// alone; {1, 8} gives the second dimension stride 1.
const Shape kShapes[] = {{7},        {1},          {5, 7},       {4, 4}, {3, 3},     {1, 8},
                         {9, 6, 13}, {2, 3, 1, 5}, {3, 1, 4, 2}, {1, 1}, {16, 5, 3}, {6, 1}};

class DctND : public ::testing::TestWithParam<std::tuple<Shape, bool, bool>> {};

TEST_P(DctND, MatchesSeparableReference) {
  const auto [dims, orthonormal, inPlace] = GetParam();
  for (const bool inverse : {false, true}) {
    checkAgainstReference<double>(dims, inverse, orthonormal, inPlace);
    checkAgainstReference<float>(dims, inverse, orthonormal, inPlace);
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, DctND,
                         ::testing::Combine(::testing::ValuesIn(kShapes), ::testing::Bool(),
                                            ::testing::Bool()));

template <typename E>
std::vector<E> randomElements(std::uint64_t count, unsigned seed) {
  if constexpr (std::is_floating_point_v<E>) {
    return tessel_test::randomReals<E>(count, seed);
  } else {
    return tessel_test::randomComplex<typename E::value_type>(count, seed);
  }
}

template <typename E>
long double norm2(const std::vector<E>& values) {
  long double sum = 0;
  for (const E& value : values) sum += static_cast<long double>(std::norm(std::complex<long double>(value)));
  return std::sqrt(sum);
}

// Round trip and, orthonormal, the 2-norm, also where a row of the scaling spans 16 KiB or more
// (2100 doubles, 1024 complex doubles: row blocks of one row) and for a long single vector.
template <typename E>
void checkRoundTripAndNorm(const Shape& dims) {
  using R = typename tessel_test::LongComplex::value_type;
  const std::vector<E> x = randomElements<E>(totalOf(dims), 23);
  for (const bool orthonormal : {false, true}) {
    std::vector<E> forward(x.size()), back(x.size());
    tessel_fft::dctIIND(x.data(), forward.data(), dims.data(), dims.size(), orthonormal);
    tessel_fft::idctIIND(forward.data(), back.data(), dims.data(), dims.size(), orthonormal);
    const long double tol = 4 * tessel_test::tolerance<decltype(std::abs(E{}))>(longestExtent<E>(dims));
    EXPECT_LT(tessel_test::relativeError(back, x), tol) << dims.size() << " " << orthonormal;
    if (orthonormal) {
      EXPECT_LT(std::abs(norm2(forward) / norm2(x) - R(1)), tol);
    }
  }
}

TEST(DctNDAlgebra, RoundTripAndNorm) {
  checkRoundTripAndNorm<double>({2100, 3});
  checkRoundTripAndNorm<std::complex<double>>({1024, 2, 3});
  checkRoundTripAndNorm<float>({512, 2048});
  checkRoundTripAndNorm<std::complex<float>>({3, 5, 2, 7});
  checkRoundTripAndNorm<double>({70000});
}

// The transform is separable and real, so a complex array is its two parts transformed alone.
template <typename R>
void checkComplexIsTwoRealCalls(const Shape& dims, bool inverse, bool orthonormal) {
  const std::vector<std::complex<R>> x = tessel_test::randomComplex<R>(totalOf(dims), 7);
  std::vector<R> re(x.size()), im(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) re[i] = x[i].real(), im[i] = x[i].imag();
  std::vector<std::complex<R>> out(x.size());
  auto* call = inverse ? &tessel_fft::idctIIND<R> : &tessel_fft::dctIIND<R>;
  auto* complexCall =
      inverse ? &tessel_fft::idctIIND<std::complex<R>> : &tessel_fft::dctIIND<std::complex<R>>;
  complexCall(x.data(), out.data(), dims.data(), dims.size(), orthonormal);
  call(re.data(), re.data(), dims.data(), dims.size(), orthonormal);
  call(im.data(), im.data(), dims.data(), dims.size(), orthonormal);
  std::vector<std::complex<R>> parts(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) parts[i] = {re[i], im[i]};
  EXPECT_LT(tessel_test::relativeError(out, parts), tessel_test::tolerance<R>(longestExtent<R>(dims)));
}

TEST(DctNDAlgebra, ComplexIsTwoRealCalls) {
  for (const bool inverse : {false, true}) {
    for (const bool orthonormal : {false, true}) {
      checkComplexIsTwoRealCalls<double>({9, 6, 13}, inverse, orthonormal);
      checkComplexIsTwoRealCalls<float>({33, 1, 20}, inverse, orthonormal);
    }
  }
}

TEST(DctNDEdges, EmptyArraysLeaveOutputUntouched) {
  const std::vector<double> in(8, 1.0);
  std::vector<double> out(8, 5.0);
  const std::uint64_t dims[] = {3, 0, 2};
  tessel_fft::dctIIND(in.data(), out.data(), dims, 3, true);
  tessel_fft::idctIIND(in.data(), out.data(), dims, 3, false);
  tessel_fft::dctIIND(in.data(), out.data(), dims, 0, false);
  EXPECT_EQ(out, std::vector<double>(8, 5.0));
}

TEST(DctNDEdges, ExtentOneDoublesOrKeeps) {
  const std::uint64_t dims[] = {1};
  const std::complex<float> x{0.75f, -1.5f};
  std::complex<float> y;
  tessel_fft::dctIIND(&x, &y, dims, 1, false);
  EXPECT_EQ(y, x * 2.0f);
  tessel_fft::idctIIND(&y, &y, dims, 1, false);
  EXPECT_EQ(y, x);
  tessel_fft::dctIIND(&x, &y, dims, 1, true);
  EXPECT_EQ(y, x);
}

// The cache of one dimension owns every plan it is offered and keeps the one it displaces runnable
// until it dies, so a run that still holds that plan can execute it.
TEST(DcstSinglePlan, DisplacedPlanStaysRunnable) {
  const tessel_fft::fftwApi& api = tessel_fft::fftwApi::getInstance();
  std::vector<double> in(32, 1.0), out(32);
  const fftw_r2r_kind kind[1] = {FFTW_REDFT10};
  const auto planFor = [&](std::ptrdiff_t howmany) {
    const fftw_iodim64 dims{8, 1, 1};
    const fftw_iodim64 many{howmany, 8, 8};
    return api.plan(1, &dims, 1, &many, in.data(), out.data(), kind, FFTW_ESTIMATE);
  };
  tessel_fft::dcstSinglePlan<double, 1> cache;
  const tessel_fft::fftwPlanKey single{8, 1, 1, 0}, chunk{8, 1, 4, 0};
  EXPECT_EQ(cache.lookupPlan(single), nullptr);
  fftw_plan singlePlan = planFor(1), chunkPlan = planFor(4), duplicate = singlePlan;
  EXPECT_TRUE(cache.insertPlan(single, singlePlan));
  EXPECT_EQ(cache.lookupPlan(single), singlePlan);
  EXPECT_TRUE(cache.insertPlan(single, duplicate));
  EXPECT_TRUE(cache.insertPlan(chunk, chunkPlan));
  EXPECT_EQ(cache.lookupPlan(chunk), chunkPlan);
  EXPECT_EQ(cache.lookupPlan(single), nullptr);
  api.execute(singlePlan, in.data(), out.data());
  EXPECT_EQ(out[0], 16.0);
}

TEST(ApplyScaling, LengthOneAndDirections) {
  const std::vector<double> x = tessel_test::randomReals<double>(6, 2);
  std::vector<double> forward(6), inverse(6), zero(6);
  tessel_fft::apply_scaling(forward.data(), x.data(), 1, 6, 1, -1);
  tessel_fft::apply_scaling(inverse.data(), x.data(), 1, 6, 1, 1);
  tessel_fft::apply_scaling(zero.data(), x.data(), 1, 6, 1, 0);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_EQ(forward[i], x[i] / 2);
  EXPECT_EQ(inverse, x);
  EXPECT_EQ(zero, x);
}

// Only whole pages are scaled; the source of a distinct destination is left alone.
TEST(ApplyScaling, PartialPageUntouchedAndSourceKept) {
  const std::vector<std::complex<float>> x = tessel_test::randomComplex<float>(20, 3);
  const std::vector<std::complex<float>> kept = x;
  std::vector<std::complex<float>> out(20, {9.0f, 9.0f});
  tessel_fft::apply_scaling(out.data(), x.data(), 3, 20, 3, -1);
  EXPECT_EQ(x, kept);
  EXPECT_EQ(out[18], std::complex<float>(9.0f, 9.0f));
  EXPECT_EQ(out[19], std::complex<float>(9.0f, 9.0f));
  for (std::size_t i = 0; i < 18; ++i) EXPECT_NE(out[i], std::complex<float>(9.0f, 9.0f));
}

}  // namespace
