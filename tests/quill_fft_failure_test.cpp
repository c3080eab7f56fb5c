// The batched FFT entries as a host sees them beyond accuracy: which plans its cache is asked for, what
// happens when memory or planning fails or a task throws, and calls from several host threads at once.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <complex>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "fft/buffer_managers.hpp"
#include "fft/par_fft_body.hpp"
#include "support/allocation_control.hpp"
#include "support/counting_cache.hpp"
#include "support/error_text.hpp"
#include "support/reference.hpp"
#include "tessel_fft/fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::fftwContext;
using tessel_fft::r2c;
using Complex = std::complex<double>;
using Cache = tessel_test::CountingFFTCache<double, c2c>;

// Positions in a key's flags word that a host may rely on.
constexpr std::uint64_t kInverseFlag = std::uint64_t{1} << 16;
constexpr std::uint64_t kThreadedFlag = std::uint64_t{1} << 28;

using tessel_test::errorText;

// One c2c call on a stride x n x (numVectors / stride) array with fresh data.
struct Batch {
  std::uint64_t stride, n, numVectors;
  std::vector<Complex> in = tessel_test::randomComplex<double>(n * numVectors, 5);
  std::vector<Complex> out = std::vector<Complex>(n * numVectors, Complex(1, 1));

  void run(const fftwContext& context, Cache* cache, int sign, bool noCopy = false) {
    auto* entry = noCopy ? &tessel_fft::quillFFT1DNoCopy<double, c2c> : &tessel_fft::quillFFT1D<double, c2c>;
    entry(context, cache, in.data(), out.data(), stride, n, n, numVectors, sign);
  }
};

// Scratch blocks still live beyond those live at construction, and the allocations made since.
class ScratchLedger {
 public:
  long leftOver() const { return tessel_test::liveScratchBlocks() - live_; }
  long pairsMade(long refused, long blocksPerPair) const {
    return (tessel_test::scratchAllocationCalls() - calls_ - refused) / blocksPerPair;
  }

 private:
  long live_ = tessel_test::liveScratchBlocks();
  long calls_ = tessel_test::scratchAllocationCalls();
};

struct KeyCase {
  std::uint64_t threads, stride, n, numVectors, chunk;
  int sign;
  std::set<std::uint64_t> howmanys;  // size1 of the keys the cache is asked for
  bool threadedPlans;
};

class QuillFFTPlanKeys : public ::testing::TestWithParam<KeyCase> {};

