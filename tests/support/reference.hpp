#pragma once

// Independent references: naive long-double transforms by their definitions (FFTW's conventions),
// and the error measure every accuracy test uses.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace tessel_test {

using LongComplex = std::complex<long double>;
constexpr long double kPi = 3.141592653589793238462643383279502884L;

// exp(sign * 2 pi i * jk / n), with jk reduced modulo n so that large products keep their accuracy.
inline LongComplex twiddle(std::uint64_t jk, std::uint64_t n, int sign) {
  const long double angle = 2 * kPi * static_cast<long double>(jk % n) / static_cast<long double>(n);
  return {std::cos(angle), sign * std::sin(angle)};
}

// Unnormalised DFT: X[k] = sum_j x[j] exp(sign 2 pi i jk/n), twiddles tabulated once per call, each
// from an exactly reduced angle. Real arithmetic: std::complex<long double> multiplication spends most
// of its time on infinity checks.
inline std::vector<LongComplex> naiveDFT(const std::vector<LongComplex>& x, int sign) {
  const std::uint64_t n = x.size();
  std::vector<long double> cosines(n), sines(n);
  for (std::uint64_t k = 0; k < n; ++k) {
    const LongComplex w = twiddle(k, n, sign);
    cosines[k] = w.real();
    sines[k] = w.imag();
  }
  std::vector<LongComplex> result(n);
  for (std::uint64_t k = 0; k < n; ++k) {
    long double re = 0, im = 0;
    for (std::uint64_t j = 0, jk = 0; j < n; ++j) {
      const long double xr = x[j].real(), xi = x[j].imag();
      re += xr * cosines[jk] - xi * sines[jk];
      im += xr * sines[jk] + xi * cosines[jk];
      jk += k;
      if (jk >= n) jk -= n;
    }
    result[k] = {re, im};
  }
  return result;
}

// Two-dimensional DFT of an n0 x n1 array with n0 contiguous.
inline std::vector<LongComplex> naiveDFT2D(const std::vector<LongComplex>& x, std::uint64_t n0,
                                           std::uint64_t n1, int sign) {
  std::vector<LongComplex> result(x.size()), line;
  for (std::uint64_t row = 0; row < n1; ++row) {
    line.assign(x.begin() + row * n0, x.begin() + (row + 1) * n0);
    const auto transformed = naiveDFT(line, sign);
    std::copy(transformed.begin(), transformed.end(), result.begin() + row * n0);
  }
  line.resize(n1);
  for (std::uint64_t column = 0; column < n0; ++column) {
    for (std::uint64_t row = 0; row < n1; ++row) line[row] = result[row * n0 + column];
    const auto transformed = naiveDFT(line, sign);
    for (std::uint64_t row = 0; row < n1; ++row) result[row * n0 + column] = transformed[row];
  }
  return result;
}

// FFTW's eight real-to-real kinds, numbered DCT-I..IV (0..3), DST-I..IV (4..7), unnormalised.
inline std::vector<long double> naiveR2R(const std::vector<long double>& x, int kind) {
  const std::int64_t n = static_cast<std::int64_t>(x.size());
  std::vector<long double> y(n, 0.0L);
  const long double ln = static_cast<long double>(n);
  for (std::int64_t k = 0; k < n; ++k) {
    long double sum = 0;
    const long double kk = static_cast<long double>(k);
    switch (kind) {
      case 0:  // REDFT00, logical size 2(n-1)
        sum = x[0] + ((k % 2) ? -1.0L : 1.0L) * x[n - 1];
        for (std::int64_t j = 1; j < n - 1; ++j) sum += 2 * x[j] * std::cos(kPi * j * kk / (ln - 1));
        break;
      case 1:  // REDFT10
        for (std::int64_t j = 0; j < n; ++j) sum += 2 * x[j] * std::cos(kPi * (j + 0.5L) * kk / ln);
        break;
      case 2:  // REDFT01
        sum = x[0];
        for (std::int64_t j = 1; j < n; ++j) sum += 2 * x[j] * std::cos(kPi * j * (kk + 0.5L) / ln);
        break;
      case 3:  // REDFT11
        for (std::int64_t j = 0; j < n; ++j) sum += 2 * x[j] * std::cos(kPi * (j + 0.5L) * (kk + 0.5L) / ln);
        break;
      case 4:  // RODFT00, logical size 2(n+1)
        for (std::int64_t j = 0; j < n; ++j) sum += 2 * x[j] * std::sin(kPi * (j + 1) * (kk + 1) / (ln + 1));
        break;
      case 5:  // RODFT10
        for (std::int64_t j = 0; j < n; ++j) sum += 2 * x[j] * std::sin(kPi * (j + 0.5L) * (kk + 1) / ln);
        break;
      case 6:  // RODFT01
        sum = ((k % 2) ? -1.0L : 1.0L) * x[n - 1];
        for (std::int64_t j = 0; j < n - 1; ++j) sum += 2 * x[j] * std::sin(kPi * (j + 1) * (kk + 0.5L) / ln);
        break;
      default:  // RODFT11
        for (std::int64_t j = 0; j < n; ++j) sum += 2 * x[j] * std::sin(kPi * (j + 0.5L) * (kk + 0.5L) / ln);
        break;
    }
    y[k] = sum;
  }
  return y;
}

// The logical size N of a kind: a transform followed by its inverse kind multiplies by N.
inline std::uint64_t r2rLogicalSize(int kind, std::uint64_t n) {
  if (kind == 0) return 2 * n - 2;
  if (kind == 4) return 2 * n + 2;
  return 2 * n;
}

// The kind that inverts `kind` up to the factor r2rLogicalSize.
inline int r2rInverseKind(int kind) {
  static const int inverse[8] = {0, 2, 1, 3, 4, 6, 5, 7};
  return inverse[kind];
}

// Relative L2 error of `actual` against `expected` (any element types with std::abs of a difference).
template <typename A, typename E>
long double relativeError(const std::vector<A>& actual, const std::vector<E>& expected) {
  long double diff = 0, norm = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto e = static_cast<E>(expected[i]);
    const long double d = std::abs(static_cast<E>(actual[i]) - e);
    diff += d * d;
    norm += std::abs(e) * std::abs(e);
  }
  if (norm == 0) return std::sqrt(diff);
  return std::sqrt(diff / norm);
}

// The one tolerance of all accuracy tests: C * epsilon * log2(n), C covering FFTW's worst algorithms
// (prime sizes go through Rader/Bluestein) and the long-double reference's own rounding.
template <typename T>
long double tolerance(std::uint64_t n) {
  constexpr long double kSafety = 24;
  const long double logN =
      std::max<long double>(1, std::log2(static_cast<long double>(std::max<std::uint64_t>(n, 2))));
  return kSafety * std::numeric_limits<T>::epsilon() * logN;
}

// Deterministic test data in [-1, 1).
template <typename T>
std::vector<T> randomReals(std::size_t count, unsigned seed) {
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<T> values(count);
  for (auto& value : values) value = static_cast<T>(uniform(engine));
  return values;
}

template <typename T>
std::vector<std::complex<T>> randomComplex(std::size_t count, unsigned seed) {
  const std::vector<T> parts = randomReals<T>(2 * count, seed);
  std::vector<std::complex<T>> values(count);
  for (std::size_t i = 0; i < count; ++i) values[i] = {parts[2 * i], parts[2 * i + 1]};
  return values;
}

}  // namespace tessel_test
