// The pieces under the entries, each tested once: context, FFTW facade, scratch and pools, the batch
// layer's tasks, plan keys and ownership, measured planning, the plans a batched run asks a cache for,
// the ready-made caches, exact values at the entries' edges, and the library's exported names.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_scheduler_observer.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "backend/aligned_scratch.hpp"
#include "backend/planner_threads.hpp"
#include "batch/batch_run.hpp"
#include "batch/buffer_managers.hpp"
#include "dcst/dcst_planner.hpp"
#include "dcst/half_length.hpp"
#include "families.hpp"
#include "plans/fft_planner.hpp"
#include "support/allocation_control.hpp"
#include "support/calls.hpp"
#include "support/counting_cache.hpp"
#include "support/reference.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::FFTPlanner;
using tessel_fft::fftwApi;
using tessel_fft::fftwContext;
using tessel_fft::fftwPlanKey;
using tessel_fft::r2c;
using ComplexD = double[2];
using namespace tessel_test;

TEST(Units, ContextDefaultsAndHybridStrategy) {
  const fftwContext defaults, hybrid(3, fftwContext::TS_FFTW_HYBRID, fftwContext::EMBED_FULL_LENGTH, true);
  EXPECT_EQ(defaults.getPlanStrategy(), 64u);
  EXPECT_FALSE(defaults.mayOverwrite());
  EXPECT_EQ(hybrid.getChunkSize(), 4u);
  EXPECT_EQ(hybrid.getPlanStrategy(), 0xFFFFFFFFu);  // its 8192 threshold: Plans.ScratchOnly*
}

TEST(Units, ScratchResiduesOverflowAndFailure) {
  for (std::uint64_t offset = 0; offset < 16; ++offset) {
    tessel_fft::AlignedScratch scratch(100, offset);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(scratch.get()) % 16, offset);
    std::memset(scratch.get(), 7, 100);  // the sanitizers catch a block that is too short
  }
  const long calls = scratchAllocationCalls(), live = liveScratchBlocks();
  for (std::uint64_t size :
       {std::numeric_limits<std::uint64_t>::max() - 15, std::numeric_limits<std::uint64_t>::max()}) {
    EXPECT_EQ(errorText([&] { tessel_fft::AlignedScratch scratch(size, 0); }), "FFTW:nomem");
    EXPECT_EQ(tessel_fft::alignedScratchAlloc(size), nullptr);
  }
  EXPECT_EQ(scratchAllocationCalls(), calls);  // overflow is caught before the allocator
  tessel_fft::alignedScratchFree(nullptr);
  {
    FailAllocations failing(0, -1);
    EXPECT_EQ(errorText([] { tessel_fft::AlignedScratch scratch(64, 3); }), "FFTW:nomem");
    EXPECT_EQ(tessel_fft::alignedScratchAlloc(64), nullptr);
    EXPECT_EQ(errorText([] { fftwApi::malloc(64); }), "FFTW:nomem");
    EXPECT_NO_THROW(fftwApi::free(fftwApi::malloc(0)));
  }
  void* block = tessel_fft::alignedScratchAlloc(0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
  tessel_fft::alignedScratchFree(block);
  EXPECT_EQ(liveScratchBlocks(), live);
}

// Memory runs out under a lowered address-space limit (in a child): in FFTW's planner on a huge prime,
// whose assertion comes out as backend_failure, and in operator new for the half-length road's twiddles
// of a DCT-II of 2^28 points, which come out as out_of_memory. Either way the planner lock is free again
// and the planner works.
TEST(Units, AddressSpaceRunsOut) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "address-space limit conflicts with the sanitizer's shadow memory";
#else
  fftwApi::getInstance();
  const std::uint64_t huge = std::uint64_t{1} << 28;
  double buffer[64][2];
  const fftwContext context;
  const struct {
    const char* why;
    std::function<void(double*)> call;  // given an untouched array of `huge` doubles
    const char* error;
  } rows[] = {
      {"planner on a huge prime",
       [&](double*) {
         tessel_fft::interleavedFFT1D<double, c2c>(context, nullptr, buffer, buffer, 2147483659ull, 1,
                                                   FFTW_FORWARD, true);
       },
       "FFTWAssertionFailure"},
      {"half-length twiddles",
       [&](double* array) {
         tessel_fft::quillDCST1D<double, 1>(context, nullptr, array, array, 1, huge, huge, 1, -1, false);
       },
       "FFTW:nomem"},
  };
  for (const auto& row : rows) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      alarm(20);  // a call that hangs ends the child by the signal
      void* array = mmap(nullptr, huge * sizeof(double), PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
      if (array == MAP_FAILED) _exit(5);
      // 64 MiB beyond what is mapped now: twiddles of 2^28 points fail within a fraction of a second.
      long pages = 0;
      if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld", &pages) != 1) pages = 0;
        std::fclose(statm);
      }
      rlimit limit{};
      getrlimit(RLIMIT_AS, &limit);
      const rlim_t unlimited = limit.rlim_cur;
      limit.rlim_cur = static_cast<rlim_t>(pages) * sysconf(_SC_PAGESIZE) + (rlim_t{64} << 20);
      if (pages == 0 || setrlimit(RLIMIT_AS, &limit) != 0) _exit(5);
      const std::string error = errorText([&] { row.call(static_cast<double*>(array)); });
      limit.rlim_cur = unlimited;
      setrlimit(RLIMIT_AS, &limit);
      if (error != row.error) {
        std::fprintf(stderr, "threw '%s'\n", error.c_str());
        _exit(2);
      }
      if (!plannerLockFree()) _exit(3);
      tessel_fft::interleavedFFT1D<double, c2c>(context, nullptr, buffer, buffer, 16, 1, FFTW_FORWARD, true);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << row.why << ": child ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << row.why << " (2 another failure, 3 the lock kept)";
  }
