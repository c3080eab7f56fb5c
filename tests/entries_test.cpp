// Every entry family on tables of chosen calls (each row for a branch, a limit or a layout; kinds and
// precisions rotate across rows), with each allocation failed in turn, with a throwing cache, on
// problems FFTW refuses; then seeded random calls, alone and from host threads sharing caches.
// TESSEL_SOAK_SECONDS=s draws rounds of those for s seconds; TESSEL_SOAK_SEED=k replays random call k.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/allocation_control.hpp"
#include "support/calls.hpp"
#include "support/counting_cache.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::fftwContext;
using tessel_fft::r2c;
using namespace tessel_test;

constexpr bool F = true, D = false;
constexpr int kFwd = FFTW_FORWARD, kInv = FFTW_BACKWARD;

void expectAllPass(const std::vector<Call>& calls) {
  CacheSet caches;
  for (const Call& call : calls) {
    const Outcome outcome = runCall(call, &caches);
    EXPECT_EQ(outcome.error + outcome.failure, "") << describe(call);
  }
}

// Rows of quillFFT1D; the batch machinery they reach (partial last blocks, pooled runs, measured
// planning on scratch, FFTW's threads, zero lengths) serves every family and is tested here once.
// Partial last blocks run inverse: the division must reach all their vectors.
TEST(Accuracy, BatchedFFT) {
  // clang-format off
  const std::vector<Call> rows = {
      {.single = F, .kind = c2c, .n = 16, .numVectors = 10},                    // stride 1: chunks and a tail
      {.kind = r2c, .n = 13, .inputLength = 9, .numVectors = 6, .sign = kInv},  // prime, padded, r2c scaled
      {.single = F, .kind = c2r, .n = 12, .inputLength = 20, .numVectors = 5, .sign = kInv},  // cut to n/2+1
      {.kind = c2r, .n = 8, .inputLength = 5, .numVectors = 9, .sign = kInv},  // input of exactly n/2+1
      {.single = F, .kind = r2c, .stride = 3, .n = 10, .numVectors = 9},  // chunk above stride: tails only
      {.single = F, .kind = c2c, .stride = 4, .n = 16, .numVectors = 6, .sign = kInv},  // partial last block
      {.single = F, .kind = c2r, .stride = 6, .n = 12, .numVectors = 9, .chunk = 3, .sign = kInv},  // chunk 3
      // Pooled: partial last blocks, stride 1, strided and padded, chunk 1, below a chunk.
      {.kind = c2c, .stride = 4, .n = 64, .numVectors = 606, .threads = 2, .sign = kInv},
      {.single = F, .kind = r2c, .stride = 12, .n = 64, .numVectors = 1003, .threads = 2, .chunk = 3},
      {.kind = c2r, .n = 64, .numVectors = 300, .threads = 4, .sign = kInv},
      {.single = F, .kind = c2c, .stride = 37, .n = 64, .inputLength = 60, .numVectors = 333, .threads = 4,
       .chunk = 3},
      {.kind = r2c, .n = 96, .inputLength = 90, .numVectors = 301, .threads = 2, .chunk = 1},
      {.single = F, .kind = c2c, .n = 4096, .numVectors = 2, .threads = 4, .sign = kInv},
      // Blocks of long vectors beyond the caches, not a whole number of chunks: one group of single vectors
      // each, the last block partial.
      {.kind = r2c, .stride = 7, .n = 16384, .numVectors = 17, .threads = 2},
      // Short contiguous vectors beyond the caches: one by one where they lie, divided there.
      {.kind = c2c, .n = 64, .numVectors = 8195, .threads = 2, .sign = kInv},
      {.single = F, .kind = c2c, .n = 32, .numVectors = 33000, .threads = 2, .chunk = 128},  // chunk above a group
      // Misaligned arrays, pooled and single.
      {.single = F, .kind = c2r, .n = 64, .numVectors = 300, .threads = 2, .flags = kShiftIn | kShiftOut},
      {.kind = c2c, .n = 64, .flags = kShiftOut},
      {.kind = c2c, .n = 8, .inputLength = 0, .numVectors = 6, .sign = kInv},  // zeros transformed
      {.single = F, .kind = c2c, .stride = 6, .n = 8, .numVectors = 0, .sign = kInv, .flags = kMeasure},
      {.kind = r2c, .stride = 0, .n = 8, .numVectors = 0},  // empty leading extent: stride 0
      // Short vectors through one plan over the arrays (batches of 4096 points or more): within one block, cut
      // input kept, in place.
      {.kind = r2c, .stride = 400, .n = 12, .numVectors = 350, .sign = kInv},
      {.single = F, .kind = c2r, .stride = 5, .n = 16, .inputLength = 11, .numVectors = 300, .threads = 2,
       .sign = kInv},
      {.kind = c2c, .stride = 3, .n = 20, .numVectors = 240, .threads = 2, .sign = kInv, .flags = kInPlace},
      // Slabs over tasks with a tail of other residues; few slabs on FFTW's threads; measured, longer.
      {.single = F, .kind = r2c, .stride = 3, .n = 15, .numVectors = 6003, .threads = 2, .sign = kInv},
      {.single = F, .kind = c2c, .stride = 3, .n = 13, .numVectors = 6000, .threads = 2},
      {.single = F, .kind = c2c, .n = 32, .numVectors = 600, .threads = 2, .sign = kInv},
      {.single = F, .kind = c2c, .stride = 6, .n = 100, .numVectors = 60, .sign = kInv, .flags = kMeasure},
      // Blocks wider than a slab, cut into columns: whole blocks, and part of one block.
      {.kind = c2c, .stride = 1100, .n = 16, .numVectors = 3300, .threads = 2, .sign = kInv},
      {.single = F, .kind = r2c, .stride = 4000, .n = 12, .numVectors = 3000, .threads = 2, .sign = kInv},
      {.kind = c2c, .n = 0, .inputLength = 8, .numVectors = 8, .threads = 4, .sign = kInv},  // untouched
      {.kind = c2c, .n = 16, .numVectors = 8, .flags = kInPlace | kMeasure},  // plans measured on scratch
      {.single = F, .kind = c2c, .stride = 33, .n = 64, .numVectors = 231, .threads = 4, .sign = kInv,
       .flags = kInPlace},  // pooled, strided, in place
      {.kind = c2c, .n = 65536, .threads = 4, .sign = kInv},               // FFTW's own threads
      {.single = F, .kind = c2r, .n = 65535, .threads = 4, .sign = kInv},  // one below: one thread
      {.single = F, .kind = r2c, .n = 8192, .numVectors = 2, .flags = kHybrid | kKeepingCache},
  };
  // clang-format on
  expectAllPass(rows);
}

