// The batched column-major FFT entries beside plain FFTW doing the same work on the same arrays, in one
// process. Both sides plan with FFTW_MEASURE and 2 threads; our plans come from a host-style cache that
// keeps them, so the steady state is timed, not planning. After the runs the ratios of the medians
// (ours / FFTW) are printed; run with --benchmark_repetitions to get medians.
//
//   A  complex double 100 x 4096 x 20, along the second dimension, backward; FFTW: one guru64 plan with
//      the array's strides on the caller's buffers.
//   B  contiguous batches, 1024 x 10000 and 64 x 100000; FFTW: one plan_many.
//   C  r2c 4096 x 2000 to full spectra; FFTW: plan_many r2c into the full-length array, then a mirror loop.
//   D  one vector of 2^20, FFTW with 2 threads inside the transform.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <complex>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "tessel_fft/fft.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::fftwContext;
using tessel_fft::r2c;
using Complex = std::complex<double>;

constexpr int kThreads = 2;

template <int Kind>
using KeepingCache =
    tessel_bench::KeepingCache<tessel_fft::fftwPlanCacheInterface<double, Kind, tessel_fft::fftwPlanKey>>;

KeepingCache<c2c>& complexCache() {
  static KeepingCache<c2c> cache;
  return cache;
}
KeepingCache<r2c>& realCache() {
  static KeepingCache<r2c> cache;
  return cache;
}

