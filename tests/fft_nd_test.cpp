// The N-D FFTs and the one-sided r2c against the long-double DFT applied along each transformed
// dimension: a table of chosen calls, seeded random calls between them, and the passes some shapes take.

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "fft/fft_passes.hpp"
#include "support/counting_cache.hpp"
#include "support/reference.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::r2c;
using namespace tessel_test;
using Extents = std::vector<std::uint64_t>;

struct NDCall {
  bool single = false;
  int kind = c2c;
  Extents lengths;
  Extents inputExtents = {};  // the lengths where empty; for c2r the one-sided ones
  Extents axes;
  int sign = FFTW_FORWARD;
  std::uint64_t threads = 1;
  bool measure = false;
  bool oneDimensional = false;  // through quillRFFT1D: r2c along axes[0] of all the array
  unsigned seed = 1;
};

std::uint64_t product(const Extents& extents) {
  return std::accumulate(extents.begin(), extents.end(), std::uint64_t{1}, std::multiplies<>());
}

// Column-major index of `at` in `extents`.
std::uint64_t indexOf(const Extents& at, const Extents& extents) {
  std::uint64_t index = 0;
  for (std::size_t d = extents.size(); d-- > 0;) index = index * extents[d] + at[d];
  return index;
}

// Steps `at` through `extents`, dimension 0 fastest; false after the last.
bool next(Extents& at, const Extents& extents) {
  for (std::size_t d = 0; d < extents.size(); ++d) {
    if (++at[d] < extents[d]) return true;
    at[d] = 0;
  }
  return false;
}

// The unnormalised DFT with `sign` along each of `axes` of an array of `extents`, in place.
void naiveDFTAlong(std::vector<LongComplex>& data, const Extents& extents, const Extents& axes, int sign) {
  for (const std::uint64_t axis : axes) {
    Extents lineExtents = extents;
    lineExtents[axis] = 1;
    Extents at(extents.size(), 0);
    if (product(extents) == 0) return;
    do {
      std::vector<LongComplex> line(extents[axis]);
      Extents place = at;
      for (place[axis] = 0; place[axis] < extents[axis]; ++place[axis])
        line[place[axis]] = data[indexOf(place, extents)];
      line = naiveDFT(line, sign);
      for (place[axis] = 0; place[axis] < extents[axis]; ++place[axis])
        data[indexOf(place, extents)] = line[place[axis]];
    } while (next(at, lineExtents));
  }
}

// The input as the transform sees it: cut or zero padded to `extents`.
std::vector<LongComplex> resized(const std::vector<LongComplex>& input, const Extents& inputExtents,
                                 const Extents& extents) {
  std::vector<LongComplex> result(product(extents));
  if (result.empty()) return result;
  Extents at(extents.size(), 0);
  do {
    bool inside = true;
    for (std::size_t d = 0; d < at.size(); ++d) inside = inside && at[d] < inputExtents[d];
    if (inside) result[indexOf(at, extents)] = input[indexOf(at, inputExtents)];
  } while (next(at, extents));
  return result;
}

