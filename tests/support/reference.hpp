#pragma once

// Independent references: naive long-double transforms by their definitions (FFTW's conventions), and
// the error measure every accuracy test uses. The naive sums skip zero inputs, so an input of a few
// impulses costs O(n) per impulse: that is how long vectors are checked (impulse response plus
// linearity) without an O(n^2) sum.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <vector>

namespace tessel_test {

using LongComplex = std::complex<long double>;
constexpr long double kPi = 3.141592653589793238462643383279502884L;

// cos and sin of pi * p / q from a table of cos(pi i / 2q) made once per q and thread, so that large
// products keep their accuracy and an O(n^2) sum evaluates no trigonometric function.
class HalfTurns {
 public:
  explicit HalfTurns(std::uint64_t q) : q_(std::max<std::uint64_t>(q, 1)), cos_(4 * q_) {
    for (std::uint64_t i = 0; i < cos_.size(); ++i)
      cos_[i] = std::cos(kPi * static_cast<long double>(i) / static_cast<long double>(2 * q_));
  }
  long double cos(std::uint64_t p) const { return cos_[2 * p % cos_.size()]; }
  long double sin(std::uint64_t p) const { return cos_[(2 * p + 3 * q_) % cos_.size()]; }  // cos(x - pi/2)

 private:
  std::uint64_t q_;
  std::vector<long double> cos_;
};

inline const HalfTurns& halfTurns(std::uint64_t q) {
  thread_local std::map<std::uint64_t, HalfTurns> tables;
  return tables.try_emplace(q, q).first->second;
}

// Unnormalised DFT: X[k] = sum_j x[j] exp(sign 2 pi i jk/n), over the nonzero x[j] only.
inline std::vector<LongComplex> naiveDFT(const std::vector<LongComplex>& x, int sign) {
  const std::uint64_t n = x.size();
  const HalfTurns& turns = halfTurns(n);
  std::vector<std::uint64_t> nonzero;
  for (std::uint64_t j = 0; j < n; ++j)
    if (x[j] != LongComplex(0)) nonzero.push_back(j);
  std::vector<LongComplex> result(n);
  for (std::uint64_t k = 0; k < n; ++k) {
    long double re = 0, im = 0;
    for (const std::uint64_t j : nonzero) {
      const long double c = turns.cos(2 * j * k), s = sign * turns.sin(2 * j * k);
      re += x[j].real() * c - x[j].imag() * s;
      im += x[j].real() * s + x[j].imag() * c;
    }
    result[k] = {re, im};
  }
  return result;
}

// Two-dimensional DFT of an n0 x n1 array with n0 contiguous: the 1-D one along rows, then columns.
inline std::vector<LongComplex> naiveDFT2D(std::vector<LongComplex> x, std::uint64_t n0, std::uint64_t n1,
                                           int sign) {
  for (const auto& [lines, length, step, pitch] :
       {std::array<std::uint64_t, 4>{n1, n0, 1, n0}, {n0, n1, n0, 1}}) {
    for (std::uint64_t line = 0; line < lines; ++line) {
      std::vector<LongComplex> v(length);
      for (std::uint64_t k = 0; k < length; ++k) v[k] = x[line * pitch + k * step];
      v = naiveDFT(v, sign);
      for (std::uint64_t k = 0; k < length; ++k) x[line * pitch + k * step] = v[k];
    }
  }
  return x;
}

// FFTW's eight real-to-real kinds, numbered DCT-I..IV (0..3) and DST-I..IV (4..7), unnormalised, over
// the nonzero x[j] only: y[k] = sum_j 2 x[j] trig(pi (a j + b)(c k + d) / q), half-integer indices doubled
// to stay in integers; the end terms of DCT-I, the first of DCT-III and the last of DST-III weigh half.
inline std::vector<long double> naiveR2R(const std::vector<long double>& x, int kind) {
  static const std::uint64_t forms[8][4] = {{1, 0, 1, 0}, {2, 1, 1, 0}, {1, 0, 2, 1}, {2, 1, 2, 1},
                                            {1, 1, 1, 1}, {2, 1, 1, 1}, {1, 1, 2, 1}, {2, 1, 2, 1}};
  const std::uint64_t n = x.size(), a = forms[kind][0], b = forms[kind][1], c = forms[kind][2],
                      d = forms[kind][3];
  const HalfTurns& turns = halfTurns(kind == 0 ? n - 1 : kind == 4 ? n + 1 : (kind % 4 == 3 ? 4 : 2) * n);
  std::vector<long double> y(n, 0.0L);
  for (std::uint64_t j = 0; j < n; ++j) {
    if (x[j] == 0) continue;
    const bool half =
        (kind == 0 && (j == 0 || j == n - 1)) || (kind == 2 && j == 0) || (kind == 6 && j == n - 1);
    for (std::uint64_t k = 0; k < n; ++k) {
      const std::uint64_t p = (a * j + b) * (c * k + d);
      y[k] += (half ? 1 : 2) * x[j] * (kind < 4 ? turns.cos(p) : turns.sin(p));
    }
  }
  return y;
}

// The logical size N of a kind: a transform followed by its inverse kind multiplies by N.
inline std::uint64_t r2rLogicalSize(int kind, std::uint64_t n) {
  if (kind == 0) return 2 * n - 2;
  if (kind == 4) return 2 * n + 2;
  return 2 * n;
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

}  // namespace tessel_test