// quillFFT1DNoCopy is quillFFT1D by another name: the same bytes on outputs FFTW may write directly
// (contiguous, every vector on a 16-byte border) and on those it may not.
TEST(Accuracy, NoCopyIsQuill) {
  const Call rows[] = {
      {.kind = c2c, .n = 64, .numVectors = 40, .sign = kInv},                 // qualifies
      {.single = F, .kind = r2c, .n = 256, .numVectors = 400, .threads = 2},  // qualifies, pooled
      {.single = F, .kind = c2c, .stride = 37, .n = 64, .numVectors = 90},    // strided
      {.kind = c2c, .n = 64, .numVectors = 3, .flags = kShiftOut},            // misaligned
      {.single = F, .kind = c2r, .n = 6, .numVectors = 2, .sign = kInv},      // rows 24 bytes apart
      {.single = F, .kind = c2r, .n = 6, .sign = kInv},                       // one such row
      {.kind = c2c, .n = 7, .numVectors = 5},                                 // odd n
  };
  for (Call call : rows) {
    const Outcome copying = runCall(call);
    call.family = Family::NoCopy;
    const Outcome noCopy = runCall(call);
    EXPECT_EQ(noCopy.error + noCopy.failure, "") << describe(call);
    EXPECT_EQ(noCopy.output, copying.output) << describe(call);
  }
}