// Runs `call` on fresh arrays with keeping caches and returns the largest error relative to the
// reference's L2 norm; a c2r input is the one-sided reference spectrum of a real array, so the
// expected output is that array, times the product of the lengths unless divided.
template <typename T>
long double ndError(const NDCall& call) {
  const std::size_t ndims = call.lengths.size();
  const Extents& lengths = call.lengths;
  const std::uint64_t half = call.kind == c2c ? 0 : call.axes[0];
  Extents inputExtents = call.inputExtents.empty() ? lengths : call.inputExtents;
  if (call.kind == c2r && call.inputExtents.empty()) inputExtents[half] = lengths[half] / 2 + 1;
  Extents outputExtents = lengths;
  if (call.kind == r2c) outputExtents[half] = lengths[half] / 2 + 1;
  const std::vector<T> values = randomReals<T>(2 * product(inputExtents) + 2 * product(lengths), call.seed);
  long double transformed = 1;  // the product of the transformed lengths, an inverse's divisor
  for (const std::uint64_t axis : call.axes) transformed *= lengths[axis];
  std::vector<LongComplex> input(product(inputExtents)), expected;
  if (call.kind == c2r) {
    // A real signal of the lengths; its spectrum cut to the one-sided extents (rows past n/2+1 carry
    // noise that the transform must ignore).
    std::vector<LongComplex> signal(product(lengths));
    for (std::size_t i = 0; i < signal.size(); ++i) signal[i] = values[i];
    std::vector<LongComplex> spectrum = signal;
    naiveDFTAlong(spectrum, lengths, call.axes, FFTW_FORWARD);
    Extents at(ndims, 0);
    do {
      input[indexOf(at, inputExtents)] =
          at[half] < lengths[half] / 2 + 1
              ? spectrum[indexOf(at, lengths)]
              : LongComplex(values[signal.size() + indexOf(at, inputExtents)], 1);
    } while (next(at, inputExtents));
    expected = signal;
    for (auto& value : expected) value *= call.sign == FFTW_BACKWARD ? 1 : transformed;
  } else {
    for (std::size_t i = 0; i < input.size(); ++i)
      input[i] = call.kind == r2c ? LongComplex(values[i]) : LongComplex(values[2 * i], values[2 * i + 1]);
    std::vector<LongComplex> full = resized(input, inputExtents, lengths);
    naiveDFTAlong(full, lengths, call.axes, call.kind == c2c ? call.sign : FFTW_FORWARD);
    for (auto& value : full) value /= call.sign == FFTW_BACKWARD ? transformed : 1;
    expected = resized(full, lengths, outputExtents);
  }

  std::vector<std::complex<T>> complexIn(input.size()), complexOut(product(outputExtents));
  std::vector<T> realIn(input.size()), realOut(product(outputExtents));
  for (std::size_t i = 0; i < input.size(); ++i) {
    complexIn[i] = std::complex<T>(static_cast<T>(input[i].real()), static_cast<T>(input[i].imag()));
    realIn[i] = static_cast<T>(input[i].real());
  }
  const tessel_fft::fftwContext context(call.threads, call.measure ? FFTW_MEASURE : FFTW_ESTIMATE,
                                        tessel_fft::fftwContext::EMBED_COMPACT, false);
  CountingFFTCache<T, r2c> r2cCache;
  CountingFFTCache<T, c2r> c2rCache;
  CountingFFTCache<T, c2c> c2cCache;
  const tessel_fft::fftNDCaches<T> caches{&r2cCache, &c2rCache, &c2cCache};
  const tessel_fft::fftNDShape shape{lengths.data(), inputExtents.data(), ndims, call.axes.data(),
                                     call.axes.size()};
  if (call.oneDimensional) {
    const std::uint64_t axis = call.axes[0];
    const std::uint64_t stride = product(Extents(lengths.begin(), lengths.begin() + axis));
    tessel_fft::quillRFFT1D<T>(context, &r2cCache, realIn.data(), complexOut.data(), stride, lengths[axis],
                               inputExtents[axis], product(inputExtents) / inputExtents[axis], call.sign);
  } else if (call.kind == r2c) {
    tessel_fft::fftND<T, r2c>(context, caches, realIn.data(), complexOut.data(), shape, call.sign);
  } else if (call.kind == c2r) {
    tessel_fft::fftND<T, c2r>(context, caches, complexIn.data(), realOut.data(), shape, call.sign);
  } else {
    tessel_fft::fftND<T, c2c>(context, caches, complexIn.data(), complexOut.data(), shape, call.sign);
  }
  EXPECT_EQ(r2cCache.foreignCalls + c2rCache.foreignCalls + c2cCache.foreignCalls, 0);
  long double difference = 0, norm = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const LongComplex got =
        call.kind == c2r ? LongComplex(realOut[i]) : LongComplex(complexOut[i].real(), complexOut[i].imag());
    difference += std::norm(got - expected[i]);
    norm += std::norm(expected[i]);
  }
  return norm == 0 ? std::sqrt(difference) : std::sqrt(difference / norm);
}