#endif
}

// An input-only pool hands every task the caller's output. With no memory and the pool empty, a task
// waits for the next pair given back; the pools free every pair when they go.
TEST(Units, PoolsWaitForAPairAndFreeAll) {
  const long live = liveScratchBlocks();
  char caller[8];
  {
    tessel_fft::MultipleInputOnlyBufferMgr inputOnly(64, 0, caller);
    tessel_fft::MultiBufferMgr pool(64, 64);
    EXPECT_EQ(liveScratchBlocks(), live + 3);
    tessel_fft::BufferPair held, waited, input;
    inputOnly.acquireBuffers(input);
    EXPECT_EQ(inputOnly.outputBuffer(input), caller);
    inputOnly.releaseBuffers(input.input, caller);
    pool.acquireBuffers(held);
    FailAllocations failing(0, -1);
    std::atomic<bool> gotOne{false};
    std::thread task([&] {
      pool.acquireBuffers(waited);
      gotOne = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(gotOne.load());
    pool.releaseBuffers(held.input, held.output);
    task.join();
    EXPECT_EQ(waited.input, held.input);
    pool.releaseBuffers(waited.input, waited.output);
  }
  EXPECT_EQ(liveScratchBlocks(), live);
}

// The mirrored half carries -0 wherever FFTW stored +0; element 0 and the Nyquist element stay as FFTW
// wrote them. An empty array, or no dimension at all, leaves the output alone.
TEST(Units, ExactEdgeValues) {
  const fftwContext context(1, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  double ones[4] = {1, 1, 1, 1}, spectrum[4][2];
  tessel_fft::interleavedFFT1D<double, tessel_fft::r2c>(context, nullptr, ones, spectrum, 4, 1, FFTW_FORWARD,
                                                        false);
  EXPECT_EQ(spectrum[0][0], 4.0);
  EXPECT_FALSE(std::signbit(spectrum[2][1]));
  EXPECT_TRUE(std::signbit(spectrum[3][1]));
  const std::vector<double> in(8, 1.0);
  std::vector<double> out(8, 5.0);
  const std::uint64_t empty[] = {3, 0, 2};
  tessel_fft::dctIIND(in.data(), out.data(), empty, 3, true);
  tessel_fft::dctIIND(in.data(), out.data(), empty, 0, false);
  EXPECT_EQ(out, std::vector<double>(8, 5.0));
  // An inverse divides by n: FFTW's unscaled result divided, bit for bit, not multiplied by 1/n.
  std::vector<double> x = randomReals<double>(14, 3), scaled(14), unscaled(14);
  const auto complex = [](std::vector<double>& v) {
    return reinterpret_cast<std::complex<double>*>(v.data());
  };
  const auto pairs = [](std::vector<double>& v) { return reinterpret_cast<ComplexD*>(v.data()); };
  tessel_fft::quillFFT1D<double, c2c>(context, nullptr, complex(x), complex(scaled), 1, 7, 7, 1, 1);
  tessel_fft::interleavedFFT1D<double, c2c>(context, nullptr, pairs(x), pairs(unscaled), 7, 1, 1, false);
  for (double& value : unscaled) value /= 7;
  EXPECT_EQ(scaled, unscaled);
}

// A 16-byte aligned arena from which pointers at chosen byte offsets are cut.
struct Arena {
  std::vector<std::complex<double>> storage = std::vector<std::complex<double>>(1 << 14);
  template <typename P = ComplexD>
  P* at(std::size_t byteOffset) {
    return reinterpret_cast<P*>(reinterpret_cast<char*>(storage.data()) + byteOffset);
  }
};

// Gets a plan through a planner and releases it by the returned ownership; returns the ownership.
template <typename Planner, typename In, typename Out>
bool planAndRelease(const Planner& planner, std::uint64_t n, std::uint64_t howmany, In* in, Out* out,
                    int sign) {
  typename Planner::Plan plan = nullptr;
  const bool owns = planner.getPlan(n, howmany, in, out, sign, plan);
  EXPECT_NE(plan, nullptr);
  if (owns) fftwApi::getInstance().destroyPlan(plan);
  return owns;
}

// The keys each family files problems under, with the flag layouts a host may rely on.
TEST(Plans, KeyGoldenValues) {
  Arena arena;
  const fftwContext twoThreadsFull(2, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false), plain;
  fftwContext styleTwo;
  styleTwo.setEmbedStyle(static_cast<fftwContext::EmbedStyleType>(2));
  CountingFFTCache<double, c2c> fft;
  CountingDCSTCache<double, 6> dcst;
  const FFTPlanner<double, c2c> full(&twoThreadsFull, &fft), compact(&plain, &fft), two(&styleTwo, &fft);
  const tessel_fft::DCSTPlanner<double, 6> dcstPlanner(&twoThreadsFull, &dcst);
  // In at 4, out at 8 modulo 16, inverse, full embedding, out of place, two threads.
  EXPECT_FALSE(planAndRelease(full, 16, 1, arena.at(4), arena.at(1024 + 8), FFTW_BACKWARD));
  planAndRelease(dcstPlanner, 8, 3, arena.at<double>(4), arena.at<double>(1024 + 8), 1);
  // In place: bit 24 for the FFT, bit 16 for the cosine/sine family.
  planAndRelease(compact, 16, 4, arena.at(0), arena.at(0), FFTW_FORWARD);
  planAndRelease(dcstPlanner, 8, 3, arena.at<double>(0), arena.at<double>(0), -1);
  planAndRelease(dcstPlanner, 8, 3, arena.at<double>(0), arena.at<double>(0), 0);  // not inverse: a hit
  // The input's alignment separates plans.
  planAndRelease(compact, 16, 4, arena.at(8), arena.at(1024), FFTW_FORWARD);
  planAndRelease(compact, 16, 4, arena.at(0), arena.at(1024), FFTW_FORWARD);
  // Style 2 plans full-length rows yet keys like a compact request: the lookup hits. A plan belongs to
  // the cache that took or returned it, otherwise to the caller.
  EXPECT_FALSE(planAndRelease(two, 16, 4, arena.at(0), arena.at(1024), FFTW_FORWARD));
  CountingFFTCache<double, c2c> refusing(false);
  EXPECT_TRUE(planAndRelease(FFTPlanner<double, c2c>(&plain, &refusing), 8, 1, arena.at(0), arena.at(8), -1));
  EXPECT_TRUE(planAndRelease(FFTPlanner<double, c2c>(&plain, nullptr), 8, 1, arena.at(0), arena.at(8), -1));
  // The same sizes in 2-D differ by rank.
  tessel_fft::fftwPlan<double> plan2D = nullptr;
  compact.getPlan2D(16, 4, arena.at(0), arena.at(0), FFTW_FORWARD, plan2D);
  const std::vector<fftwPlanKey> expectedFFT = {
      {16, 1, 1, 0x10110804}, {16, 1, 4, 0x01000000}, {16, 1, 4, 0x8}, {16, 1, 4, 0}, {16, 2, 4, 0x01000000}};
  const std::vector<fftwPlanKey> expectedDCST = {{8, 1, 3, 0x10001184}, {8, 1, 3, 0x10011000}};
  EXPECT_EQ(fft.insertedKeys, expectedFFT);
  EXPECT_EQ(dcst.insertedKeys, expectedDCST);
  EXPECT_EQ(fft.hits, 1);
}

// Scratch is allocated only when a measured plan is wanted, may not overwrite, and FFTW has no wisdom.
TEST(Plans, ScratchOnlyForProtectedMeasuringWithoutWisdom) {
  Arena arena;
  const auto scratchUsed = [&](const fftwContext& context, std::uint64_t n, std::uint64_t howmany) {
    const long before = scratchAllocationCalls();
    planAndRelease(FFTPlanner<float, r2c>(&context, nullptr), n, howmany, arena.at<float>(0),
                   arena.at<float[2]>(1 << 17), FFTW_FORWARD);
    return scratchAllocationCalls() - before;
  };
  const fftwContext hybrid(1, fftwContext::TS_FFTW_HYBRID, fftwContext::EMBED_COMPACT, false);
  EXPECT_EQ(scratchUsed(hybrid, 8192, 3), 1);  // measured, no wisdom yet: scratch replaces the input
  EXPECT_EQ(scratchUsed(hybrid, 8192, 3), 0);  // the same problem again: answered from wisdom
  EXPECT_EQ(scratchUsed(hybrid, 8193, 3), 0);  // hybrid estimates above 8192
  EXPECT_EQ(scratchUsed(fftwContext(1, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false), 1000, 5), 0);
  EXPECT_EQ(scratchUsed(fftwContext(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, true), 1001, 5), 0);
  // Only 64 exactly means estimate: 32 measures like FFTW_MEASURE.
  EXPECT_EQ(scratchUsed(fftwContext(1, 32, fftwContext::EMBED_COMPACT, false), 1003, 5), 1);
}

// A measured c2r plan may write the output, never the input; without scratch, planning reports and
// leaves no plan and nothing offered to the cache.
TEST(Plans, MeasuringLeavesTheInputAndUsesTheOutput) {
  const std::uint64_t n = 1536, howmany = 3;
  std::vector<double> input(2 * (n / 2 + 1) * howmany, 0.25), output(n * howmany, 3.0);
  const std::vector<double> original = input, untouched = output;
  auto* in = reinterpret_cast<ComplexD*>(input.data());
  const fftwContext measuring(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  CountingFFTCache<double, c2r> cache;
  tessel_fft::fftwPlan<double> plan = nullptr;
  const long live = liveScratchBlocks();
  {
    FailAllocations failing(0, 1);
    EXPECT_EQ(errorText([&] {
                FFTPlanner<double, c2r>(&measuring, &cache).getPlan(n, howmany, in, output.data(), 1, plan);
              }),
              "FFTW:nomem");
  }
  EXPECT_EQ(plan, nullptr);
  EXPECT_EQ(cache.inserts, 0);
  EXPECT_EQ(liveScratchBlocks(), live);
  EXPECT_TRUE(planAndRelease(FFTPlanner<double, c2r>(&measuring, nullptr), n, howmany, in, output.data(), 1));
  EXPECT_EQ(input, original);
  EXPECT_NE(output, untouched);
}

// Which plans a batched run asks the cache for (their howmany), keyed compact, out of place on aligned
// scratch, single-threaded unless one long vector gets FFTW's threads; a second call hits them all.
struct Requests {
  std::uint64_t threads, stride, n, numVectors, chunk;
  std::set<std::uint64_t> howmanys;
  bool threadedPlans;
};

const Requests kRequests[] = {
    {4, 1, 65535, 1, 4, {1}, false},    // short vector: no FFTW threads
    {4, 1, 65536, 1, 4, {1}, true},     // long vector: FFTW threads
    {4, 1, 4096, 2, 4, {1}, false},     // pooled, fewer than a chunk
    {4, 1, 2048, 2, 4, {1}, false},     // direct, fewer than a chunk
    {1, 1, 16, 10, 4, {1, 4}, false},   // direct, chunks and a tail
    {1, 1, 16, 8, 4, {4}, false},       // direct, whole chunks
    {1, 1, 16, 3, 4, {1}, false},       // direct, below a chunk
    {1, 1, 16, 0, 4, {}, false},        // nothing to transform
    {1, 6, 16, 12, 4, {1, 4}, false},   // blocks of 6 end in a tail
    {1, 3, 16, 12, 4, {1}, false},      // blocks narrower than a chunk
    {1, 8, 16, 16, 4, {4}, false},      // blocks of whole chunks
    {1, 7, 16, 70, 4, {1, 4}, false},   // three tails a block
    {1, 4, 16, 6, 4, {1, 4}, false},    // the partial last block ends in a tail
    {2, 1, 4096, 8, 4, {1, 4}, false},  // pooled: the single plan always
    {2, 1, 4096, 8, 1, {1}, false},     // chunk 1: one key for both
};

TEST(Plans, BatchRequests) {
  int row = 0;
  for (const Requests& r : kRequests) {
    const int sign = row++ % 2 ? FFTW_BACKWARD : FFTW_FORWARD;
    for (const Family family : {row % 3 ? Family::Quill : Family::NoCopy, Family::DCST}) {
      // clang-format off
      const Call call{.family = family, .kind = family == Family::DCST ? 1 : c2c, .stride = r.stride,
                      .n = r.n, .numVectors = r.numVectors, .threads = r.threads, .chunk = r.chunk,
                      .sign = sign, .flags = kKeepingCache};
      // clang-format on
      SCOPED_TRACE(describe(call));
      CacheSet caches;
      EXPECT_EQ(runCall(call, &caches).failure, "");
      const auto check = [&](auto* cache) {
        std::set<std::uint64_t> howmanys;
        for (const fftwPlanKey& key : cache->lookedUpKeys) {
          howmanys.insert(key.size1);
          EXPECT_EQ(key.size0, r.n);
          EXPECT_EQ(key.rank, 1u);
          // Both families' layouts (pinned by KeyGoldenValues) keep the planner's threads in bit 28.
          EXPECT_EQ((key.flags >> 28) & 1, r.threadedPlans ? 1u : 0u);
        }
        EXPECT_EQ(howmanys, r.howmanys);
        const int lookups = cache->lookups, hits = cache->hits;
        EXPECT_EQ(runCall(call, &caches).failure, "");
        EXPECT_EQ(cache->hits - hits, cache->lookups - lookups);
        EXPECT_EQ(cache->inserts, static_cast<int>(r.howmanys.size()));
      };
      if (family == Family::DCST) check(caches.get<CountingDCSTCache<double, 1>>(kKeepingCache));
      if (family != Family::DCST) check(caches.get<CountingFFTCache<double, c2c>>(kKeepingCache));
    }
  }
}

// The N-D overloads with a host cache: dimensions of one extent share their plans, and a second call
// only looks up.
TEST(Plans, NDHostCache) {
  for (int inverse : {0, 1}) {
    // Large enough for its leading dimensions to run slab by slab over tasks.
    const Call call{Family::ND,   false, inverse, 1, 0, 0, 0, 2, 4, 0, kKeepingCache | kOrthonormal,
                    {64, 64, 128}};
    SCOPED_TRACE(describe(call));
    CacheSet caches;
    EXPECT_EQ(runCall(call, &caches).failure, "");
    const auto check = [&](auto* cache) {
      const int inserts = cache->inserts, lookups = cache->lookups, hits = cache->hits;
      EXPECT_EQ(runCall(call, &caches).failure, "");
      EXPECT_GT(cache->lookups, lookups);
      EXPECT_EQ(cache->inserts, inserts);
      EXPECT_EQ(cache->hits - hits, cache->lookups - lookups);
      EXPECT_EQ(cache->foreignCalls, 0);
    };
    if (inverse == 1) check(caches.get<CountingDCSTCache<double, 2>>(kKeepingCache));
    if (inverse == 0) check(caches.get<CountingDCSTCache<double, 1>>(kKeepingCache));
  }
}

// planOnly puts a plan in the cache and transforms nothing; the next call finds it there.
TEST(Plans, InterleavedPlanOnlyFillsTheCache) {
  CountingFFTCache<float, r2c> cache;
  const fftwContext context(1, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  std::vector<float> in(24, 0.25f), out(48, -7.0f);
  auto* spectrum = reinterpret_cast<float(*)[2]>(out.data());
  tessel_fft::interleavedFFT1D<float, r2c>(context, &cache, in.data(), spectrum, 24, 1, FFTW_FORWARD, true);
  EXPECT_EQ(out, std::vector<float>(48, -7.0f));
  tessel_fft::interleavedFFT1D<float, r2c>(context, &cache, in.data(), spectrum, 24, 1, FFTW_FORWARD, false);
  EXPECT_EQ(cache.inserts, 1);
  EXPECT_EQ(cache.hits, 1);
  EXPECT_EQ(out[0], 6.0f);
}

// A task holds its pair while kernels run nested loops. A thread waiting for one that picked up another
// task of the run could wait (under memory shortage) for a pair it holds further down its stack: a
// hang. More workers than cores make the interleaving likely.
TEST(PooledRun, NestedLoopsNeverStartAnotherTaskOfTheRun) {
  std::atomic<int> reentered{0};
  tbb::global_control workers(tbb::global_control::max_allowed_parallelism, 8);
  tbb::task_arena arena(8);
  arena.execute([&] {
    tessel_fft::MultiBufferMgr manager(64, 64);
    const auto loop = [&](void*, void*, std::size_t, std::size_t) {
      static thread_local int depth = 0;
      if (depth++ != 0) reentered.fetch_add(1);
      tbb::parallel_for(0, 32, [](int) { std::this_thread::sleep_for(std::chrono::microseconds(20)); });
      --depth;
    };
    tessel_fft::runTasks(manager, {{2, 8, 8, 2048}, 8}, 1, loop);
  });
  EXPECT_EQ(reentered.load(), 0);
}

// Fails in the task holding vector `poisoned` once another task holds a pair, which keeps it until the
// failure; nobody waits past `deadline`, so a lone worker makes the test weaker, not stuck.
struct FailingLoopBody {
  static inline std::atomic<int> running{0};
  static inline std::atomic<bool> failed{false};
  static inline std::size_t poisoned = 0;
  static inline std::chrono::steady_clock::time_point deadline;

  void operator()(void*, void*, std::size_t begin, std::size_t end) const {
    running.fetch_add(1);
    const bool mine = begin <= poisoned && poisoned < end;
    while ((mine ? running.load() < 2 : !failed.load()) && std::chrono::steady_clock::now() < deadline)
      std::this_thread::yield();
    running.fetch_sub(1);
    if (mine) {
      failed.store(true);
      throw std::runtime_error("task failure");
    }
  }
};

TEST(PooledRun, ExceptionInOneTaskComesOutOnceAndFreesAllPairs) {
  const long liveBefore = liveScratchBlocks();
  // The first vectors of the calling thread's and of a thief's first task.
  for (std::size_t poisoned : {0, 128}) {
    FailingLoopBody::poisoned = poisoned;
    FailingLoopBody::failed = false;
    FailingLoopBody::deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    int caught = 0;
    {
      tessel_fft::MultiBufferMgr manager(64, 64);
      try {
        tessel_fft::runTasks(manager, {{1, 4, 4, 256}, 4}, 1, FailingLoopBody{});
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "task failure");
        ++caught;
      }
    }
    EXPECT_EQ(caught, 1);
    EXPECT_TRUE(FailingLoopBody::failed.load());
    EXPECT_EQ(liveScratchBlocks(), liveBefore);
  }
}

// Counts the oneTBB workers that join `arena` while it lives.
struct WorkerEntries : tbb::task_scheduler_observer {
  std::atomic<int> count{0};
  explicit WorkerEntries(tbb::task_arena& arena) : tbb::task_scheduler_observer(arena) { observe(true); }
  ~WorkerEntries() override { observe(false); }
  void on_scheduler_entry(bool isWorker) override {
    if (isWorker) count.fetch_add(1);
  }
};

// A host that runs its own threads gives each call one thread and expects no more: not for the loop,
// the movement kernels or the division of an inverse. Each row is large enough that any of these would
// otherwise spread: a contiguous and a strided inverse, one long strided vector, an inverse DCT-III; and
// batches under 64 KiB, which run without an arena of their own, whose one vector of 10000 floats is
// long enough for a divided inverse (a c2r, a DCT-III), called a few times so a worker would come.
TEST(PooledRun, OneThreadCallsStayOnTheCaller) {
  const fftwContext one;
  tbb::task_arena arena(2);
  WorkerEntries workers(arena);
  std::vector<std::complex<double>> in(1 << 18, {0.5, -0.25}), out(in.size());
  auto* reals = reinterpret_cast<double*>(in.data());
  auto* floats = reinterpret_cast<float*>(in.data());
  auto* floatsOut = reinterpret_cast<float*>(out.data());
  arena.execute([&] {
    tessel_fft::quillFFT1D<double, c2c>(one, nullptr, in.data(), out.data(), 1, 4096, 4096, 64, 1);
    tessel_fft::quillFFT1D<double, c2c>(one, nullptr, in.data(), out.data(), 64, 4096, 4096, 64, 1);
    tessel_fft::quillFFT1D<double, c2c>(one, nullptr, in.data(), out.data(), 3, 65536, 65536, 1, -1);
    tessel_fft::quillDCST1D<double, 2>(one, nullptr, reals, reinterpret_cast<double*>(out.data()), 1, 4096,
                                       4096, 64, 1, false);
    for (int round = 0; round < 8; ++round) {
      tessel_fft::quillFFT1D<float, c2r>(one, nullptr, reinterpret_cast<std::complex<float>*>(floats),
                                         floatsOut, 1, 10000, 5001, 1, 1);
      tessel_fft::quillDCST1D<float, 2>(one, nullptr, floats, floatsOut, 1, 10000, 10000, 1, 1, false);
    }
  });
  EXPECT_EQ(workers.count.load(), 0);
}

// The road, threads and cuts a batch of complex doubles takes, from its recipe alone. Each row is there
// for one rule: short vectors on the arrays, too few points for a plan per call, rows that fall into one
// cache set, a long single vector on FFTW's threads, measured plans over small blocks, hooks that only run
// on the walk, one thread, contiguous chunks large enough to be read in place, and blocks of long vectors
// beyond the caches that go as single vectors, but not a lone block that would leave a thread idle, and
// short contiguous vectors beyond the caches that go one by one where they lie, where the batch has the
// single plan anyway, groups too few for the threads, whose tasks take equal shares of chunks, and the
// half-length cosine/sine kinds, which keep their own road but for short vectors.
TEST(Recipe, RoadsThreadsAndCuts) {
  struct Row {
    std::size_t stride, n, numVectors;
    std::uint64_t threads;
    unsigned strategy;
    bool keepToWalk;
    const char* recipe;
    bool plansOnScratchOnly = false;  // the half-length cosine/sine kinds
  };
  const Row rows[] = {
      {1, 16, 4096, 2, FFTW_ESTIMATE, false, "arrays pooled slabs=8x(512,1) tasks fftw=1"},
      {1, 16, 10, 2, FFTW_ESTIMATE, false, "walk threaded planner=1 groups=3x4 direct=out"},
      {256, 32, 1024, 2, FFTW_ESTIMATE, false, "walk pooled planner=1 groups=4x4 padded"},
      {3, 65536, 1, 2, FFTW_ESTIMATE, false, "walk threaded planner=2 groups=1x4"},
      {8, 256, 512, 2, FFTW_MEASURE, false, "arrays pooled slabs=16x(4,8) tasks fftw=1"},
      {1, 16, 4096, 2, FFTW_ESTIMATE, true, "walk pooled planner=1 groups=4x4 direct=out"},
      {1, 16, 4096, 1, FFTW_ESTIMATE, false, "arrays caller slabs=8x(512,1) fftw=1"},
      {1, 32768, 16, 1, FFTW_ESTIMATE, false, "walk caller planner=1 groups=1x4 direct=in,out stream"},
      {7, 16384, 21, 2, FFTW_ESTIMATE, false, "walk pooled planner=1 groups=2x4 padded singles"},
      {7, 16384, 7, 2, FFTW_ESTIMATE, false, "walk pooled planner=1 groups=1x4"},
      {1, 64, 1 << 13, 2, FFTW_ESTIMATE, false, "walk pooled planner=1 groups=16x4 singles direct=in,out"},
      {1, 64, 1 << 13, 1, FFTW_ESTIMATE, false, "walk caller planner=1 groups=1x4 stream"},
      {39, 4096, 39, 2, FFTW_ESTIMATE, false, "walk pooled planner=1 groups=4x4 padded shares=5x4"},
      {1, 1024, 64, 1, FFTW_MEASURE, false, "walk caller planner=1 groups=1x4", true},
      {1, 32, 4096, 1, FFTW_MEASURE, false, "arrays caller slabs=16x(256,1) fftw=1", true},
  };
  std::vector<std::complex<double>> in(1 << 19), out(in.size());
  for (const Row& row : rows) {
    fftwContext context;
    context.setNumThreads(row.threads);
    context.setPlanStrategy(row.strategy);
    const tessel_fft::BatchSides sides{
        1, row.n, row.n, row.n, true, false, row.plansOnScratchOnly, 1, tessel_fft::kArrayPlanLength};
    const tessel_fft::BatchCall call{{row.stride, row.n, row.n, row.numVectors},
                                     sides,
                                     in.data(),
                                     sizeof(in[0]),
                                     out.data(),
                                     sizeof(out[0]),
                                     row.keepToWalk};
    EXPECT_EQ(tessel_fft::batchRecipeFor(call, context).describe(), row.recipe)
        << row.stride << "x" << row.n << "x" << row.numVectors;
  }
}

// A cheap real plan of n points; planning by estimate never touches the array.
fftw_plan smallPlan(std::uint64_t n) {
  std::vector<double> buffer(n);
  const fftw_iodim64 dim{static_cast<std::ptrdiff_t>(n), 1, 1};
  const fftw_r2r_kind kind = FFTW_REDFT10;
  return fftwApi::getInstance().plan(1, &dim, 0, nullptr, buffer.data(), buffer.data(), &kind, FFTW_ESTIMATE);
}

fftwPlanKey keyOf(std::uint64_t n) { return {n, 1, 0, 0}; }

void destroyUnlocked(fftw_plan plan) { fftw_destroy_plan(plan); }
void destroyUnlocked(fftwf_plan plan) { fftwf_destroy_plan(plan); }

// Calls on FFTW's planner state of precision T, from 16 points at `data` to 16 at data + 64 (room for 32
// complex values after each). A plan is made only once the planner lock is released, and nothing else
// plans then, so it is dropped without the lock.
template <typename T>
void addPlannerCalls(std::vector<std::pair<std::string, std::function<void()>>>& rows, T* data) {
  static constexpr int n = 16;
  static const fftw_iodim64 dim{n, 1, 1};
  static const fftw_r2r_kind kind = FFTW_REDFT10;
  using C = tessel_fft::fftwComplex<T>;
  static const fftwApi& api = fftwApi::getInstance();
  T* out = data + 64;
  C *pairs = reinterpret_cast<C*>(data), *outPairs = reinterpret_cast<C*>(out);
  const auto made = [](auto plan) {
    EXPECT_NE(plan, nullptr);
    if (plan != nullptr) destroyUnlocked(plan);
  };
  const std::string name = sizeof(T) == 4 ? "float " : "double ";
  constexpr unsigned estimate = FFTW_ESTIMATE;
  // Each overload of plan and planMany, by the kind its pointer types select.
  rows.insert(
      rows.end(),
      {{name + "r2r", [=] { made(api.plan(1, &dim, 0, nullptr, data, out, &kind, estimate)); }},
       {name + "r2c", [=] { made(api.plan(1, &dim, 0, nullptr, data, outPairs, -1, estimate)); }},
       {name + "c2c", [=] { made(api.plan(1, &dim, 0, nullptr, pairs, outPairs, 1, estimate)); }},
       {name + "c2r", [=] { made(api.plan(1, &dim, 0, nullptr, pairs, out, 1, estimate)); }},
       {name + "many r2r",
        [=] { made(api.planMany(1, &n, 1, data, nullptr, 1, n, out, nullptr, 1, n, 0, &kind, estimate)); }},
       {name + "many r2c",
        [=] { made(api.planMany(1, &n, 1, data, nullptr, 1, n, outPairs, nullptr, 1, n, -1, estimate)); }},
       {name + "many c2c",
        [=] { made(api.planMany(1, &n, 1, pairs, nullptr, 1, n, outPairs, nullptr, 1, n, 1, estimate)); }},
       {name + "many c2r",
        [=] { made(api.planMany(1, &n, 1, pairs, nullptr, 1, n, out, nullptr, 1, n, 1, estimate)); }}});
  const auto doomed = api.plan(1, &dim, 0, nullptr, data, out, &kind, FFTW_ESTIMATE);
  rows.push_back({name + "destroyPlan", [=] { api.destroyPlan(doomed); }});
  rows.push_back({name + "planWithThreads", [] { tessel_fft::planWithThreads<T>(1); }});
}

// Each call on FFTW's planner state waits while another thread holds the planner lock (the wisdom calls:
// Wisdom.EveryCallTakesThePlannerLock).
TEST(Units, PlannerCallsWaitForTheLock) {
  std::vector<double> doubles(128);
  std::vector<float> floats(128);
  std::vector<std::pair<std::string, std::function<void()>>> rows;
  addPlannerCalls(rows, doubles.data());
  addPlannerCalls(rows, floats.data());
  for (const auto& [name, call] : rows) EXPECT_TRUE(waitsForThePlannerLock(call)) << name;
}

// Host threads asking for the half-length twiddles of more lengths than are kept each get the tables of
// their length (n/2+1 pairs of kinds II and III, n/2 of kind IV); TSan checks the shelf's lock.
TEST(Units, TwiddlesSharedByHosts) {
  std::vector<std::thread> hosts;
  for (std::uint64_t host = 0; host < 4; ++host) {
    hosts.emplace_back([host] {
      for (std::uint64_t round = 0; round < 40; ++round) {
        const std::uint64_t n = 16 + 2 * ((7 * round + host) % 24);
        const bool quarterWave = (round + host) % 2 == 1;
        const auto twiddles = tessel_fft::halfLengthTwiddles<float>(n, quarterWave);
        EXPECT_EQ(quarterWave ? twiddles->after.size() : twiddles->full.size(), quarterWave ? n : n + 2);
      }
    });
  }
  for (std::thread& host : hosts) host.join();
}

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

TEST(ReadyCaches, SmallestLruKeepsBothPlansOfOneCall) {
  // Asked for room for one plan, the cache keeps two: a call fetches its single plan, then inserts its
  // chunk plan, which must not destroy the single plan that the call is about to run. Vector counts
  // that are not multiples of the chunk size 4 make every call need both.
  tessel_fft::lruFFTPlanCache<double, c2c> cache(1);
  for (int round = 0; round < 2; ++round) {
    for (const std::uint64_t n : {16, 32, 12, 100}) {
      const std::uint64_t vectors = 5 + n % 5;
      const std::vector<double> in = randomReals<double>(2 * n * vectors, static_cast<unsigned>(n));
      std::vector<double> viaCache(in.size()), plain(in.size());
      for (std::vector<double>* out : {&viaCache, &plain}) {
        tessel_fft::quillFFT1D<double, c2c>(fftwContext(), out == &viaCache ? &cache : nullptr,
                                            reinterpret_cast<const std::complex<double>*>(in.data()),
                                            reinterpret_cast<std::complex<double>*>(out->data()), 1, n, n,
                                            vectors, FFTW_FORWARD);
      }
      EXPECT_EQ(0, std::memcmp(viaCache.data(), plain.data(), plain.size() * sizeof(double))) << "n " << n;
    }
  }
  EXPECT_EQ(cache.size(), 2u);
}

// The shared library exports exactly the public API: the 96 names of the transform families in
// namespace tessel_fft (counting overloads, not the two symbols a constructor emits), the version query,
// and FFTW's two assertion handlers, nothing else. The entries' names are expanded over the library's
// lists of precisions and kinds (src/families.hpp); the total stays written out, so that an instance
// dropped from the lists, which would leave both the library and the names, still fails.
// Name without parameter list and return type, spaces removed: "tessel_fft::quillFFT1D<double,2>".
std::string baseName(std::string symbol) {
  if (symbol.rfind("void ", 0) == 0) symbol.erase(0, 5);
  int depth = 0;
  std::string base;
  for (char c : symbol) {
    if (c == '<') ++depth;
    if (c == '>') --depth;
    if (c == '(' && depth == 0) break;
    if (c != ' ') base += c;
  }
  return base;
}

std::map<std::string, int> expectedExports() {
  std::map<std::string, int> expected;
  const std::string api = "tessel_fft::fftwApi::", context = "tessel_fft::fftwContext::";
  for (const char* name : {"fftwApi", "getInstance", "malloc", "free", "getVersion", "fftwAccessMutex_"})
    expected[api + name] = 1;
  expected[api + "destroyPlan"] = 2;
  for (const char* name : {"execute", "plan", "planMany"}) expected[api + name] = 8;
  for (const char* name :
       {"getNumThreads", "getChunkSize", "getEmbedStyle", "mayOverwrite", "setNumThreads", "setChunkSize",
        "setPlanStrategy", "setEmbedStyle", "setMayOverwrite", "TS_FFTW_HYBRID"})
    expected[context + name] = 1;
  for (const char* name : {"fftwContext", "operator=", "getPlanStrategy"}) expected[context + name] = 2;
  // The instances of the library's lists, spelled as the demangler spells them: "T" and "T,Kind".
  const auto withKind = [](const char* type, int kind) {
    return std::string(type) + "," + std::to_string(kind);
  };
#define TESSEL_NAME(T) #T,
#define TESSEL_NAME_KIND(T, Kind) withKind(#T, Kind),
  const std::vector<std::string> reals{TESSEL_FOR_EACH_REAL(TESSEL_NAME)};
  const std::vector<std::string> elements{TESSEL_FOR_EACH_ELEMENT(TESSEL_NAME)};
  const std::vector<std::string> fftTypes{TESSEL_FOR_EACH_FFT_TYPE(TESSEL_NAME_KIND)};
  const std::vector<std::string> dcstTypes{TESSEL_FOR_EACH_DCST_TYPE(TESSEL_NAME_KIND)};
#undef TESSEL_NAME
#undef TESSEL_NAME_KIND
  for (const std::string& real : reals) expected["tessel_fft::quillRFFT1D<" + real + ">"] = 1;
  for (const std::string& type : fftTypes)
    for (const char* family :
         {"quillFFT1D", "quillFFT1DNoCopy", "interleavedFFT1D", "interleavedFFT2D", "fftND"})
      expected["tessel_fft::" + std::string(family) + "<" + type + ">"] = 1;
  for (const std::string& type : dcstTypes) expected["tessel_fft::quillDCST1D<" + type + ">"] = 1;
  for (const std::string& element : elements)
    for (const char* family : {"dctIIND", "idctIIND"})  // without and with a host context
      expected["tessel_fft::" + std::string(family) + "<" + element + ">"] = 2;
  return expected;
}

// Exported beyond the transform families, each named here.
const std::map<std::string, int> kAdditions = {{"tessel_fft::getLibraryVersion", 1},
                                               {"tessel_fft::out_of_memory::out_of_memory", 1},
                                               {"tessel_fft::out_of_memory::~out_of_memory", 1},
                                               {"tessel_fft::backend_failure::backend_failure", 1},
                                               {"tessel_fft::backend_failure::~backend_failure", 1},
                                               {"tessel_fft::exportWisdom[abi:cxx11]", 1},
                                               {"tessel_fft::exportWisdomToFile", 1},
                                               {"tessel_fft::importWisdom", 1},
                                               {"tessel_fft::importWisdomFromFile", 1},
                                               {"tessel_fft::importSystemWisdom", 1},
                                               {"tessel_fft::forgetWisdom", 1}};

TEST(ExportedSymbols, ExactlyThePublicApi) {
  const std::string command = std::string("nm -DCj --defined-only '") + TESSEL_SHARED_LIBRARY_PATH + "'";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  ASSERT_TRUE(pipe);
  std::map<std::string, std::set<std::string>> exported;  // base name -> distinct full names
  std::set<std::string> others;
  for (char line[4096]; std::fgets(line, sizeof line, pipe.get()) != nullptr;) {
    const std::string name(line, std::strcspn(line, "\n"));
    const std::string base = baseName(name);
    (base.rfind("tessel_fft::", 0) == 0 ? exported[base] : others).insert(name);
  }
  std::map<std::string, int> actual;
  int total = 0;
  for (const auto& [base, names] : exported) {
    actual[base] = static_cast<int>(names.size());
    total += actual[base];
  }
  std::map<std::string, int> expected = expectedExports();
  expected.insert(kAdditions.begin(), kAdditions.end());
  EXPECT_EQ(actual, expected);
  EXPECT_EQ(total, 96 + 8 + 8 /* quillRFFT1D, fftND */ + static_cast<int>(kAdditions.size()));
  // The exception types' identity, so that a host catches them by type.
  std::set<std::string> expectedOthers = {"fftw_assertion_failed", "fftwf_assertion_failed"};
  for (const char* type : {"out_of_memory", "backend_failure"})
    for (const char* what : {"typeinfo for ", "typeinfo name for ", "vtable for "})
      expectedOthers.insert(what + std::string("tessel_fft::") + type);
  EXPECT_EQ(others, expectedOthers);
}

}  // namespace
