// Throughput of the transposing gather and scatter of strided batches, beside memcpy of the same bytes.
//
// Each iteration moves one chunk of 4 neighbouring columns of 4096 samples between a column-major array
// (columns `stride` apart) and contiguous scratch, walking the chunks across the array the way a batch
// loop does, so the array streams from memory. A memcpy of the same bytes, from (or to) a running position
// in the same array, is timed in the same iteration; the counter `vs_memcpy` is kernel bytes/s divided by
// memcpy bytes/s.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "buffering/transpose.hpp"

namespace {

namespace bf = tessel_fft::buffering;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kLength = 4096;
constexpr std::size_t kChunk = 4;
// Enough blocks that the array does not stay in the caches between passes.
constexpr std::size_t kArrayBytes = 64u << 20;

template <typename T, bool kScatter>
void stridedTranspose(benchmark::State& state) {
  const auto stride = static_cast<std::size_t>(state.range(0));
  const std::size_t blockElements = stride * kLength;
  const std::size_t blocks = std::max<std::size_t>(1, kArrayBytes / (blockElements * sizeof(T)));
  std::vector<T> array(blocks * blockElements, T(1));
  std::vector<T> scratch(kChunk * kLength, T(2));
  std::vector<T> copyScratch(kChunk * kLength, T(3));
  const std::size_t chunkBytes = scratch.size() * sizeof(T);
  auto* arrayBytes = reinterpret_cast<unsigned char*>(array.data());
  const std::size_t arraySize = array.size() * sizeof(T);

  std::size_t block = 0, column = 0, copyOffset = 0;
  double kernelSeconds = 0, memcpySeconds = 0;
  for (auto _ : state) {
    T* cursor = array.data() + block * blockElements + column;
    const auto t0 = Clock::now();
    if (kScatter) {
      bf::strided::transpose<T, bf::noop>(cursor, static_cast<std::ptrdiff_t>(stride), scratch.data(),
                                          static_cast<std::ptrdiff_t>(kLength), kChunk, kLength);
    } else {
      bf::strided::transpose<T, bf::noop>(scratch.data(), static_cast<std::ptrdiff_t>(kLength), cursor,
                                          static_cast<std::ptrdiff_t>(stride), kLength, kChunk);
    }
    benchmark::ClobberMemory();
    const auto t1 = Clock::now();
    if (kScatter) {
      std::memcpy(arrayBytes + copyOffset, copyScratch.data(), chunkBytes);
    } else {
      std::memcpy(copyScratch.data(), arrayBytes + copyOffset, chunkBytes);
    }
    benchmark::ClobberMemory();
    const auto t2 = Clock::now();

    const double kernel = std::chrono::duration<double>(t1 - t0).count();
    kernelSeconds += kernel;
    memcpySeconds += std::chrono::duration<double>(t2 - t1).count();
    state.SetIterationTime(kernel);

    column += kChunk;
    if (column + kChunk > stride) {
      column = 0;
      block = (block + 1) % blocks;
    }
    copyOffset += chunkBytes;
    if (copyOffset + chunkBytes > arraySize) copyOffset = 0;
  }
  const double bytes = static_cast<double>(state.iterations()) * static_cast<double>(chunkBytes);
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  state.counters["memcpy_GBps"] = bytes / memcpySeconds * 1e-9;
  state.counters["vs_memcpy"] = memcpySeconds / kernelSeconds;
}

template <typename T>
void gather(benchmark::State& state) {
  stridedTranspose<T, false>(state);
}

template <typename T>
void scatter(benchmark::State& state) {
  stridedTranspose<T, true>(state);
}

BENCHMARK_TEMPLATE(gather, double)->Arg(100)->Arg(1000)->UseManualTime();
BENCHMARK_TEMPLATE(gather, std::complex<double>)->Arg(100)->Arg(1000)->UseManualTime();
BENCHMARK_TEMPLATE(scatter, double)->Arg(100)->Arg(1000)->UseManualTime();
BENCHMARK_TEMPLATE(scatter, std::complex<double>)->Arg(100)->Arg(1000)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