void expectAccurate(const NDCall& call) {
  std::uint64_t longest = 2;
  for (const std::uint64_t axis : call.axes) longest = std::max(longest, call.lengths[axis]);
  const long double error = call.single ? ndError<float>(call) : ndError<double>(call);
  const long double limit = call.single ? tolerance<float>(longest) : tolerance<double>(longest);
  EXPECT_LE(error, limit) << "kind " << call.kind << ", seed " << call.seed << ", " << call.lengths.size()
                          << " dimensions, first " << call.lengths[0];
}

constexpr int kInv = FFTW_BACKWARD;

TEST(Accuracy, FFTND) {
  // clang-format off
  const std::vector<NDCall> rows = {
      {.lengths = {8, 6}, .axes = {0, 1}},                                       // all dimensions, in place
      {.single = true, .lengths = {5, 4, 3}, .axes = {2, 0}, .sign = kInv},      // a subset, order given
      {.lengths = {6, 5, 4}, .inputExtents = {9, 3, 4}, .axes = {0, 1}},        // cut, then padded: scratch
      {.lengths = {4, 7}, .inputExtents = {2, 9}, .axes = {1, 0}, .sign = kInv}, // both ways, inverse
      {.lengths = {3, 1, 2}, .inputExtents = {3, 0, 2}, .axes = {1}},            // an empty input: zeros
      {.kind = r2c, .lengths = {7, 6}, .axes = {0, 1}},                          // odd one-sided length
      {.single = true, .kind = r2c, .lengths = {3, 10, 4}, .axes = {1}, .sign = kInv},  // strided half
      {.kind = r2c, .lengths = {6, 3, 5}, .inputExtents = {6, 5, 2}, .axes = {2, 1}},   // half padded last
      {.kind = c2r, .lengths = {8, 6}, .axes = {0, 1}, .sign = kInv},                     // round trip
      {.single = true, .kind = c2r, .lengths = {4, 9, 5}, .axes = {1, 2}},                // odd, unscaled
      {.kind = c2r, .lengths = {6, 4}, .inputExtents = {6, 5}, .axes = {1}, .sign = kInv},  // longer half
      // Pooled passes, measured plans.
      {.kind = c2c, .lengths = {64, 48}, .axes = {1, 0}, .sign = kInv, .threads = 2, .measure = true},
      {.single = true, .kind = r2c, .lengths = {30, 40, 8}, .axes = {0, 1, 2}, .threads = 2},
      {.kind = c2r, .lengths = {20, 32, 6}, .axes = {2, 0}, .sign = kInv, .threads = 2, .measure = true},
      // Whole arrays of 2^15 points or more through one plan over all dimensions, scaled or measured.
      {.kind = c2c, .lengths = {64, 32, 16}, .axes = {2, 0, 1}, .sign = kInv, .threads = 2},
      {.single = true, .kind = r2c, .lengths = {64, 64, 8}, .axes = {0, 1, 2}, .measure = true},
      {.kind = r2c, .lengths = {64, 64, 8}, .axes = {1, 0, 2}},  // halving dimension 1: passes
      {.kind = c2r, .lengths = {64, 32, 16}, .axes = {0, 2, 1}, .sign = kInv, .threads = 2, .measure = true},
      // Leading dimensions slab by slab, in two steps over tasks or on the calling thread; in four, with
      // the host's caches still asked on the calling thread only.
      {.kind = c2c, .lengths = {128, 128, 8}, .axes = {0, 1, 2}, .sign = kInv, .threads = 2},
      {.kind = c2c, .lengths = {64, 64, 64}, .axes = {1, 0}, .threads = 2},
      {.kind = c2r, .lengths = {128, 96, 12}, .axes = {0, 1, 2}},
      // The one-sided r2c of one dimension: contiguous, strided over plans on the arrays, padded, cut.
      {.kind = r2c, .lengths = {9, 5}, .axes = {0}, .oneDimensional = true},
      {.single = true, .kind = r2c, .lengths = {6, 12, 3}, .axes = {1}, .sign = kInv, .oneDimensional = true},
      {.kind = r2c, .lengths = {4, 100, 3}, .inputExtents = {4, 70, 3}, .axes = {1}, .threads = 2,
       .measure = true, .oneDimensional = true},
      {.kind = r2c, .lengths = {64, 300}, .inputExtents = {80, 300}, .axes = {0}, .threads = 2,
       .oneDimensional = true},
  };
  // clang-format on
  for (const NDCall& row : rows) expectAccurate(row);
}

