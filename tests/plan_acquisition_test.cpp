// Plan keys, the cache protocol with its ownership table, and the sequence of attempts that gets a
// measured plan without touching the caller's input.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "plans/fft_planner.hpp"
#include "support/allocation_control.hpp"
#include "support/counting_cache.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::FFTPlanner;
using tessel_fft::fftwApi;
using tessel_fft::fftwContext;
using tessel_fft::r2c;

// A 16-byte aligned arena from which pointers with chosen residues are cut.
struct Arena {
  explicit Arena(std::size_t bytes) : storage(bytes / 16 + 2) {}
  template <typename P>
  P* at(std::size_t residue) {
    return reinterpret_cast<P*>(reinterpret_cast<char*>(storage.data()) + residue);
  }
  std::vector<std::complex<double>> storage;
};

using ComplexD = double[2];
using tessel_fft::fftwPlan;

// Makes a plan through getPlan and releases it by the returned ownership.
template <typename T, int Kind, typename In, typename Out>
bool planAndRelease(const fftwContext& context, typename FFTPlanner<T, Kind>::Cache* cache, std::uint64_t n,
                    std::uint64_t howmany, In* in, Out* out, int sign) {
  fftwPlan<T> plan = nullptr;
  const bool owns = FFTPlanner<T, Kind>(&context, cache).getPlan(n, howmany, in, out, sign, plan);
  EXPECT_NE(plan, nullptr);
  if (owns) fftwApi::getInstance().destroyPlan(plan);
  return owns;
}
TEST(PlanKey, FlagsPackResiduesSignStyleInPlaceAndThreads) {
  Arena arena(4096);
  tessel_test::CountingFFTCache<double, c2c> cache;
  const fftwContext context(2, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  planAndRelease<double, c2c>(context, &cache, 16, 1, arena.at<ComplexD>(4), arena.at<ComplexD>(1024 + 8),
                              FFTW_BACKWARD);
  ASSERT_EQ(cache.insertedKeys.size(), 1u);
  const tessel_fft::fftwPlanKey expected{16, 1, 1, 0x10110804};
  EXPECT_EQ(cache.insertedKeys[0], expected);

  // In place sets bit 24; the same sizes in 2-D differ by rank.
  planAndRelease<double, c2c>(fftwContext(), &cache, 16, 4, arena.at<ComplexD>(0), arena.at<ComplexD>(0),
                              FFTW_FORWARD);
  EXPECT_EQ(cache.insertedKeys.back().flags, 0x01000000u);
  fftwPlan<double> plan2D = nullptr;
  FFTPlanner<double, c2c>(&context, &cache)
      .getPlan2D(16, 4, arena.at<ComplexD>(0), arena.at<ComplexD>(0), FFTW_FORWARD, plan2D);
  EXPECT_EQ(cache.insertedKeys.back().rank, 2u);
  EXPECT_EQ(cache.insertedKeys.back().size0, 16u);
  EXPECT_EQ(cache.insertedKeys.back().size1, 4u);
}

TEST(PlanKey, AlignmentSeparatesPlansAndStyleTwoKeysAsCompact) {
  Arena arena(1 << 16);
  tessel_test::CountingFFTCache<double, r2c> cache;
  fftwContext context;
  planAndRelease<double, r2c>(context, &cache, 32, 2, arena.at<double>(8), arena.at<ComplexD>(4096),
                              FFTW_FORWARD);
  planAndRelease<double, r2c>(context, &cache, 32, 2, arena.at<double>(0), arena.at<ComplexD>(4096),
                              FFTW_FORWARD);
  EXPECT_EQ(cache.size(), 2u);
  // Style 2 plans full-length rows yet keys like a compact request: the lookup hits the compact plan.
  context.setEmbedStyle(static_cast<fftwContext::EmbedStyleType>(2));
  planAndRelease<double, r2c>(context, &cache, 32, 2, arena.at<double>(0), arena.at<ComplexD>(4096),
                              FFTW_FORWARD);
  EXPECT_EQ(cache.hits, 1);
}

TEST(PlanCache, OwnershipFollowsTheCachesAnswer) {
  Arena arena(4096);
  auto* in = arena.at<ComplexD>(0);
  auto* out = arena.at<ComplexD>(2048);
  const fftwContext context;
  tessel_test::CountingFFTCache<double, c2c> accepting, refusing(false);
  EXPECT_FALSE((planAndRelease<double, c2c>(context, &accepting, 8, 1, in, out, FFTW_FORWARD)));  // taken
  EXPECT_FALSE((planAndRelease<double, c2c>(context, &accepting, 8, 1, in, out, FFTW_FORWARD)));  // hit
  EXPECT_EQ(accepting.inserts, 1);
  EXPECT_EQ(accepting.hits, 1);
  EXPECT_TRUE((planAndRelease<double, c2c>(context, &refusing, 8, 1, in, out, FFTW_FORWARD)));
  EXPECT_EQ(refusing.size(), 0u);
  EXPECT_TRUE((planAndRelease<double, c2c>(context, nullptr, 8, 1, in, out, FFTW_FORWARD)));
}

// Scratch is allocated only when a measured plan is wanted, may not overwrite, and FFTW has no wisdom.
TEST(PlanAttempts, ScratchOnlyForProtectedMeasuringWithoutWisdom) {
  Arena arena(1 << 18);
  auto* in = arena.at<float>(0);
  auto* out = arena.at<float[2]>(1 << 17);
  const auto scratchUsed = [&](const fftwContext& context, std::uint64_t n, std::uint64_t howmany) {
    const long before = tessel_test::scratchAllocationCalls();
    planAndRelease<float, r2c>(context, nullptr, n, howmany, in, out, FFTW_FORWARD);
    return tessel_test::scratchAllocationCalls() - before;
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

TEST(PlanAttempts, MeasuringLeavesTheInputAndUsesTheOutput) {
  const std::uint64_t n = 1536, howmany = 3, half = n / 2 + 1;
  std::vector<std::complex<double>> input(half * howmany, {0.25, -0.5});
  const auto original = input;
  std::vector<double> output(n * howmany, 3.0);
  fftwPlan<double> plan = nullptr;
  const fftwContext measuring(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  const bool owns =
      FFTPlanner<double, c2r>(&measuring, nullptr)
          .getPlan(n, howmany, reinterpret_cast<ComplexD*>(input.data()), output.data(), FFTW_BACKWARD, plan);
  ASSERT_TRUE(owns);
  fftwApi::getInstance().destroyPlan(plan);
  EXPECT_EQ(input, original);
  EXPECT_TRUE(std::any_of(output.begin(), output.end(), [](double value) { return value != 3.0; }));
}

TEST(PlanAttempts, FailedScratchReportsAndLeavesNoPlan) {
  Arena arena(1 << 16);
  const long live = tessel_test::liveScratchBlocks();
  const fftwContext measuring(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  tessel_test::CountingFFTCache<double, c2c> cache;
  fftwPlan<double> plan = nullptr;
  {
    tessel_test::FailAllocations failing(0, 1);
    const FFTPlanner<double, c2c> planner(&measuring, &cache);
    EXPECT_THROW(
        planner.getPlan(1234, 3, arena.at<ComplexD>(0), arena.at<ComplexD>(1 << 15), FFTW_FORWARD, plan),
        std::runtime_error);
  }
  EXPECT_EQ(plan, nullptr);
  EXPECT_EQ(cache.inserts, 0);
  EXPECT_EQ(tessel_test::liveScratchBlocks(), live);
}

}  // namespace
