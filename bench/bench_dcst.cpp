// The cosine transforms beside plain FFTW doing the same work on the same arrays, in one process.
// After the runs the ratios of the medians (ours / FFTW) are printed; run with
// --benchmark_repetitions to get medians.
//
//   S  DCT-II along the second dimension of a 256 x 1024 x 8 real double array (stride 256, n 1024,
//      2048 vectors). Ours: quillDCST1D with 2 threads and FFTW_MEASURE, plans kept by a host-style
//      cache so the steady state is timed. FFTW: one guru64 r2r plan with the array's strides on the
//      caller's arrays, FFTW_MEASURE, 2 threads.
//   N  dctIIND on 1024 x 1024 double, which plans by estimate on every call and runs on the calling
//      thread. FFTW: two FFTW_ESTIMATE r2r plans made once, one thread, along the first dimension from
//      input to output, then along the second in place.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "tessel_fft/dcst.hpp"
#include "tessel_fft/dct_nd.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace {

using tessel_fft::fftwContext;

constexpr int kThreads = 2;
constexpr int kDCTII = 1;

using KeepingCache = tessel_bench::KeepingCache<tessel_fft::dcstPlanCacheInterface<double, kDCTII>>;

// Owns one plain FFTW plan.
struct PlainPlan {
  explicit PlainPlan(fftw_plan plan) : plan(plan) {}
  ~PlainPlan() { fftw_destroy_plan(plan); }
  PlainPlan(const PlainPlan&) = delete;
  PlainPlan& operator=(const PlainPlan&) = delete;
  fftw_plan plan;
};

std::vector<double> sampleData(std::size_t count) {
  std::vector<double> data(count);
  for (std::size_t i = 0; i < count; ++i) data[i] = static_cast<double>((i * 7919) % 1000) / 500.0 - 1.0;
  return data;
}

// S: 256 x 1024 x 8, along the second dimension.
constexpr std::size_t kRows = 256, kLength = 1024, kPages = 8;
constexpr std::size_t kStridedCount = kRows * kLength * kPages;

void S_ours(benchmark::State& state) {
  static KeepingCache cache;
  const fftwContext context(kThreads, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  const std::vector<double> in = sampleData(kStridedCount);
  std::vector<double> out(kStridedCount);
  for (auto _ : state) {
    tessel_fft::quillDCST1D<double, kDCTII>(context, &cache, in.data(), out.data(), kRows, kLength, kLength,
                                            kRows * kPages, -1, false);
    benchmark::DoNotOptimize(out.data());
  }
}

void S_fftw(benchmark::State& state) {
  tessel_fft::fftwApi::getInstance();
  std::vector<double> in(kStridedCount), out(kStridedCount);
  fftw_plan_with_nthreads(kThreads);
  const fftw_iodim64 dims{static_cast<std::ptrdiff_t>(kLength), kRows, kRows};
  const fftw_iodim64 howmany[2] = {{kRows, 1, 1}, {kPages, kRows * kLength, kRows * kLength}};
  const fftw_r2r_kind kind = FFTW_REDFT10;
  const PlainPlan plan(
      fftw_plan_guru64_r2r(1, &dims, 2, howmany, in.data(), out.data(), &kind, FFTW_MEASURE));
  in = sampleData(kStridedCount);
  for (auto _ : state) {
    fftw_execute_r2r(plan.plan, in.data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
}

// N: 1024 x 1024, both dimensions.
constexpr std::uint64_t kSide = 1024;

void N_ours(benchmark::State& state) {
  const std::vector<double> in = sampleData(kSide * kSide);
  std::vector<double> out(kSide * kSide);
  const std::uint64_t dims[2] = {kSide, kSide};
  for (auto _ : state) {
    tessel_fft::dctIIND(in.data(), out.data(), dims, 2, false);
    benchmark::DoNotOptimize(out.data());
  }
}

void N_fftw(benchmark::State& state) {
  tessel_fft::fftwApi::getInstance();
  const std::vector<double> in = sampleData(kSide * kSide);
  std::vector<double> out(kSide * kSide);
  fftw_plan_with_nthreads(1);
  const fftw_r2r_kind kind = FFTW_REDFT10;
  const fftw_iodim64 along0{kSide, 1, 1}, across0{kSide, kSide, kSide};
  const fftw_iodim64 along1{kSide, kSide, kSide}, across1{kSide, 1, 1};
  auto* input = const_cast<double*>(in.data());
  const PlainPlan first(
      fftw_plan_guru64_r2r(1, &along0, 1, &across0, input, out.data(), &kind, FFTW_ESTIMATE));
  const PlainPlan second(
      fftw_plan_guru64_r2r(1, &along1, 1, &across1, out.data(), out.data(), &kind, FFTW_ESTIMATE));
  for (auto _ : state) {
    fftw_execute_r2r(first.plan, input, out.data());
    fftw_execute_r2r(second.plan, out.data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
}

BENCHMARK(S_ours)->Name("S_256x1024x8_dim2/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(S_fftw)->Name("S_256x1024x8_dim2/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(N_ours)->Name("N_1024x1024/ours")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(N_fftw)->Name("N_1024x1024/fftw")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) { return tessel_bench::runWithRatios(argc, argv); }
