// Accuracy of the batched column-major FFT entries against an independent long-double DFT, over
// precision x kind x array layout x length x thread budget, for both the copying and the no-copy entry.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "support/reference.hpp"
#include "tessel_fft/fft.hpp"

namespace {

using tessel_fft::fftwContext;
using tessel_test::LongComplex;

enum class Precision { Single, Double };

// One batched call: a column-major array of any rank, transformed along `dim`, whose extent there is
// `inputLength` in the input and n in the output (the extent stored in `extents` at `dim` is ignored).
struct Case {
  Precision precision;
  int kind;
  std::vector<std::uint64_t> extents;
  std::size_t dim;
  std::uint64_t n;
  std::uint64_t inputLength;
  std::uint64_t threads;
  int sign;
  std::uint64_t chunk = 4;
  std::size_t inputOffset = 0;   // elements: the input array starts this far into its allocation
  std::size_t outputOffset = 0;  // elements, likewise for the output
  bool inPlace = false;          // c2c with inputLength == n only
};

std::uint64_t strideOf(const Case& c) {
  std::uint64_t stride = 1;
  for (std::size_t d = 0; d < c.dim; ++d) stride *= c.extents[d];
  return stride;
}

std::uint64_t blocksOf(const Case& c) {
  std::uint64_t blocks = 1;
  for (std::size_t d = c.dim + 1; d < c.extents.size(); ++d) blocks *= c.extents[d];
  return blocks;
}

template <typename E>
LongComplex widen(const E& value) {
  return LongComplex(static_cast<long double>(std::real(value)), static_cast<long double>(std::imag(value)));
}

// Expected output of one vector by FFTW's conventions: r2c is always forward, c2r always backward on
// the Hermitian spectrum whose first n/2+1 entries are given (imaginary parts of DC and, for even n,
// Nyquist ignored), c2c has the given sign; sign +1 divides by n for every kind.
template <int Kind, typename In>
std::vector<LongComplex> expectedVector(const std::vector<In>& stored, std::uint64_t n, int sign) {
  if (n == 0) return {};
  const std::uint64_t logical = Kind == tessel_fft::c2r ? n / 2 + 1 : n;
  std::vector<LongComplex> x(n, LongComplex(0));
  for (std::uint64_t k = 0; k < std::min<std::uint64_t>(stored.size(), logical); ++k) x[k] = widen(stored[k]);
  std::vector<LongComplex> result;
  if constexpr (Kind == tessel_fft::r2c) {
    result = tessel_test::naiveDFT(x, FFTW_FORWARD);
  } else if constexpr (Kind == tessel_fft::c2r) {
    std::vector<LongComplex> full(n, LongComplex(0));
    full[0] = x[0].real();
    for (std::uint64_t k = 1; k < logical; ++k) {
      if (2 * k == n) {
        full[k] = x[k].real();
      } else {
        full[k] = x[k];
        full[n - k] = std::conj(x[k]);
      }
    }
    result = tessel_test::naiveDFT(full, FFTW_BACKWARD);
  } else {
    result = tessel_test::naiveDFT(x, sign);
  }
  if (sign == FFTW_BACKWARD) {
    for (auto& value : result) value /= static_cast<long double>(n);
  }
  return result;
}

template <typename E>
void fillRandom(std::vector<E>& values, unsigned seed) {
  if constexpr (std::is_floating_point_v<E>) {
    values = tessel_test::randomReals<E>(values.size(), seed);
  } else {
    values = tessel_test::randomComplex<typename E::value_type>(values.size(), seed);
  }
}

template <typename E>
void fillNaN(E* first, std::size_t count) {
  using Real = decltype(std::real(E{}));
  std::fill(first, first + count, E(std::numeric_limits<Real>::quiet_NaN()));
}

void expectContextFields(const fftwContext& context, const fftwContext& before) {
  EXPECT_EQ(context.getNumThreads(), before.getNumThreads());
  EXPECT_EQ(context.getChunkSize(), before.getChunkSize());
  EXPECT_EQ(context.getPlanStrategy(), before.getPlanStrategy());
  EXPECT_EQ(context.getEmbedStyle(), before.getEmbedStyle());
  EXPECT_EQ(context.mayOverwrite(), before.mayOverwrite());
}

template <typename T, int Kind>
void checkCase(const Case& c) {
  using In = typename tessel_fft::fftElements<T, Kind>::In;
  using Out = typename tessel_fft::fftElements<T, Kind>::Out;
  const std::uint64_t stride = strideOf(c), blocks = blocksOf(c), numVectors = stride * blocks;
  const std::size_t inputCount = stride * c.inputLength * blocks, outputCount = stride * c.n * blocks;

  std::vector<In> input(inputCount);
  fillRandom(input, static_cast<unsigned>(c.n * 7919 + c.inputLength * 31 + stride));

  // The expected array, vector by vector: vector v is column v % stride of block v / stride.
  using Expected = std::conditional_t<Kind == tessel_fft::c2r, long double, LongComplex>;
  std::vector<Expected> expected(outputCount);
  for (std::uint64_t v = 0; v < numVectors; ++v) {
    const std::uint64_t block = v / stride, column = v % stride;
    std::vector<In> stored(c.inputLength);
    for (std::uint64_t k = 0; k < c.inputLength; ++k)
      stored[k] = input[block * stride * c.inputLength + column + k * stride];
    const std::vector<LongComplex> vector = expectedVector<Kind>(stored, c.n, c.sign);
    for (std::uint64_t k = 0; k < c.n; ++k) {
      if constexpr (Kind == tessel_fft::c2r) {
        expected[block * stride * c.n + column + k * stride] = vector[k].real();
      } else {
        expected[block * stride * c.n + column + k * stride] = vector[k];
      }
    }
  }

  fftwContext context(c.threads, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  context.setChunkSize(c.chunk);
  const fftwContext before = context;
  std::vector<In> inputStore(inputCount + c.inputOffset);
  std::vector<Out> outputStore(outputCount + c.outputOffset + 1);
  const auto run = [&](bool noCopy) {
    std::copy(input.begin(), input.end(), inputStore.begin() + c.inputOffset);
    fillNaN(outputStore.data(), outputStore.size());
    Out* out = outputStore.data() + c.outputOffset;
    const In* in = inputStore.data() + c.inputOffset;
    if constexpr (Kind == tessel_fft::c2c) {
      if (c.inPlace) {
        std::copy(input.begin(), input.end(), out);
        in = out;
      }
    }
    if (noCopy) {
      tessel_fft::quillFFT1DNoCopy<T, Kind>(context, nullptr, in, out, stride, c.n, c.inputLength, numVectors,
                                            c.sign);
    } else {
      tessel_fft::quillFFT1D<T, Kind>(context, nullptr, in, out, stride, c.n, c.inputLength, numVectors,
                                      c.sign);
    }
    expectContextFields(context, before);
    EXPECT_TRUE(std::equal(input.begin(), input.end(), inputStore.begin() + c.inputOffset))
        << "input written";
    const std::vector<Out> actual(out, out + outputCount);
    EXPECT_LE(tessel_test::relativeError(actual, expected), tessel_test::tolerance<T>(c.n))
        << (noCopy ? "no-copy entry" : "copying entry");
    EXPECT_TRUE(std::isnan(std::real(out[outputCount]))) << "written past the output";
  };
  run(false);
  // Planning without copy may measure on the output array, which would destroy an in-place input.
  if (!c.inPlace) run(true);
}

void checkCase(const Case& c) {
  const bool single = c.precision == Precision::Single;
  switch (c.kind) {
    case tessel_fft::r2c:
      return single ? checkCase<float, tessel_fft::r2c>(c) : checkCase<double, tessel_fft::r2c>(c);
    case tessel_fft::c2r:
      return single ? checkCase<float, tessel_fft::c2r>(c) : checkCase<double, tessel_fft::c2r>(c);
    default:
      return single ? checkCase<float, tessel_fft::c2c>(c) : checkCase<double, tessel_fft::c2c>(c);
  }
}

std::string caseName(const Case& c, std::size_t index) {
  static const char* const kinds[] = {"r2c", "c2r", "c2c"};
  std::string name = std::string(c.precision == Precision::Single ? "f_" : "d_") + kinds[c.kind] + "_";
  for (std::size_t d = 0; d < c.extents.size(); ++d)
    name += (d ? "x" : "") + (d == c.dim ? "N" : std::to_string(c.extents[d]));
  name += "_n" + std::to_string(c.n) + "_L" + std::to_string(c.inputLength) + "_t" +
          std::to_string(c.threads) + "_c" + std::to_string(c.chunk) +
          (c.sign == FFTW_BACKWARD ? "_inv" : "_fwd");
  if (c.inputOffset) name += "_misaligned";
  if (c.outputOffset) name += "_outoff";
  if (c.inPlace) name += "_inplace";
  return name + "_" + std::to_string(index);
}

// Every precision and kind for each layout of `shapes`.
std::vector<Case> forAllTypes(const Case& base) {
  std::vector<Case> cases;
  for (Precision precision : {Precision::Single, Precision::Double}) {
    for (int kind : {tessel_fft::r2c, tessel_fft::c2r, tessel_fft::c2c}) {
      Case c = base;
      c.precision = precision;
      c.kind = kind;
      cases.push_back(c);
    }
  }
  return cases;
}

void append(std::vector<Case>& cases, const std::vector<Case>& more) {
  cases.insert(cases.end(), more.begin(), more.end());
}

// Lengths 1..20, primes, powers of two and neighbours, on a contiguous batch with one chunk and a tail and
// on a strided one whose blocks each end with a tail.
std::vector<Case> lengthSweep() {
  std::vector<std::uint64_t> lengths;
  for (std::uint64_t n = 1; n <= 20; ++n) lengths.push_back(n);
  for (std::uint64_t n : {31, 32, 33, 63, 64, 97, 127, 128, 256, 1009, 1024}) lengths.push_back(n);
  std::vector<Case> cases;
  for (std::uint64_t n : lengths) {
    const int sign = n % 2 ? FFTW_FORWARD : FFTW_BACKWARD;
    append(cases, forAllTypes({Precision::Single, 0, {0, 5}, 0, n, n, 1, sign}));
    append(cases, forAllTypes({Precision::Single, 0, {6, 0}, 1, n, n, 1, -sign}));
  }
  // c2r input of exactly n/2+1 elements: the whole chunk moves as one block at stride 1.
  for (std::uint64_t n : {1, 2, 7, 8, 64, 97}) {
    for (Case c : forAllTypes({Precision::Single, 0, {0, 9}, 0, n, n / 2 + 1, 1, FFTW_BACKWARD})) {
      if (c.kind == tessel_fft::c2r) cases.push_back(c);
    }
  }
  return cases;
}

// Arrays of rank 1 to 4 with the transformed dimension in every position, the FFT length above, equal
// to and below the stored length, and thread budgets 1, 2 and 4 (small enough to stay direct).
std::vector<Case> layoutSweep() {
  const std::vector<std::vector<std::uint64_t>> shapes = {{7}, {4, 9}, {9, 4}, {3, 5, 6}, {2, 3, 4, 5}};
  const std::uint64_t threads[] = {1, 2, 4};
  std::vector<Case> cases;
  std::size_t counter = 0;
  for (const auto& shape : shapes) {
    for (std::size_t dim = 0; dim < shape.size(); ++dim) {
      const std::uint64_t stored = shape[dim];
      for (std::uint64_t n : {stored, stored + 3, stored - 2}) {
        Case c{Precision::Single,
               0,
               shape,
               dim,
               n,
               stored,
               threads[counter % 3],
               counter % 2 ? FFTW_BACKWARD : FFTW_FORWARD};
        c.inputOffset = counter % 4 == 1 ? 1 : 0;
        c.outputOffset = counter % 5 == 2 ? 1 : 0;
        append(cases, forAllTypes(c));
        ++counter;
      }
    }
  }
  return cases;
}

// Batches large enough to be spread over tasks when the budget is above one thread, and the same with
// one thread: strides 1, below the chunk, large and not a multiple of it; chunk sizes 1 and 3; a small
// contiguous batch cut one or two vectors to a task; a strided batch that fits in one task.
std::vector<Case> batchSweep() {
  std::vector<Case> cases;
  const std::vector<Case> bases = {
      {Precision::Single, 0, {37, 0, 9}, 1, 64, 64, 2, FFTW_BACKWARD},
      {Precision::Single, 0, {37, 0, 9}, 1, 60, 64, 4, FFTW_FORWARD},
      {Precision::Single, 0, {37, 0, 9}, 1, 70, 64, 2, FFTW_FORWARD, 3},
      {Precision::Single, 0, {0, 300}, 0, 64, 64, 4, FFTW_BACKWARD},
      {Precision::Single, 0, {0, 301}, 0, 96, 90, 2, FFTW_FORWARD, 1},
      {Precision::Single, 0, {0, 20}, 0, 512, 512, 2, FFTW_BACKWARD},
      {Precision::Single, 0, {5, 0, 4}, 1, 512, 513, 4, FFTW_FORWARD},
      {Precision::Single, 0, {300, 0}, 1, 64, 50, 2, FFTW_BACKWARD},
      {Precision::Single, 0, {3, 0, 40}, 1, 128, 128, 4, FFTW_FORWARD},
      {Precision::Single, 0, {3, 0, 40}, 1, 128, 128, 1, FFTW_BACKWARD},
      {Precision::Single, 0, {0, 3}, 0, 1009, 1009, 4, FFTW_FORWARD},
      {Precision::Single, 0, {0, 1}, 0, 1009, 1009, 4, FFTW_BACKWARD},
  };
  for (Case c : bases) append(cases, forAllTypes(c));
  Case misaligned{Precision::Single, 0, {0, 300}, 0, 64, 64, 2, FFTW_FORWARD};
  misaligned.inputOffset = 1;
  misaligned.outputOffset = 1;
  append(cases, forAllTypes(misaligned));
  return cases;
}

// Zero-length input (all vectors transform as zeros), empty batches, and c2c in place.
std::vector<Case> edgeSweep() {
  std::vector<Case> cases;
  append(cases, forAllTypes({Precision::Single, 0, {0, 6}, 0, 8, 0, 1, FFTW_BACKWARD}));
  append(cases, forAllTypes({Precision::Single, 0, {5, 0, 2}, 1, 9, 0, 2, FFTW_FORWARD}));
  append(cases, forAllTypes({Precision::Single, 0, {0, 0}, 0, 8, 8, 2, FFTW_BACKWARD}));
  append(cases, forAllTypes({Precision::Single, 0, {6, 0, 0}, 1, 8, 8, 1, FFTW_BACKWARD}));
  append(cases, forAllTypes({Precision::Single, 0, {0, 0, 3}, 1, 8, 8, 1, FFTW_BACKWARD}));
  for (const Case& base : std::vector<Case>{{Precision::Single, 0, {0, 16}, 0, 8, 8, 1, FFTW_FORWARD},
                                            {Precision::Single, 0, {8, 0}, 1, 16, 16, 1, FFTW_BACKWARD},
                                            {Precision::Single, 0, {0, 200}, 0, 64, 64, 2, FFTW_BACKWARD},
                                            {Precision::Single, 0, {33, 0, 7}, 1, 64, 64, 4, FFTW_FORWARD}}) {
    for (Case c : forAllTypes(base)) {
      c.inPlace = true;
      if (c.kind == tessel_fft::c2c) cases.push_back(c);
    }
  }
  return cases;
}

class QuillFFTAccuracy : public ::testing::TestWithParam<Case> {};

TEST_P(QuillFFTAccuracy, MatchesLongDoubleReference) { checkCase(GetParam()); }

const auto kNames = [](const ::testing::TestParamInfo<Case>& info) {
  return caseName(info.param, info.index);
};

INSTANTIATE_TEST_SUITE_P(Lengths, QuillFFTAccuracy, ::testing::ValuesIn(lengthSweep()), kNames);
INSTANTIATE_TEST_SUITE_P(Layouts, QuillFFTAccuracy, ::testing::ValuesIn(layoutSweep()), kNames);
INSTANTIATE_TEST_SUITE_P(Batches, QuillFFTAccuracy, ::testing::ValuesIn(batchSweep()), kNames);
INSTANTIATE_TEST_SUITE_P(Edges, QuillFFTAccuracy, ::testing::ValuesIn(edgeSweep()), kNames);

// One long vector, where FFTW itself gets the threads: beyond the naive reference, so checked by algebra
// (round trip through the inverse kind, Parseval) and by a few bins computed directly.
template <typename T>
void checkLongVector(std::uint64_t n, std::uint64_t threads) {
  using C = std::complex<T>;
  const fftwContext context(threads, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
  const std::vector<C> x = tessel_test::randomComplex<T>(n, static_cast<unsigned>(n));
  std::vector<C> spectrum(n), back(n);
  tessel_fft::quillFFT1D<T, tessel_fft::c2c>(context, nullptr, x.data(), spectrum.data(), 1, n, n, 1,
                                             FFTW_FORWARD);
  for (std::uint64_t k : {std::uint64_t{0}, std::uint64_t{1}, n / 3, n - 1}) {
    LongComplex bin = 0;
    for (std::uint64_t j = 0; j < n; ++j) bin += widen(x[j]) * tessel_test::twiddle(j * k, n, FFTW_FORWARD);
    EXPECT_LE(std::abs(widen(spectrum[k]) - bin),
              tessel_test::tolerance<T>(n) * std::sqrt(static_cast<long double>(n)))
        << "bin " << k;
  }
  long double energyX = 0, energySpectrum = 0;
  for (std::uint64_t j = 0; j < n; ++j) {
    energyX += std::norm(widen(x[j]));
    energySpectrum += std::norm(widen(spectrum[j]));
  }
  EXPECT_NEAR(energySpectrum / static_cast<long double>(n) / energyX, 1.0L, tessel_test::tolerance<T>(n));
  tessel_fft::quillFFT1DNoCopy<T, tessel_fft::c2c>(context, nullptr, spectrum.data(), back.data(), 1, n, n, 1,
                                                   FFTW_BACKWARD);
  EXPECT_LE(tessel_test::relativeError(back, x), tessel_test::tolerance<T>(n));

  // Real round trip: the r2c spectrum is complete, so c2r may read it whole and use its first half.
  const std::vector<T> real = tessel_test::randomReals<T>(n, static_cast<unsigned>(n + 1));
  std::vector<T> realBack(n);
  tessel_fft::quillFFT1D<T, tessel_fft::r2c>(context, nullptr, real.data(), spectrum.data(), 1, n, n, 1,
                                             FFTW_FORWARD);
  for (std::uint64_t k = 1; k < n / 2; k += n / 7)
    EXPECT_EQ(spectrum[n - k], std::conj(spectrum[k])) << "Hermitian completion at " << k;
  tessel_fft::quillFFT1D<T, tessel_fft::c2r>(context, nullptr, spectrum.data(), realBack.data(), 1, n, n, 1,
                                             FFTW_BACKWARD);
  EXPECT_LE(tessel_test::relativeError(realBack, real), tessel_test::tolerance<T>(n));
}

TEST(QuillFFTLongVector, ThreadedFFTWRoundTripAndParseval) {
  for (std::uint64_t threads : {1, 2, 4}) {
    checkLongVector<double>(65536, threads);
    checkLongVector<float>(65536, threads);
  }
  checkLongVector<double>(65535, 4);
}

// Nothing is touched for a transform length of 0, not even a null output.
TEST(QuillFFTEdges, ZeroLengthDoesNothing) {
  const fftwContext context(4, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
  const std::vector<std::complex<double>> in(8, {1, 2});
  tessel_fft::quillFFT1D<double, tessel_fft::c2c>(context, nullptr, in.data(), nullptr, 1, 0, 8, 8,
                                                  FFTW_BACKWARD);
  tessel_fft::quillFFT1DNoCopy<double, tessel_fft::c2c>(context, nullptr, in.data(), nullptr, 1, 0, 8, 8,
                                                        FFTW_BACKWARD);
  std::vector<float> out(4, 3.0f);
  tessel_fft::quillFFT1DNoCopy<float, tessel_fft::c2r>(
      context, nullptr, reinterpret_cast<const std::complex<float>*>(in.data()), out.data() + 1, 1, 0, 8, 8,
      FFTW_BACKWARD);
  EXPECT_EQ(out, std::vector<float>(4, 3.0f));
}

}  // namespace