// Plans are made on aligned private scratch, compact, out of place, single-threaded unless one long
// vector gets FFTW's threads; a second identical call finds them all in the cache.
TEST_P(QuillFFTPlanKeys, CacheSeesTheBatchPlans) {
  const KeyCase& c = GetParam();
  for (bool noCopy : {false, true}) {
    fftwContext context(c.threads, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
    context.setChunkSize(c.chunk);
    Cache cache;
    Batch batch{c.stride, c.n, c.numVectors};
    batch.run(context, &cache, c.sign, noCopy);
    std::set<std::uint64_t> howmanys;
    for (const auto& key : cache.lookedUpKeys) {
      howmanys.insert(key.size1);
      EXPECT_EQ(key.size0, c.n);
      EXPECT_EQ(key.rank, 1u);
      EXPECT_EQ(key.flags,
                (c.sign == FFTW_BACKWARD ? kInverseFlag : 0) | (c.threadedPlans ? kThreadedFlag : 0));
    }
    EXPECT_EQ(howmanys, c.howmanys);
    EXPECT_EQ(cache.inserts, static_cast<int>(c.howmanys.size()));
    const int lookups = cache.lookups, hits = cache.hits;
    batch.run(context, &cache, c.sign, noCopy);
    EXPECT_EQ(cache.hits - hits, cache.lookups - lookups);
    EXPECT_EQ(cache.inserts, static_cast<int>(c.howmanys.size()));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Paths, QuillFFTPlanKeys,
    ::testing::Values(KeyCase{4, 1, 65535, 1, 4, FFTW_FORWARD, {1}, false},   // short vector: no FFTW threads
                      KeyCase{4, 1, 65536, 1, 4, FFTW_BACKWARD, {1}, true},   // long vector: FFTW threads
                      KeyCase{4, 1, 4096, 2, 4, FFTW_FORWARD, {1}, false},    // pooled, fewer than a chunk
                      KeyCase{4, 1, 2048, 2, 4, FFTW_BACKWARD, {1}, false},   // direct, fewer than a chunk
                      KeyCase{1, 1, 16, 10, 4, FFTW_FORWARD, {1, 4}, false},  // direct, chunks and a tail
                      KeyCase{1, 1, 16, 8, 4, FFTW_BACKWARD, {4}, false},     // direct, whole chunks
                      KeyCase{1, 1, 16, 3, 4, FFTW_FORWARD, {1}, false},      // direct, below a chunk
                      KeyCase{1, 1, 16, 0, 4, FFTW_FORWARD, {}, false},       // nothing to transform
                      KeyCase{1, 6, 16, 12, 4, FFTW_FORWARD, {1, 4}, false},  // blocks of 6 end in a tail
                      KeyCase{1, 3, 16, 12, 4, FFTW_FORWARD, {1}, false},     // blocks narrower than a chunk
                      KeyCase{2, 1, 4096, 8, 4, FFTW_FORWARD, {1, 4}, false},  // pooled: single plan always
                      KeyCase{2, 1, 4096, 8, 1, FFTW_BACKWARD, {1}, false}));  // chunk 1: one key for both

// An empty batch of a strided array still plans chunks: the scratch must hold one for a measuring planner.
TEST(QuillFFTEdges, EmptyStridedBatchMeasuresOnEnoughScratch) {
  const fftwContext context(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  Cache cache;
  Batch batch{6, 8, 0};
  batch.run(context, &cache, FFTW_FORWARD);
  EXPECT_EQ(cache.inserts, 2);
}

// A cache that throws on its n-th lookup, as a host's might when its own storage fails; it refuses all
// plans, so the runner owns and must destroy the ones made before.
class ThrowingCache : public tessel_test::CountingFFTCache<double, c2c> {
 public:
  explicit ThrowingCache(int failingLookup) : CountingCache(false), failingLookup_(failingLookup) {}
  Plan lookupPlan(const tessel_fft::fftwPlanKey& key) override {
    if (++seen_ == failingLookup_) throw std::runtime_error("host cache failure");
    return CountingCache::lookupPlan(key);
  }

 private:
  int failingLookup_;
  int seen_ = 0;
};

struct FailureCase {
  const char* name;
  std::uint64_t threads, stride, n, numVectors;
  bool noCopy;
  long firstPairBlocks;  // allocations that make the first scratch pair
};

class QuillFFTFailures : public ::testing::TestWithParam<FailureCase> {};

// Without memory for the first scratch pair, or when planning fails after one plan was made, the call
// throws once, frees everything and leaves the output unscaled and unwritten.
TEST_P(QuillFFTFailures, FailureLeavesNothingBehind) {
  const FailureCase& c = GetParam();
  const fftwContext context(c.threads, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
  const std::vector<Complex> untouched(c.n * c.numVectors, Complex(1, 1));
  for (long skip = 0; skip < c.firstPairBlocks; ++skip) {
    Batch batch{c.stride, c.n, c.numVectors};
    const ScratchLedger ledger;
    {
      tessel_test::FailAllocations failing(skip, 1);
      EXPECT_EQ(errorText([&] { batch.run(context, nullptr, FFTW_BACKWARD, c.noCopy); }), "FFTW:nomem")
          << "skip " << skip;
    }
    EXPECT_EQ(ledger.leftOver(), 0);
    EXPECT_EQ(batch.out, untouched);
  }
  for (int failingLookup : {1, 2}) {
    Batch batch{c.stride, c.n, c.numVectors};
    ThrowingCache cache(failingLookup);
    const ScratchLedger ledger;
    EXPECT_EQ(errorText([&] { batch.run(context, &cache, FFTW_BACKWARD, c.noCopy); }), "host cache failure");
    EXPECT_EQ(ledger.leftOver(), 0);
    EXPECT_EQ(batch.out, untouched);
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, QuillFFTFailures,
                         ::testing::Values(FailureCase{"Direct", 1, 1, 16, 10, false, 2},
                                           FailureCase{"DirectStrided", 1, 6, 16, 12, false, 2},
                                           FailureCase{"DirectNoCopy", 1, 1, 16, 10, true, 1},
                                           FailureCase{"Pooled", 2, 1, 256, 400, false, 2},
                                           FailureCase{"PooledStrided", 2, 40, 256, 400, false, 2},
                                           FailureCase{"PooledNoCopy", 2, 1, 256, 400, true, 1}),
                         [](const ::testing::TestParamInfo<FailureCase>& info) { return info.param.name; });

// Once the first pair exists, a shortage of memory only narrows the run: tasks wait for pairs, and the
// result is that of an unhindered run.
TEST(QuillFFTFailures, LaterScratchShortageStillCompletes) {
  const fftwContext context(4, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
  for (std::uint64_t stride : {1, 24}) {
    for (bool noCopy : {false, true}) {
      const long blocksPerPair = noCopy && stride == 1 ? 1 : 2;
      Batch expected{stride, 128, 2400}, constrained{stride, 128, 2400};
      const ScratchLedger unconstrainedLedger;
      expected.run(context, nullptr, FFTW_BACKWARD, noCopy);
      EXPECT_EQ(unconstrainedLedger.leftOver(), 0);
      const ScratchLedger ledger;
      long refused = 0;
      {
        tessel_test::FailAllocations failing(blocksPerPair, -1);
        constrained.run(context, nullptr, FFTW_BACKWARD, noCopy);
        refused = failing.failures();
      }
      EXPECT_EQ(constrained.out, expected.out);
      EXPECT_EQ(ledger.pairsMade(refused, blocksPerPair), 1);
      EXPECT_EQ(ledger.leftOver(), 0);
    }
  }
}

// A loop body that fails in the task holding vector `poisoned` once another task has taken a pair; the
// other tasks keep their pairs until the failure has happened. Nobody waits past `deadline`, so a lone
// worker thread only makes the test weaker, not stuck.
struct FailingLoopBody {
  static inline std::atomic<int> running{0};
  static inline std::atomic<bool> failed{false};
  static inline std::size_t poisoned = 0;
  static inline std::chrono::steady_clock::time_point deadline;

  void operator()(const Complex*, Complex*, std::size_t, std::size_t, std::size_t, fftw_plan, fftw_plan,
                  Complex*, Complex*, std::size_t begin, std::size_t end, std::size_t) const {
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

TEST(QuillFFTFailures, ExceptionInOneTaskComesOutOnceAndFreesAllPairs) {
  const long liveBefore = tessel_test::liveScratchBlocks();
  // The first vectors of the calling thread's and of a thief's first task.
  for (std::size_t poisoned : {0, 128}) {
    FailingLoopBody::poisoned = poisoned;
    FailingLoopBody::failed = false;
    FailingLoopBody::deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    int caught = 0;
    {
      tessel_fft::MultiBufferMgr manager(64, 64);
      const tessel_fft::ParFFTBody<double, c2c, FailingLoopBody> body{nullptr, nullptr, 1,        4, 4,
                                                                      nullptr, nullptr, &manager, 4};
      try {
        tessel_fft::runBatchTasks(256, 2, body);
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "task failure");
        ++caught;
      }
    }
    EXPECT_EQ(caught, 1);
    EXPECT_TRUE(FailingLoopBody::failed.load());
    EXPECT_EQ(tessel_test::liveScratchBlocks(), liveBefore);
  }
}

// Host threads calling the entries at once through shared, self-locking caches get what a serial run gets.
TEST(QuillFFTStress, ConcurrentHostThreadsMatchSerialRun) {
  struct Call {
    std::uint64_t threads, stride, n, numVectors;
    int sign;
  };
  const std::vector<Call> calls = {{1, 1, 64, 40, FFTW_FORWARD},
                                   {2, 1, 64, 300, FFTW_BACKWARD},
                                   {2, 17, 48, 340, FFTW_FORWARD},
                                   {4, 5, 100, 10, FFTW_BACKWARD}};
  Cache complexCache;
  tessel_test::CountingFFTCache<float, r2c> realCache;
  const auto runCall = [&](const Call& call, std::vector<Complex>& complexOut,
                           std::vector<std::complex<float>>& realOut) {
    const fftwContext context(call.threads, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
    const auto complexIn = tessel_test::randomComplex<double>(call.n * call.numVectors, 9);
    const auto realIn = tessel_test::randomReals<float>(call.n * call.numVectors, 9);
    complexOut.assign(call.n * call.numVectors, Complex());
    realOut.assign(call.n * call.numVectors, std::complex<float>());
    tessel_fft::quillFFT1D<double, c2c>(context, &complexCache, complexIn.data(), complexOut.data(),
                                        call.stride, call.n, call.n, call.numVectors, call.sign);
    tessel_fft::quillFFT1DNoCopy<float, r2c>(context, &realCache, realIn.data(), realOut.data(), call.stride,
                                             call.n, call.n, call.numVectors, call.sign);
  };
  std::vector<std::vector<Complex>> serialComplex(calls.size());
  std::vector<std::vector<std::complex<float>>> serialReal(calls.size());
  for (std::size_t i = 0; i < calls.size(); ++i) runCall(calls[i], serialComplex[i], serialReal[i]);

  constexpr int kHostThreads = 4, kRounds = 3;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> hosts;
  for (int host = 0; host < kHostThreads; ++host) {
    hosts.emplace_back([&, host] {
      std::vector<Complex> complexOut;
      std::vector<std::complex<float>> realOut;
      for (int round = 0; round < kRounds; ++round) {
        for (std::size_t i = 0; i < calls.size(); ++i) {
          const std::size_t which = (i + host) % calls.size();
          runCall(calls[which], complexOut, realOut);
          if (complexOut != serialComplex[which] || realOut != serialReal[which]) mismatches.fetch_add(1);
        }
      }
    });
  }
  for (auto& host : hosts) host.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