// What differs per family: kinds rotate across the rows, with the divisors of each, complex
// interleaving in every layout, direction 0, and n 0 to 2.
TEST(Accuracy, DCST) {
  const auto dcst = [](Call call) {
    call.family = Family::DCST;
    return call;
  };
  // clang-format off
  std::vector<Call> rows = {
      dcst({.kind = 0, .n = 13, .inputLength = 9, .numVectors = 6, .sign = 1, .flags = kComplex}),  // padded
      dcst({.single = F, .kind = 1, .n = 12, .inputLength = 20, .numVectors = 7, .flags = kComplex}),  // cut
      dcst({.kind = 2, .stride = 7, .n = 9, .inputLength = 6, .numVectors = 21}),  // three tails a block
      dcst({.single = F, .kind = 3, .stride = 6, .n = 5, .numVectors = 12, .chunk = 1, .sign = 1,
            .flags = kComplex}),  // chunk 1, complex
      dcst({.kind = 4, .n = 6, .inputLength = 4, .numVectors = 5, .chunk = 1, .sign = 0}),  // no division
      dcst({.single = F, .kind = 5, .stride = 6, .n = 14, .numVectors = 18, .chunk = 3, .sign = 1,
            .flags = kInPlace}),  // in place, strided
      dcst({.kind = 6, .stride = 3, .n = 97, .numVectors = 6, .flags = kComplex}),  // prime
      dcst({.single = F, .kind = 7, .stride = 9, .n = 2, .inputLength = 3, .numVectors = 18, .sign = 1}),
      dcst({.kind = 0, .stride = 3, .n = 9, .inputLength = 0, .numVectors = 6, .sign = 1, .flags = kComplex}),
      dcst({.kind = 2, .stride = 8, .n = 16, .numVectors = 261, .sign = 1, .flags = kComplex}),  // last block
      dcst({.kind = 6, .stride = 400, .n = 12, .numVectors = 350, .sign = 1, .flags = kComplex}),  // one block
      dcst({.kind = 3, .stride = 5, .n = 24, .numVectors = 1500, .threads = 2, .sign = 1,
            .flags = kComplex | kMeasure | kInPlace}),  // slabs measured on scratch, in place
      dcst({.kind = 1, .stride = 600, .n = 60, .numVectors = 1200, .threads = 2, .sign = 1,
            .flags = kMeasure}),  // column slabs measured on scratch
      // Pooled complex: strided, truncated, one or two vectors a task.
      dcst({.kind = 4, .stride = 6, .n = 4, .inputLength = 3, .numVectors = 8400, .threads = 2, .sign = 1,
            .flags = kComplex}),
      dcst({.single = F, .kind = 5, .n = 5, .inputLength = 7, .numVectors = 7000, .threads = 4,
            .flags = kComplex}),
      dcst({.single = F, .kind = 7, .n = 400, .numVectors = 31, .threads = 2, .sign = 1, .flags = kComplex}),
      dcst({.kind = 0, .n = 1100, .numVectors = 8, .threads = 4, .sign = 1}),  // direct, division over tasks
      dcst({.kind = 2, .stride = 12, .n = 257, .numVectors = 96, .threads = 2, .sign = 1,
            .flags = kComplex | kShiftIn | kShiftOut}),
      dcst({.single = F, .kind = 3, .n = 33, .numVectors = 5, .sign = 1, .flags = kMeasure | kKeepingCache}),
      dcst({.single = F, .kind = 1, .stride = 3, .n = 0, .inputLength = 7, .numVectors = 11, .sign = 1,
            .flags = kComplex}),  // n 0: nothing touched
  };
  // The kinds through a complex FFT of n/2 points, with n/2 odd and even, in every layout of the walk.
  const unsigned roadFlags[] = {kComplex, kInPlace, kComplex | kKeepingCache, kShiftIn | kShiftOut,
                                kComplex | kInPlace, kKeepingCache};
  for (int kind : {1, 2, 3, 5, 6, 7}) {
    const std::uint64_t n = kind < 4 ? 42 + 22 * kind : 2 * (kind - 4) + 62;  // 64 86 108, 64 66 68
    rows.push_back(dcst({.single = kind % 2 == 0, .kind = kind, .stride = kind % 3 == 0 ? 1u : 7u, .n = n,
                         .numVectors = 30u + kind, .threads = 1u + kind % 2, .sign = kind % 3 - 1,
                         .flags = roadFlags[kind - 1 - kind / 4]}));
  }
  // The kinds through the FFT of their extension, from its shortest length, odd and even, cut, strided
  // complex and in place, vectors one by one and in chunks.
  for (int kind : {0, 4})
    for (std::uint64_t n : {64u, 101u})
      rows.push_back(dcst({.single = n % 2 == 1, .kind = kind, .stride = n == 64 ? 5u : 1u, .n = n,
                           .inputLength = kind == 0 ? n + 9 : n, .numVectors = 23, .threads = 1u + kind / 4,
                           .sign = kind == 0 ? 1 : -1, .flags = n == 64 ? kComplex : kInPlace}));
  // DCT-I is undefined for one point; every other kind at n 1.
  for (int kind = 1; kind < 8; ++kind)
    rows.push_back(dcst({.single = kind % 2 == 0, .kind = kind, .stride = 4, .n = 1, .inputLength = 2,
                         .numVectors = 8, .sign = 1}));
  // clang-format on
  expectAllPass(rows);
}