const fftwContext& ourContext() {
  static const fftwContext context(kThreads, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  return context;
}

// FFTW's planner on its own, with the same thread count as ours.
void plainFftwThreads() {
  tessel_fft::fftwApi::getInstance();
  fftw_plan_with_nthreads(kThreads);
}

fftw_complex* raw(std::vector<Complex>& v) { return reinterpret_cast<fftw_complex*>(v.data()); }

struct Arrays {
  explicit Arrays(std::size_t count) : in(count, Complex(0.5, -0.25)), out(count) {}
  std::vector<Complex> in, out;
};

// A: stride 100, n 4096, 2000 vectors in 20 blocks.
constexpr std::uint64_t kAStride = 100, kALength = 4096, kABlocks = 20;

void A_ours(benchmark::State& state) {
  Arrays a(kAStride * kALength * kABlocks);
  for (auto _ : state) {
    tessel_fft::quillFFT1D<double, c2c>(ourContext(), &complexCache(), a.in.data(), a.out.data(), kAStride,
                                        kALength, kALength, kAStride * kABlocks, FFTW_BACKWARD);
    benchmark::ClobberMemory();
  }
}

void A_fftw(benchmark::State& state) {
  Arrays a(kAStride * kALength * kABlocks);
  plainFftwThreads();
  const auto stride = static_cast<std::ptrdiff_t>(kAStride),
             block = static_cast<std::ptrdiff_t>(kAStride * kALength);
  const fftw_iodim64 dims{static_cast<std::ptrdiff_t>(kALength), stride, stride};
  const fftw_iodim64 loops[2] = {{stride, 1, 1}, {static_cast<std::ptrdiff_t>(kABlocks), block, block}};
  fftw_plan plan =
      fftw_plan_guru64_dft(1, &dims, 2, loops, raw(a.in), raw(a.out), FFTW_BACKWARD, FFTW_MEASURE);
  std::fill(a.in.begin(), a.in.end(), Complex(0.5, -0.25));
  for (auto _ : state) {
    fftw_execute_dft(plan, raw(a.in), raw(a.out));
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
}

// B: contiguous vectors of n, through the copying and the no-copy entry, and FFTW's plan_many.
template <bool NoCopy, std::uint64_t n, std::uint64_t count>
void B_ours(benchmark::State& state) {
  Arrays a(n * count);
  const auto entry =
      NoCopy ? &tessel_fft::quillFFT1DNoCopy<double, c2c> : &tessel_fft::quillFFT1D<double, c2c>;
  entry(ourContext(), &complexCache(), a.in.data(), a.out.data(), 1, n, n, count, FFTW_FORWARD);
  for (auto _ : state) {
    entry(ourContext(), &complexCache(), a.in.data(), a.out.data(), 1, n, n, count, FFTW_FORWARD);
    benchmark::ClobberMemory();
  }
}

template <int n, int count>
void B_fftw(benchmark::State& state) {
  Arrays a(static_cast<std::size_t>(n) * count);
  plainFftwThreads();
  const int length = n;
  fftw_plan plan = fftw_plan_many_dft(1, &length, count, raw(a.in), nullptr, 1, n, raw(a.out), nullptr, 1, n,
                                      FFTW_FORWARD, FFTW_MEASURE);
  std::fill(a.in.begin(), a.in.end(), Complex(0.5, -0.25));
  for (auto _ : state) {
    fftw_execute_dft(plan, raw(a.in), raw(a.out));
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
}

// C: real vectors to full Hermitian spectra.
constexpr std::uint64_t kCLength = 4096, kCCount = 2000;

template <bool NoCopy>
void C_ours(benchmark::State& state) {
  std::vector<double> in(kCLength * kCCount, 0.75);
  std::vector<Complex> out(kCLength * kCCount);
  const auto entry =
      NoCopy ? &tessel_fft::quillFFT1DNoCopy<double, r2c> : &tessel_fft::quillFFT1D<double, r2c>;
  entry(ourContext(), &realCache(), in.data(), out.data(), 1, kCLength, kCLength, kCCount, FFTW_FORWARD);
  for (auto _ : state) {
    entry(ourContext(), &realCache(), in.data(), out.data(), 1, kCLength, kCLength, kCCount, FFTW_FORWARD);
    benchmark::ClobberMemory();
  }
}

void C_fftw(benchmark::State& state) {
  const int n = static_cast<int>(kCLength), count = static_cast<int>(kCCount);
  std::vector<double> in(kCLength * kCCount);
  std::vector<Complex> out(kCLength * kCCount);
  plainFftwThreads();
  fftw_plan plan =
      fftw_plan_many_dft_r2c(1, &n, count, in.data(), nullptr, 1, n, raw(out), nullptr, 1, n, FFTW_MEASURE);
  std::fill(in.begin(), in.end(), 0.75);
  const int half = n / 2 + 1;
  for (auto _ : state) {
    fftw_execute_dft_r2c(plan, in.data(), raw(out));
    for (int v = 0; v < count; ++v) {
      Complex* vector = out.data() + static_cast<std::size_t>(v) * n;
      for (int k = half; k < n; ++k) vector[k] = std::conj(vector[n - k]);
    }
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
}

// D: one long vector; FFTW's threads work inside it.
constexpr std::uint64_t kDLength = std::uint64_t{1} << 20;

template <bool NoCopy>
void D_ours(benchmark::State& state) {
  Arrays a(kDLength);
  const auto entry =
      NoCopy ? &tessel_fft::quillFFT1DNoCopy<double, c2c> : &tessel_fft::quillFFT1D<double, c2c>;
  entry(ourContext(), &complexCache(), a.in.data(), a.out.data(), 1, kDLength, kDLength, 1, FFTW_FORWARD);
  for (auto _ : state) {
    entry(ourContext(), &complexCache(), a.in.data(), a.out.data(), 1, kDLength, kDLength, 1, FFTW_FORWARD);
    benchmark::ClobberMemory();
  }
}

void D_fftw(benchmark::State& state) {
  Arrays a(kDLength);
  plainFftwThreads();
  const int n = static_cast<int>(kDLength);
  fftw_plan plan = fftw_plan_dft_1d(n, raw(a.in), raw(a.out), FFTW_FORWARD, FFTW_MEASURE);
  std::fill(a.in.begin(), a.in.end(), Complex(0.5, -0.25));
  for (auto _ : state) {
    fftw_execute_dft(plan, raw(a.in), raw(a.out));
    benchmark::ClobberMemory();
  }
  fftw_destroy_plan(plan);
}

BENCHMARK(A_ours)->Name("A_strided/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(A_fftw)->Name("A_strided/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(B_ours<false, 1024, 10000>)
    ->Name("B_1024x10000/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(B_ours<true, 1024, 10000>)
    ->Name("B_1024x10000/ours_nocopy")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(B_fftw<1024, 10000>)->Name("B_1024x10000/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(B_ours<false, 64, 100000>)->Name("B_64x100000/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(B_ours<true, 64, 100000>)
    ->Name("B_64x100000/ours_nocopy")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(B_fftw<64, 100000>)->Name("B_64x100000/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(C_ours<false>)->Name("C_r2c/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(C_ours<true>)->Name("C_r2c/ours_nocopy")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(C_fftw)->Name("C_r2c/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(D_ours<false>)->Name("D_2e20/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(D_ours<true>)->Name("D_2e20/ours_nocopy")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(D_fftw)->Name("D_2e20/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) { return tessel_bench::runWithRatios(argc, argv); }
