// The ready-made plan caches: LRU eviction order and ownership, a driver call's two plans in the
// smallest LRU cache, and a shared cache used by eight threads at once.

#include "tessel_fft/ready_caches.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <complex>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "tessel_fft/fft.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::fftwApi;
using tessel_fft::fftwPlanKey;
using Complex = std::complex<double>;

// A cheap real plan of n points; planning by estimate never touches the array.
fftw_plan smallPlan(std::uint64_t n) {
  std::vector<double> buffer(n);
  const fftw_iodim64 dim{static_cast<std::ptrdiff_t>(n), 1, 1};
  const fftw_r2r_kind kind = FFTW_REDFT10;
  return fftwApi::getInstance().plan(1, &dim, 0, nullptr, buffer.data(), buffer.data(), &kind, FFTW_ESTIMATE);
}

fftwPlanKey keyOf(std::uint64_t n) { return {n, 1, 0, 0}; }

TEST(ReadyCaches, LruEvictsLeastRecentlyUsed) {
  // Evicted plans are destroyed by the cache: the leak checker sees any it forgets.
  tessel_fft::lruDCSTPlanCache<double, 1> cache(3);
  fftw_plan plans[5];
  for (std::uint64_t i = 0; i < 5; ++i) plans[i] = smallPlan(8 + i);
  for (std::uint64_t i = 0; i < 3; ++i) ASSERT_TRUE(cache.insertPlan(keyOf(8 + i), plans[i]));
  EXPECT_EQ(cache.lookupPlan(keyOf(8)), plans[0]);  // recency now 8, 10, 9
  ASSERT_TRUE(cache.insertPlan(keyOf(11), plans[3]));
  EXPECT_EQ(cache.lookupPlan(keyOf(9)), nullptr);
  EXPECT_EQ(cache.lookupPlan(keyOf(10)), plans[2]);  // recency now 10, 11, 8
  ASSERT_TRUE(cache.insertPlan(keyOf(12), plans[4]));
  EXPECT_EQ(cache.lookupPlan(keyOf(8)), nullptr);
  EXPECT_EQ(cache.lookupPlan(keyOf(11)), plans[3]);
  EXPECT_EQ(cache.lookupPlan(keyOf(12)), plans[4]);
  EXPECT_EQ(cache.size(), 3u);

  // A second plan for a held key is refused and stays with the caller.
  fftw_plan duplicate = smallPlan(10);
  EXPECT_FALSE(cache.insertPlan(keyOf(10), duplicate));
  EXPECT_EQ(cache.lookupPlan(keyOf(10)), plans[2]);
  fftwApi::getInstance().destroyPlan(duplicate);
}

std::vector<Complex> randomInput(std::size_t count, std::uint64_t seed) {
  std::mt19937_64 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<Complex> data(count);
  for (Complex& value : data) value = Complex(uniform(engine), uniform(engine));
  return data;
}

// Contiguous forward c2c of `vectors` vectors of n points, one thread, plans by estimate (which makes
// the same plan every time, so results compare bit for bit).
std::vector<Complex> transform(const std::vector<Complex>& in, std::uint64_t n, std::uint64_t vectors,
                               tessel_fft::fftwPlanCacheInterface<double, c2c, fftwPlanKey>* cache) {
  std::vector<Complex> out(n * vectors);
  tessel_fft::quillFFT1D<double, c2c>(tessel_fft::fftwContext(), cache, in.data(), out.data(), 1, n, n,
                                      vectors, FFTW_FORWARD);
  return out;
}

bool sameBits(const std::vector<Complex>& a, const std::vector<Complex>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Complex)) == 0;
}

struct Problem {
  std::uint64_t n;
  std::uint64_t vectors;  // not a multiple of the chunk size 4: each call needs a chunk and a single plan
};
constexpr Problem kProblems[] = {{16, 6}, {32, 5}, {12, 9}, {100, 7}};

TEST(ReadyCaches, SmallestLruKeepsBothPlansOfOneCall) {
  // Asked for room for one plan, the cache keeps two: a call fetches its single plan, then inserts its
  // chunk plan, which must not destroy the single plan that the call is about to run.
  tessel_fft::lruFFTPlanCache<double, c2c> cache(1);
  for (int round = 0; round < 2; ++round) {
    for (const Problem& problem : kProblems) {
      const std::vector<Complex> in = randomInput(problem.n * problem.vectors, problem.n);
      EXPECT_TRUE(sameBits(transform(in, problem.n, problem.vectors, &cache),
                           transform(in, problem.n, problem.vectors, nullptr)))
          << "n " << problem.n;
    }
  }
  EXPECT_EQ(cache.size(), 2u);
}

TEST(ReadyCaches, SharedCacheUnderEightThreadsMatchesSerialRuns) {
  std::vector<std::vector<Complex>> inputs, expected;
  for (const Problem& problem : kProblems) {
    inputs.push_back(randomInput(problem.n * problem.vectors, problem.n));
    expected.push_back(transform(inputs.back(), problem.n, problem.vectors, nullptr));
  }
  tessel_fft::sharedFFTPlanCache<double, c2c> cache;
  constexpr int kThreads = 8, kCallsPerThread = 24;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      // Each thread walks the problems from another start, so that first plans race on every key.
      for (int call = 0; call < kCallsPerThread; ++call) {
        const std::size_t p = static_cast<std::size_t>(t + call) % std::size(kProblems);
        if (!sameBits(transform(inputs[p], kProblems[p].n, kProblems[p].vectors, &cache), expected[p]))
          ++mismatches;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
  // Each problem's chunk and single plans are held once: of racing first inserts of a key, one won.
  EXPECT_EQ(cache.size(), 2 * std::size(kProblems));
}

}  // namespace