// The random soak covers the interleaved layouts; these rows hold the limits: completion at n 1 to 4
// and at odd n, both embeddings of c2r, every in-place form FFTW accepts, and a prime.
TEST(Accuracy, Interleaved) {
  std::vector<Call> rows;
  for (std::uint64_t n : {1, 2, 3, 4, 17, 1009}) {
    const bool single = n % 2 == 1;
    rows.push_back(
        {Family::Interleaved1D, single, c2c, 1, n, n, 3, 1, 1, n % 3 ? kFwd : kInv, n % 2 ? kInPlace : 0u});
    rows.push_back({Family::Interleaved1D, !single, r2c, 1, n, n, 1 + n % 3, 1, 1, kFwd, kFullEmbed});
    rows.push_back({Family::Interleaved1D, single, r2c, 1, n, n, 1, 1, 1, kFwd, kFullEmbed | kInPlace});
    rows.push_back({Family::Interleaved1D, !single, c2r, 1, n, n, 2, 1, 1, kInv, n % 2 ? kFullEmbed : 0u});
    rows.push_back({Family::Interleaved1D, single, c2r, 1, n, n, 1, 1, 1, kInv, kInPlace});
  }
  rows.push_back({Family::Interleaved1D, D, c2c, 1, 0, 0, 5, 1, 1, kFwd, kKeepingCache});  // nothing to do
  rows.push_back({Family::Interleaved1D, D, c2c, 1, 5, 5, 0, 1, 1, kFwd, 0});
  for (const auto& [n0, n1] :
       {std::pair<std::uint64_t, std::uint64_t>{1, 6}, {4, 3}, {7, 5}, {16, 9}, {5, 0}, {0, 5}}) {
    rows.push_back(
        {Family::Interleaved2D, n1 % 2 == 0, c2c, 1, n0, n0, n1, 1, 1, kInv, n0 % 2 ? kInPlace : 0u});
    rows.push_back({Family::Interleaved2D, n1 % 2 == 1, r2c, 1, n0, n0, n1, 1, 1, kFwd, kFullEmbed});
    rows.push_back(
        {Family::Interleaved2D, n1 % 2 == 0, c2r, 1, n0, n0, n1, 1, 1, kInv, n0 % 2 ? kFullEmbed : 0u});
  }
  expectAllPass(rows);
}

