// Failure paths of the cosine/sine transforms: allocation failures in the direct scratch, in the first
// pooled pair and in planning; memory exhaustion during a pooled run; an exception in a task. Every
// case checks the error text and that no scratch block is left behind; under the leak checker, plans
// left behind would show as leaks.

#include <gtest/gtest.h>
#include <tbb/blocked_range.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "dcst/dcst_batch_runner.hpp"
#include "dcst/dcst_planner.hpp"
#include "dcst/par_dcst_body.hpp"
#include "fft/pooled_tasks.hpp"
#include "support/allocation_control.hpp"
#include "support/counting_cache.hpp"
#include "support/error_text.hpp"
#include "support/reference.hpp"
#include "tessel_fft/dcst.hpp"

namespace {

using tessel_fft::fftwContext;

using tessel_test::errorText;

struct Batch {
  std::uint64_t stride, n, numVectors, threads;
};

// Direct: one thread. Pooled: enough vectors of enough length for tasks.
const Batch kDirect{5, 16, 20, 1};
const Batch kPooled{1, 8, 4000, 2};

std::string runBatch(const Batch& batch, std::vector<float>& out,
                     tessel_test::CountingDCSTCache<float, 5>* cache) {
  const std::vector<float> in = tessel_test::randomReals<float>(2 * batch.n * batch.numVectors, 4);
  fftwContext context;
  context.setNumThreads(batch.threads);
  return errorText([&] {
    tessel_fft::quillDCST1D<float, 5>(context, cache, in.data(), out.data(), batch.stride, batch.n, batch.n,
                                      batch.numVectors, 1, true);
  });
}

// The first two allocations of a run are its first scratch pair, input block then output block.
TEST(DCSTFailure, FirstScratchPairOfEitherPath) {
  for (const Batch& batch : {kDirect, kPooled}) {
    for (const long skip : {0L, 1L}) {
      const long before = tessel_test::liveScratchBlocks();
      std::vector<float> out(2 * batch.n * batch.numVectors, 7.0f);
      tessel_test::CountingDCSTCache<float, 5> cache;
      {
        const tessel_test::FailAllocations failing(skip, 1);
        EXPECT_EQ(runBatch(batch, out, &cache), "FFTW:nomem") << batch.threads << " " << skip;
      }
      EXPECT_EQ(tessel_test::liveScratchBlocks(), before);
      // Scratch comes before any plan, and nothing was written.
      EXPECT_EQ(cache.inserts, 0);
      EXPECT_EQ(out, std::vector<float>(out.size(), 7.0f));
    }
  }
}

// Once the first pair exists, a task that can't allocate waits for a pair: the run completes with
// the same result.
TEST(DCSTFailure, ExhaustionDuringPooledRunCostsOnlyParallelism) {
  std::vector<float> expected(2 * kPooled.n * kPooled.numVectors), constrained(expected.size());
  ASSERT_EQ(runBatch(kPooled, expected, nullptr), "");
  const long before = tessel_test::liveScratchBlocks();
  {
    const tessel_test::FailAllocations failing(2, -1);
    EXPECT_EQ(runBatch(kPooled, constrained, nullptr), "");
  }
  EXPECT_EQ(tessel_test::liveScratchBlocks(), before);
  EXPECT_EQ(constrained, expected);
}

// A measured plan without wisdom is made on scratch that stands in for the input; if that can't be
// had, planning fails with no plan and nothing offered to the cache. Once memory is back, the input
// survives measuring.
TEST(DCSTFailure, PlanningScratch) {
  const fftwContext context(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  tessel_test::CountingDCSTCache<float, 7> cache;
  const tessel_fft::DCSTPlanner<float, 7> planner(&context, &cache);
  std::vector<float> in = tessel_test::randomReals<float>(46 * 3, 8), out(46 * 3);
  const std::vector<float> kept = in;
  fftwf_plan plan = nullptr;
  const long before = tessel_test::liveScratchBlocks();
  {
    const tessel_test::FailAllocations failing(0, 1);
    EXPECT_EQ(errorText([&] { planner.getPlan(46, 3, in.data(), out.data(), -1, plan); }), "FFTW:nomem");
  }
  EXPECT_EQ(plan, nullptr);
  EXPECT_EQ(cache.inserts, 0);
  EXPECT_EQ(tessel_test::liveScratchBlocks(), before);
  EXPECT_FALSE(planner.getPlan(46, 3, in.data(), out.data(), -1, plan));
  EXPECT_NE(plan, nullptr);
  EXPECT_EQ(in, kept);
}

// A loop body that fails on the range holding one vector.
struct ThrowingBody {
  void operator()(const double*, double*, std::size_t, std::size_t, std::size_t, fftw_plan, fftw_plan,
                  double*, double*, std::size_t begin, std::size_t end, std::size_t, bool) const {
    if (begin <= 500 && 500 < end) throw std::runtime_error("task failed");
  }
};

// The failed task gives its pair back, so destroying the pool frees every block.
TEST(DCSTFailure, ExceptionInATaskReturnsItsPair) {
  const long before = tessel_test::liveScratchBlocks();
  {
    tessel_fft::MultiBufferMgr manager(64, 64);
    const tessel_fft::ParDCSTBody<double, 1, ThrowingBody> body{nullptr, nullptr, 1,        8, 8,
                                                                nullptr, nullptr, &manager, 4, false};
    EXPECT_EQ(errorText([&] { tessel_fft::runBatchTasks(1000, 2, body); }), "task failed");
  }
  EXPECT_EQ(tessel_test::liveScratchBlocks(), before);
}

// Plans the run owns (the cache refuses them) go with the runner when an exception passes after
// planning; the leak checker sees any that don't.
TEST(DCSTFailure, OwnedPlansReleasedOnTheWayOut) {
  fftwContext context;
  context.setMayOverwrite(true);
  tessel_test::CountingDCSTCache<double, 3> refusing(false);
  const auto fail = [&] {
    tessel_fft::DCSTBatchRunner<double, 3> runner(&context, &refusing, 12, 7, 70, -1);
    const tessel_fft::ScratchBufferPair pair(4 * 12 * sizeof(double), 4 * 12 * sizeof(double));
    runner.prepareDirect(pair);
    EXPECT_TRUE(runner.ownsSinglePlan);
    EXPECT_TRUE(runner.ownsChunkPlan);
    throw std::runtime_error("after planning");
  };
  EXPECT_EQ(errorText(fail), "after planning");
  EXPECT_EQ(refusing.inserts, 2);
}

}  // namespace
