// The N-D FFT workloads: fftND over every dimension of a column-major array, beside one rank-N plan over
// the same arrays, plus the division of an inverse.
#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "plain_fftw.hpp"
#include "tessel_fft/tessel_fft.hpp"
#include "workload.hpp"

namespace tessel_bench {
namespace {

namespace tf = tessel_fft;
using u64 = std::uint64_t;
constexpr int r2c = tf::r2c, c2r = tf::c2r, c2c = tf::c2c;

template <typename T, int Kind>
Workload fftND(const SuiteConfig& config, const std::vector<u64>& extents) {
  using In = typename tf::fftElements<T, Kind>::In;
  using Out = typename tf::fftElements<T, Kind>::Out;
  // The one-sided extent of the real kinds lies along dimension 0, which FFTW counts last.
  std::vector<u64> halved = extents;
  halved[0] = extents[0] / 2 + 1;
  const std::vector<u64>& inExtents = Kind == c2r ? halved : extents;
  const std::vector<u64>& outExtents = Kind == r2c ? halved : extents;
  u64 inCount = 1, outCount = 1, points = 1;
  for (std::size_t d = 0; d < extents.size(); ++d) {
    inCount *= inExtents[d];
    outCount *= outExtents[d];
    points *= extents[d];
  }
  struct State {
    State(std::size_t inputs, std::size_t outputs)
        : in(inputs), spectrum(Kind == c2r ? inputs : 0), ours(outputs), plain(outputs) {}
    AlignedArray<In> in, spectrum;
    AlignedArray<Out> ours, plain;
    tf::sharedFFTPlanCache<T, r2c> realToComplex;
    tf::sharedFFTPlanCache<T, c2r> complexToReal;
    tf::sharedFFTPlanCache<T, c2c> complexToComplex;
    PlainPlan<T> plan;
    std::vector<u64> lengths, inputExtents, axes;
  };
  auto state = std::make_shared<State>(inCount, outCount);
  state->lengths = extents;
  state->inputExtents = inExtents;
  for (u64 d = 0; d < extents.size(); ++d) state->axes.push_back(d);

  // FFTW counts dimensions row-major, the contiguous one last. FFTW's multi-dimensional c2r overwrites its
  // input and can't be told to keep it, so the plain side transforms a copy, as a user keeping the
  // spectrum must.
  std::vector<fftw_iodim64> dims;
  u64 inStride = 1, outStride = 1;
  for (std::size_t d = 0; d < extents.size(); ++d) {
    dims.insert(dims.begin(), iodim(extents[d], inStride, outStride));
    inStride *= inExtents[d];
    outStride *= outExtents[d];
  }
  const int rank = static_cast<int>(dims.size());
  const unsigned flags = config.planFlags;
  state->plan = makePlainPlan<T>(config.threads, [&] {
    if constexpr (Kind == r2c) {
      return PlainFftw<T>::r2c(rank, dims.data(), 0, nullptr, state->in.data(), asFftw(state->plain.data()),
                               flags);
    } else if constexpr (Kind == c2r) {
      return PlainFftw<T>::c2r(rank, dims.data(), 0, nullptr, asFftw(state->spectrum.data()),
                               state->plain.data(), flags);
    } else {
      return PlainFftw<T>::dft(rank, dims.data(), 0, nullptr, asFftw(state->in.data()),
                               asFftw(state->plain.data()), FFTW_FORWARD, flags);
    }
  });
  fillRandom(state->in.data(), inCount, 40 + extents.size());

  const int sign = Kind == c2r ? FFTW_BACKWARD : FFTW_FORWARD;
  const tf::fftwContext context(static_cast<u64>(config.threads), config.planFlags,
                                tf::fftwContext::EMBED_COMPACT, false);
  Workload workload;
  workload.shape = shapeText(extents);
  workload.threads = config.threads;
  workload.points = static_cast<double>(points);
  workload.epsilon = std::numeric_limits<T>::epsilon();
  workload.runOurs = [state, context, sign] {
    const tf::fftNDCaches<T> caches{&state->realToComplex, &state->complexToReal, &state->complexToComplex};
    const tf::fftNDShape shape{state->lengths.data(), state->inputExtents.data(), state->lengths.size(),
                               state->axes.data(), state->axes.size()};
    tf::fftND<T, Kind>(context, caches, state->in.data(), state->ours.data(), shape, sign);
  };
  workload.plainSides = {plainSide(state, outCount, [state, inCount, outCount, points] {
    if constexpr (Kind == c2r)
      std::copy(state->in.data(), state->in.data() + inCount, state->spectrum.data());
    state->plan.execute();
    if constexpr (Kind == c2r) {
      const T factor = T(1) / static_cast<T>(points);
      for (u64 i = 0; i < outCount; ++i) state->plain[i] *= factor;
    }
  })};
  return workload;
}

}  // namespace

Workload fftNDWorkload(const SuiteConfig& config, int kind, const std::vector<std::uint64_t>& extents) {
  if (kind == r2c) return fftND<double, r2c>(config, extents);
  if (kind == c2r) return fftND<double, c2r>(config, extents);
  return fftND<double, c2c>(config, extents);
}

}  // namespace tessel_bench