// Tails after whole chunks (5 x 7, 9 x 6 x 13), the chunk or the single plan alone (4 x 4, 3 x 3), a
// later dimension of stride 1 ({1, 8}), scaling rows of 16 KiB or more (2100, 1024 complex). Without a
// context vectors run in pairs through complex FFTs: real ones two columns (even strides) or two vectors
// (stride 1), a real vector left over (odd stride or count) with itself, complex ones their own parts;
// at odd and even n, 1 and 2; leading dimensions block by block where the array outgrows a block
// (16 x 16 x 260).
TEST(Accuracy, DctND) {
  const std::vector<std::uint64_t> shapes[] = {
      {7},    {1},        {5, 7}, {4, 4},    {3, 3},       {1, 8}, {9, 6, 13}, {2, 3, 1, 5}, {3, 1, 4, 2},
      {1, 1}, {16, 5, 3}, {6, 1}, {2100, 3}, {1024, 2, 3}, {2, 4}, {8, 2},     {16, 16, 260}};
  std::vector<Call> rows;
  for (std::size_t i = 0; i < std::size(shapes); ++i) {
    for (int inverse : {0, 1}) {
      const unsigned flags =
          (i % 2 ? kOrthonormal : 0u) | (i % 3 == 1 ? kInPlace : 0u) | ((i + inverse) % 2 ? kComplex : 0u);
      rows.push_back({Family::ND, (i + inverse) % 3 == 0, inverse, 1, 0, 0, 0, 1, 4, 0, flags, shapes[i]});
    }
  }
  // With a context and a host cache: pooled dimensions (256 x 96), measured plans, a refused plan, the
  // same extent twice sharing plans, chunk 3; the orthonormal divisions on both sides of the half-length
  // road (even extents from 16).
  const unsigned keep = kKeepingCache, orthoComplex = kOrthonormal | kComplex;
  const Call hosted[] = {
      {Family::ND, D, 0, 1, 0, 0, 0, 2, 4, 0, keep | kOrthonormal, {256, 96}},
      {Family::ND, F, 1, 1, 0, 0, 0, 2, 4, 0, keep | kComplex, {256, 96}},
      {Family::ND, D, 1, 1, 0, 0, 0, 2, 4, 0, keep | kMeasure | orthoComplex, {16, 5, 18}},
      {Family::ND, F, 0, 1, 0, 0, 0, 1, 3, 0, kRefusingCache | kInPlace | kOrthonormal, {9, 7}},
  };
  rows.insert(rows.end(), std::begin(hosted), std::end(hosted));
  expectAllPass(rows);
}

// Direct and pooled, contiguous and strided runs of each family; interleaved calls measure, so that
// planning needs scratch (wisdom is forgotten before every attempt).
// clang-format off
const Call kSweep[] = {
    {.kind = c2c, .n = 16, .numVectors = 10, .sign = kInv},
    {.single = F, .kind = r2c, .stride = 6, .n = 16, .inputLength = 14, .numVectors = 12},
    {.kind = c2r, .n = 256, .numVectors = 400, .threads = 2, .sign = kInv},
    {.single = F, .kind = c2c, .stride = 40, .n = 256, .numVectors = 400, .threads = 2},
    {.family = Family::NoCopy, .kind = c2c, .n = 16, .numVectors = 10, .sign = kInv, .flags = kKeepingCache},
    {.family = Family::NoCopy, .single = F, .kind = r2c, .n = 256, .numVectors = 400, .threads = 2},
    {.family = Family::DCST, .kind = 3, .stride = 5, .n = 16, .numVectors = 20, .sign = 1,
     .flags = kRefusingCache},
    {.family = Family::DCST, .single = F, .kind = 5, .n = 8, .numVectors = 4000, .threads = 2, .sign = 1,
     .flags = kComplex},
    {.family = Family::ND, .kind = 0, .sign = 0, .flags = kOrthonormal, .dims = {9, 6, 13}},
    {.family = Family::ND, .single = F, .kind = 1, .sign = 0, .flags = kComplex, .dims = {64, 3, 5}},
    {.family = Family::Interleaved1D, .single = F, .kind = r2c, .n = 64, .numVectors = 3, .chunk = 1,
     .flags = kFullEmbed | kMeasure},
    {.family = Family::Interleaved1D, .kind = c2c, .n = 30, .numVectors = 2, .chunk = 1, .sign = kInv,
     .flags = kMeasure | kShiftIn},
    {.family = Family::Interleaved2D, .kind = c2r, .n = 16, .numVectors = 12, .chunk = 1, .sign = kInv,
     .flags = kMeasure},
};
// clang-format on