// Random calls between the rows: two to four dimensions, any subset of them in any order, cut or padded.
TEST(Accuracy, FFTNDRandom) {
  std::mt19937 engine(20261125);
  const auto draw = [&](unsigned low, unsigned high) {
    return std::uniform_int_distribution<unsigned>(low, high)(engine);
  };
  for (int round = 0; round < 40; ++round) {
    NDCall call;
    call.single = draw(0, 1) == 1;
    call.kind = static_cast<int>(draw(0, 2));
    call.sign = draw(0, 1) == 1 ? kInv : FFTW_FORWARD;
    call.threads = draw(1, 2);
    call.seed = static_cast<unsigned>(round);
    const std::size_t ndims = draw(2, 4);
    for (std::size_t d = 0; d < ndims; ++d) call.lengths.push_back(draw(1, ndims == 4 ? 6 : 12));
    for (std::uint64_t d = 0; d < ndims; ++d)
      if (draw(0, 2) != 0 || call.axes.empty()) call.axes.push_back(d);
    std::shuffle(call.axes.begin(), call.axes.end(), engine);
    call.inputExtents = call.lengths;
    if (call.kind == c2r) call.inputExtents[call.axes[0]] = call.lengths[call.axes[0]] / 2 + 1;
    if (call.kind != c2r)
      for (const std::uint64_t axis : call.axes) call.inputExtents[axis] = draw(1, 14);
    expectAccurate(call);
  }
}

// The passes a shape takes, without running it.
TEST(Passes, FFTND) {
  struct Row {
    int kind;
    Extents lengths, inputExtents, axes;
    std::string passes;
  };
  const std::vector<Row> rows = {
      // Same layout throughout: the first pass writes the output, the others work there in place, leading
      // dimensions first.
      {c2c, {8, 6}, {8, 6}, {1, 0}, "axis 0 c2c n=8 input->output\naxis 1 c2c n=6 output->output\n"},
      // One plan over the whole array first; else the leading dimensions slab by slab (16 slabs of 32 KiB
      // in a step), the last one over the whole array.
      {r2c,
       {64, 64, 64},
       {64, 64, 64},
       {0, 2, 1},
       "whole array, else:\nin 4 steps of slabs:\naxis 0 r2c n=64 input->output\n"
       "axis 1 c2c n=64 output->output\naxis 2 c2c n=64 output->output\n"},
      {r2c, {8, 6}, {8, 6}, {0, 1}, "axis 0 r2c n=8 input->output\naxis 1 c2c n=6 output->output\n"},
      // A c2r output cannot hold the complex passes before it.
      {c2r, {8, 6}, {5, 6}, {0, 1}, "axis 1 c2c n=6 input->first\naxis 0 c2r n=8 first->output\n"},
      // Cutting first, padding last, which cannot work in place: scratch until the last pass.
      {c2c,
       {4, 4, 4},
       {2, 4, 9},
       {0, 1, 2},
       "axis 2 c2c n=4 input->first\naxis 1 c2c n=4 first->first\naxis 0 c2c n=4 first->output\n"},
  };
  for (const Row& row : rows) {
    const tessel_fft::NDPasses passes =
        tessel_fft::ndPassesOf(row.kind, sizeof(double), row.lengths.data(), row.inputExtents.data(),
                               row.lengths.size(), row.axes.data(), row.axes.size());
    EXPECT_EQ(passes.describe(), row.passes);
  }
}

}  // namespace
