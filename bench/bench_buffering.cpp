// Throughput of the moves of a batch between the caller's arrays and scratch, beside memcpy of the same
// bytes.
//
// Each iteration moves one group of `vectors` neighbouring columns of 4096 samples between a column-major
// array (columns `stride` apart) and scratch, walking the groups across the array the way a batch loop
// does, so the array streams from memory: 4 columns are one chunk, 16 the whole cache lines of a double
// row that a group gathers. The contiguous rows move one group of vectors with stride 1 instead. A memcpy
// of the same bytes, from (or to) a running position in the same array, is timed in the same iteration;
// the counter `vs_memcpy` is kernel bytes/s divided by memcpy bytes/s.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "buffering/stream.hpp"
#include "buffering/transpose.hpp"

namespace {

namespace bf = tessel_fft::buffering;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kLength = 4096;
// Enough blocks that the array does not stay in the caches between passes.
constexpr std::size_t kArrayBytes = 64u << 20;

enum class Move { Gather, Scatter, StreamScatter, StreamCopy };

template <typename T, Move kMove>
void groupMove(benchmark::State& state) {
  const auto stride = static_cast<std::size_t>(state.range(0));
  const auto vectors = static_cast<std::size_t>(state.range(1));
  const std::size_t blockElements = stride * kLength;
  const std::size_t blocks = std::max<std::size_t>(1, kArrayBytes / (blockElements * sizeof(T)));
  std::vector<T> array(blocks * blockElements, T(1));
  // Scratch as a batch lays it out: chunks of 4 vectors, one cache line apart, so that vectors of a
  // power-of-two length do not all fall into the same cache sets.
  const std::size_t chunkPadding = 64 / sizeof(T);
  std::vector<T> scratch(vectors * kLength + vectors / 4 * chunkPadding, T(2));
  std::vector<T> copyScratch(vectors * kLength, T(3));
  std::vector<T*> places(vectors);
  std::vector<const T*> columns(vectors);
  for (std::size_t v = 0; v < vectors; ++v)
    columns[v] = places[v] = scratch.data() + v * kLength + v / 4 * chunkPadding;
  const std::size_t groupBytes = copyScratch.size() * sizeof(T);
  auto* arrayBytes = reinterpret_cast<unsigned char*>(array.data());
  const std::size_t arraySize = array.size() * sizeof(T);
  const auto signedStride = static_cast<std::ptrdiff_t>(stride);
  constexpr bool kWrites = kMove != Move::Gather;

  std::size_t position = 0, copyOffset = 0;
  double kernelSeconds = 0, memcpySeconds = 0;
  for (auto _ : state) {
    T* cursor = array.data() + position;
    const auto t0 = Clock::now();
    if constexpr (kMove == Move::Gather)
      bf::strided::gather_rows(places.data(), cursor, signedStride, kLength, vectors);
    if constexpr (kMove == Move::Scatter)
      bf::strided::scatter_columns(cursor, signedStride, columns.data(), vectors, kLength);
    if constexpr (kMove == Move::StreamScatter) {
      bf::strided::stream_scatter_columns(cursor, signedStride, columns.data(), vectors, kLength);
      bf::streamFence();
    }
    if constexpr (kMove == Move::StreamCopy) {
      bf::contiguous::stream_copy(cursor, scratch.data(), copyScratch.size());
      bf::streamFence();
    }
    benchmark::ClobberMemory();
    const auto t1 = Clock::now();
    if (kWrites) {
      std::memcpy(arrayBytes + copyOffset, copyScratch.data(), groupBytes);
    } else {
      std::memcpy(copyScratch.data(), arrayBytes + copyOffset, groupBytes);
    }
    benchmark::ClobberMemory();
    const auto t2 = Clock::now();

    const double kernel = std::chrono::duration<double>(t1 - t0).count();
    kernelSeconds += kernel;
    memcpySeconds += std::chrono::duration<double>(t2 - t1).count();
    state.SetIterationTime(kernel);

    // The next group: the next columns of the block, or the next block once its columns are used up.
    if (kMove == Move::StreamCopy) {
      position += copyScratch.size();
    } else {
      position += vectors;
      if (position % stride + vectors > stride) position = (position / blockElements + 1) * blockElements;
    }
    if (position + (kMove == Move::StreamCopy ? copyScratch.size() : blockElements) > array.size())
      position = 0;
    copyOffset += groupBytes;
    if (copyOffset + groupBytes > arraySize) copyOffset = 0;
  }
  const double bytes = static_cast<double>(state.iterations()) * static_cast<double>(groupBytes);
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  state.counters["memcpy_GBps"] = bytes / memcpySeconds * 1e-9;
  state.counters["vs_memcpy"] = memcpySeconds / kernelSeconds;
}

// stride x vectors: a narrow and a wide array, one chunk and one group of whole lines.
void groups(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"stride", "vectors"})->ArgsProduct({{100, 1000}, {4, 16}})->UseManualTime();
}

BENCHMARK_TEMPLATE(groupMove, float, Move::Gather)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, double, Move::Gather)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, std::complex<double>, Move::Gather)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, double, Move::Scatter)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, std::complex<float>, Move::Scatter)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, std::complex<double>, Move::Scatter)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, double, Move::StreamScatter)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, std::complex<double>, Move::StreamScatter)->Apply(groups);
BENCHMARK_TEMPLATE(groupMove, std::complex<double>, Move::StreamCopy)
    ->ArgNames({"stride", "vectors"})
    ->Args({1, 16})
    ->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