// For k = 0, 1, ... until nothing is left to fail: with its k-th allocation failed a call succeeds or
// throws out_of_memory ("FFTW:nomem"), leaks no block, leaves the planner lock free, and runs once more.
TEST(Failures, EveryAllocationFailedOnce) {
  std::map<std::string, long> injected;
  for (const Call& call : kSweep) {
    SCOPED_TRACE(describe(call));
    for (long k = 0;; ++k) {
      fftw_forget_wisdom();
      fftwf_forget_wisdom();
      const long live = liveScratchBlocks();
      Outcome outcome;
      long failures = 0;
      endAfter(20, describe(call) + ", allocation " + std::to_string(k));
      {
        FailAllocations failing(k, 1);
        outcome = runCall(call);
        failures = failing.failures();
      }
      if (outcome.error != "FFTW:nomem") {
        EXPECT_EQ(outcome.error, "") << "allocation " << k;
      }
      EXPECT_EQ(outcome.failure, "") << "allocation " << k;
      EXPECT_EQ(liveScratchBlocks(), live) << "allocation " << k;
      ASSERT_TRUE(plannerLockFree()) << "allocation " << k;
      const Outcome again = runCall(call);
      alarm(0);
      EXPECT_EQ(again.error + again.failure, "") << "after allocation " << k;
      if (failures == 0) break;
      injected[describe(call).substr(0, describe(call).find(' '))] += failures;
    }
  }
  for (const auto& [family, count] : injected) std::cout << family << ": " << count << " injected failures\n";
}

// A host cache that throws on its n-th lookup and refuses all plans: the run must destroy its own.
struct ThrowingCache : CountingFFTCache<double, c2c> {
  explicit ThrowingCache(int failingLookup) : CountingCache(false), failingLookup(failingLookup) {}
  Plan lookupPlan(const tessel_fft::fftwPlanKey& key) override {
    if (++seen == failingLookup) throw std::runtime_error("host cache failure");
    return CountingCache::lookupPlan(key);
  }
  int failingLookup, seen = 0;
};

// The first or second plan of a direct and a pooled run fails: the text comes through, nothing stays.
TEST(Failures, ThrowingCacheLeavesNothingBehind) {
  for (const std::uint64_t threads : {1, 2}) {
    for (int failingLookup : {1, 2}) {
      const fftwContext context(threads, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
      const std::uint64_t stride = threads == 1 ? 6 : 1, n = 256, numVectors = 12 * (threads == 1 ? 1 : 40);
      const std::vector<std::complex<double>> in(n * numVectors, {0.5, 0.25});
      std::vector<std::complex<double>> out(in.size(), {1, 1});
      const long live = liveScratchBlocks();
      ThrowingCache cache(failingLookup);
      const auto call = [&] {
        tessel_fft::quillFFT1D<double, c2c>(context, &cache, in.data(), out.data(), stride, n, n, numVectors,
                                            kInv);
      };
      EXPECT_EQ(errorText(call), "untyped host cache failure");  // passed through as thrown
      EXPECT_EQ(liveScratchBlocks(), live);
      EXPECT_EQ(out, std::vector<std::complex<double>>(out.size(), {1, 1}));
    }
  }
}

// Problems FFTW has no plan for (DCT-I of one point; in-place r2c and c2r of one point, several vectors,
// 1-D or 2-D) end the call with FFTW's failure before anything runs; planning alone stays quiet.
TEST(RefusedPlan, EndsTheCallBeforeAnythingRuns) {
  const fftwContext direct(1, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  const fftwContext pooled(2, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  const std::vector<double> in(100000, 1.0);
  std::vector<double> out(in.size(), 7.0), data(8, 1.0);
  auto* pairs = reinterpret_cast<double(*)[2]>(data.data());
  const std::function<void()> refused[] = {
      [&] {
        tessel_fft::quillDCST1D<double, 0>(direct, nullptr, in.data(), out.data(), 1, 1, 1, 9, -1, false);
      },
      [&] {
        tessel_fft::quillDCST1D<double, 0>(pooled, nullptr, in.data(), out.data(), 1, 1, 1, in.size(), 1,
                                           true);
      },
      [&] { tessel_fft::interleavedFFT1D<double, 0>(direct, nullptr, data.data(), pairs, 1, 2, -1, false); },
      [&] { tessel_fft::interleavedFFT1D<double, 1>(direct, nullptr, pairs, data.data(), 1, 3, 1, false); },
      [&] { tessel_fft::interleavedFFT2D<double, 0>(direct, nullptr, data.data(), pairs, 1, 2, -1, false); },
      [&] { tessel_fft::interleavedFFT2D<double, 1>(direct, nullptr, pairs, data.data(), 1, 2, 1, false); }};
  for (const auto& call : refused) EXPECT_EQ(tessel_test::errorText(call), "FFTWAssertionFailure");
  EXPECT_EQ(out, std::vector<double>(in.size(), 7.0));
  EXPECT_EQ(tessel_test::errorText([&] {
              tessel_fft::interleavedFFT1D<double, 0>(direct, nullptr, data.data(), pairs, 1, 2, -1, true);
            }),
            "");
}

// A valid call drawn from `seed`: mostly small, sometimes long, primes and 1, every accepted layout.
Call randomCall(unsigned seed) {
  std::mt19937 rng(seed);
  const auto below = [&](std::uint64_t bound) { return bound == 0 ? 0 : rng() % bound; };
  const auto chance = [&](unsigned oneIn) { return below(oneIn) == 0; };
  const auto pick = [&](std::initializer_list<std::uint64_t> values) {
    return values.begin()[below(values.size())];
  };
  Call c{static_cast<Family>(below(6)), chance(2), 0, 1, 0, 0, 0, 1 + below(4), 1 + below(5), 0, 0};
  c.seed = seed;
  const std::uint64_t n = below(10) < 7   ? 1 + below(40)
                          : below(3) != 0 ? pick({64, 97, 128, 257, 509, 1009, 1536})
                                          : pick({4096, 8192, 8193, 65535, 65536});
  // Measuring costs tens of milliseconds beyond short lengths: the tables hold those rows.
  const bool cheapToMeasure = n <= 128;
  if (chance(4)) c.flags |= kShiftIn;
  if (chance(4)) c.flags |= kShiftOut;
  c.flags |= pick({0, kKeepingCache, kRefusingCache});
  if (cheapToMeasure && chance(6)) c.flags |= kMeasure;
  if ((cheapToMeasure || n > 8192) && chance(6)) c.flags |= kHybrid;
  switch (c.family) {
    case Family::Quill:
    case Family::NoCopy:
    case Family::DCST: {
      c.kind = static_cast<int>(c.family == Family::DCST ? below(8) : below(3));
      if (c.family == Family::DCST && c.kind == 0 && n == 1) c.kind = 1;  // DCT-I needs two points
      c.n = n;
      c.stride = pick({1, 1, 1, 2, 3, 4, 5, 6, 8, 12, 37});
      c.inputLength = chance(2) ? n : below(2 * n + 2);
      c.numVectors = below(std::max<std::uint64_t>(2, (std::uint64_t{1} << 16) / n));
      if (n > 4096) c.numVectors = 1 + below(2);
      c.sign = c.family == Family::DCST ? static_cast<int>(below(3)) - 1
               : chance(2)              ? FFTW_FORWARD
                                        : FFTW_BACKWARD;
      if (c.family == Family::DCST && chance(2)) c.flags |= kComplex;
      const bool sameShape = c.inputLength == n && (c.family == Family::DCST || c.kind == c2c);
      if (c.family != Family::NoCopy && sameShape && chance(5)) c.flags |= kInPlace;
      break;
    }
    case Family::Interleaved1D:
    case Family::Interleaved2D: {
      c.kind = static_cast<int>(below(3));
      const bool twoD = c.family == Family::Interleaved2D;
      c.n = twoD ? 1 + below(24) : n;
      c.numVectors = twoD ? 1 + below(12) : n > 4096 ? 1 : 1 + below(4);
      c.inputLength = c.n;
      c.threads = 1 + below(2);
      c.sign = chance(2) ? FFTW_FORWARD : FFTW_BACKWARD;
      // r2c completes rows n apart, so its rows must be full length; FFTW takes real kinds in place
      // for one 1-D vector only, and planning in place may measure on the data itself.
      if (c.kind == r2c || (c.kind == c2r && chance(2))) c.flags |= kFullEmbed;
      const bool realInPlace = !twoD && c.numVectors == 1 && (c.kind == r2c) == ((c.flags & kFullEmbed) != 0);
      const bool estimating = !(c.flags & kMeasure) && (!(c.flags & kHybrid) || c.n > 8192);
      if (estimating && (c.kind == c2c || realInPlace) && chance(4)) c.flags |= kInPlace;
      break;
    }
    case Family::ND: {
      c.kind = static_cast<int>(below(2));
      for (std::uint64_t rank = 1 + below(4), total = 1; rank > 0; --rank) {
        c.dims.push_back(1 + below(std::min<std::uint64_t>(16, 4096 / total)));
        total *= c.dims.back();
      }
      c.flags |= (chance(2) ? kComplex : 0u) | (chance(2) ? kOrthonormal : 0u) | (chance(4) ? kInPlace : 0u);
      break;
    }
  }
  return c;
}

void expectPasses(const Call& call, const Outcome& outcome) {
  EXPECT_EQ(outcome.error + outcome.failure, "")
      << "replay with TESSEL_SOAK_SEED=" << call.seed << ": " << describe(call);
}

unsigned environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : 0;
}

TEST(Soak, RandomCalls) {
  const unsigned replay = environment("TESSEL_SOAK_SEED");
  for (unsigned seed = replay ? replay : 1; seed <= (replay ? replay : 300); ++seed)
    expectPasses(randomCall(seed), runCall(randomCall(seed)));
}

// Rounds of fresh calls run alone (and checked), then by eight host threads in different orders
// through the same shared plan caches, each bit for bit as alone.
TEST(Soak, ConcurrentHostsMatchLoneRuns) {
  constexpr unsigned kCallsPerRound = 24, kHosts = 8;
  const auto budget = std::chrono::seconds(environment("TESSEL_SOAK_SECONDS"));
  const auto start = std::chrono::steady_clock::now();
  unsigned round = 0;
  for (; round == 0 || std::chrono::steady_clock::now() - start < budget; ++round) {
    CacheSet caches;
    std::vector<Call> calls;
    std::vector<Outcome> alone;
    for (unsigned i = 0; i < kCallsPerRound; ++i) {
      calls.push_back(randomCall(1000003 + round * kCallsPerRound + i));
      alone.push_back(runCall(calls.back(), &caches));
      expectPasses(calls.back(), alone.back());
    }
    std::atomic<unsigned> mismatches{0};
    std::vector<std::thread> hosts;
    for (unsigned host = 0; host < kHosts; ++host) {
      hosts.emplace_back([&, host] {
        for (unsigned i = 0; i < kCallsPerRound; ++i) {
          const unsigned which = (i * (2 * host + 1) + host) % kCallsPerRound;
          const Outcome shared = runCall(calls[which], &caches);
          if (shared.output != alone[which].output || shared.error != alone[which].error ||
              !shared.failure.empty()) {
            mismatches.fetch_add(1);
            std::cerr << "differs from its lone run, TESSEL_SOAK_SEED=" << calls[which].seed << ": "
                      << describe(calls[which]) << "\n";
          }
        }
      });
    }
    for (auto& host : hosts) host.join();
    ASSERT_EQ(mismatches.load(), 0u);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  if (budget.count() > 0)
    std::cout << "soak: " << round * kCallsPerRound << " calls alone, " << round * kCallsPerRound * kHosts
              << " shared, in " << took.count() << " s\n";
}

}  // namespace
