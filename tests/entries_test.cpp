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

// Rows of quillFFT1D, each also through quillFFT1DNoCopy (which falls back to copying for strided or
// misaligned output). Partial last blocks run inverse: the division must reach all their vectors.
TEST(Accuracy, BatchedFFT) {
  std::vector<Call> rows = {
      {Family::Quill, F, c2c, 1, 16, 16, 10, 1, 4, kFwd, 0},     // stride 1: chunks and a tail
      {Family::Quill, D, r2c, 1, 13, 9, 6, 1, 4, kInv, 0},       // prime, padded, r2c scaled too
      {Family::Quill, F, c2r, 1, 12, 20, 5, 1, 4, kInv, 0},      // truncated to n/2+1
      {Family::Quill, D, c2r, 1, 8, 5, 9, 1, 4, kInv, 0},        // c2r input of exactly n/2+1
      {Family::Quill, F, r2c, 3, 10, 10, 9, 1, 4, kFwd, 0},      // chunk above stride: tails only
      {Family::Quill, F, c2c, 4, 16, 16, 6, 1, 4, kInv, 0},      // partial last block, stride % chunk 0
      {Family::Quill, F, c2r, 6, 12, 12, 9, 1, 3, kInv, 0},      // partial last block, chunk 3
      {Family::Quill, D, c2c, 4, 64, 64, 606, 2, 4, kInv, 0},    // pooled, partial last block
      {Family::Quill, F, r2c, 12, 64, 64, 1003, 2, 3, kFwd, 0},  // pooled, partial, chunk 3
      {Family::Quill, D, c2r, 1, 64, 64, 300, 4, 4, kInv, 0},    // pooled, stride 1
      {Family::Quill, F, c2c, 37, 64, 60, 333, 4, 3, kFwd, 0},   // pooled, strided, padded, chunk 3
      {Family::Quill, D, r2c, 1, 96, 90, 301, 2, 1, kFwd, 0},    // pooled, chunk 1
      {Family::Quill, F, c2c, 1, 4096, 4096, 2, 4, 4, kInv, 0},  // pooled below a chunk: single plan
      {Family::Quill, F, c2r, 1, 64, 64, 300, 2, 4, kFwd, kShiftIn | kShiftOut},  // misaligned, pooled
      {Family::Quill, D, c2c, 1, 64, 64, 1, 1, 4, kFwd, kShiftOut},               // misaligned single
      {Family::Quill, F, c2r, 1, 6, 6, 2, 1, 4, kInv, 0},         // rows 24 bytes apart: no-copy falls back
      {Family::Quill, F, c2r, 1, 6, 6, 1, 1, 4, kInv, 0},         // one row: stays no-copy
      {Family::Quill, D, c2c, 1, 7, 7, 5, 1, 4, kFwd, 0},         // odd n of complex<double>: no-copy
      {Family::Quill, D, c2c, 1, 8, 0, 6, 1, 4, kInv, 0},         // input length 0: zeros transformed
      {Family::Quill, F, c2c, 6, 8, 8, 0, 1, 4, kInv, kMeasure},  // no vectors, measured chunk plan
      {Family::Quill, D, r2c, 0, 8, 8, 0, 1, 4, kFwd, 0},         // empty leading extent: stride 0
      {Family::Quill, D, c2c, 1, 0, 8, 8, 4, 4, kInv, 0},         // n 0: nothing touched
      {Family::Quill, D, c2c, 1, 16, 16, 8, 1, 4, kFwd, kInPlace | kMeasure},  // plans measured on scratch
      {Family::Quill, F, c2c, 33, 64, 64, 231, 4, 4, kInv, kInPlace},          // pooled, strided, in place
      {Family::Quill, D, c2c, 1, 65536, 65536, 1, 4, 4, kInv, 0},              // FFTW's own threads
      {Family::Quill, F, c2r, 1, 65535, 65535, 1, 4, 4, kInv, 0},              // one below: one thread
      {Family::Quill, F, r2c, 1, 8192, 8192, 2, 1, 4, kFwd, kHybrid | kKeepingCache},
  };
  const std::size_t copying = rows.size();
  for (std::size_t i = 0; i < copying; ++i) {
    if (rows[i].flags & kInPlace) continue;
    rows.push_back(rows[i]);
    rows.back().family = Family::NoCopy;
  }
  expectAllPass(rows);
}

// The loops don't depend on the kind, so kinds rotate across the rows.
TEST(Accuracy, DCST) {
  std::vector<Call> rows = {
      {Family::DCST, D, 0, 1, 13, 9, 6, 1, 4, 1, kComplex},      // padded complex
      {Family::DCST, F, 1, 1, 12, 20, 7, 1, 4, -1, kComplex},    // truncated complex: submatrix load
      {Family::DCST, D, 2, 7, 9, 6, 21, 1, 4, -1, 0},            // three tails a block
      {Family::DCST, F, 3, 6, 5, 5, 12, 1, 1, 1, kComplex},      // chunk 1 on complex data
      {Family::DCST, D, 4, 1, 6, 4, 5, 1, 1, 0, 0},              // direction 0: no division
      {Family::DCST, F, 5, 6, 14, 14, 18, 1, 3, 1, kInPlace},    // in place, strided
      {Family::DCST, D, 6, 3, 97, 97, 6, 1, 4, -1, kComplex},    // prime
      {Family::DCST, F, 7, 9, 2, 3, 18, 1, 4, 1, 0},             // n 2
      {Family::DCST, D, 0, 3, 9, 0, 6, 1, 4, 1, kComplex},       // input length 0
      {Family::DCST, F, 1, 4, 16, 16, 6, 1, 4, -1, 0},           // partial last block, stride % chunk 0
      {Family::DCST, D, 2, 8, 16, 16, 13, 1, 4, 1, kComplex},    // partial last block above a chunk
      {Family::DCST, F, 3, 12, 64, 64, 1003, 2, 3, 1, 0},        // pooled, partial last block
      {Family::DCST, D, 4, 6, 4, 3, 8400, 2, 4, 1, kComplex},    // pooled, strided complex
      {Family::DCST, F, 5, 1, 5, 7, 7000, 4, 4, -1, kComplex},   // pooled, truncated complex
      {Family::DCST, D, 6, 12, 6, 6, 6000, 2, 4, -1, kInPlace},  // pooled in place
      {Family::DCST, F, 7, 1, 24, 24, 9, 1, 4, 1, kInPlace | kMeasure},  // plans measured on scratch
      {Family::DCST, F, 7, 1, 400, 400, 31, 2, 4, 1, kComplex},          // pooled, one or two vectors a task
      {Family::DCST, D, 0, 1, 1100, 1100, 8, 4, 4, 1, 0},                // direct, parallel end step
      {Family::DCST, F, 1, 1, 65536, 65536, 1, 4, 4, 1, 0},              // FFTW's own threads
      {Family::DCST, D, 2, 12, 257, 257, 96, 2, 4, 1, kComplex | kShiftIn | kShiftOut},
      {Family::DCST, F, 3, 1, 33, 33, 5, 1, 4, 1, kMeasure | kKeepingCache},
      {Family::DCST, F, 1, 3, 0, 7, 11, 1, 4, 1, kComplex},  // n 0: nothing touched
  };
  // DCT-I is undefined for one point; every other kind at n 1.
  for (int kind = 1; kind < 8; ++kind)
    rows.push_back({Family::DCST, kind % 2 == 0, kind, 4, 1, 2, 8, 1, 4, 1, 0});
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
  // same extent twice sharing plans, chunk 3.
  const unsigned keep = kKeepingCache, orthoComplex = kOrthonormal | kComplex;
  const Call hosted[] = {
      {Family::ND, D, 0, 1, 0, 0, 0, 2, 4, 0, keep | kOrthonormal, {256, 96}},
      {Family::ND, F, 1, 1, 0, 0, 0, 2, 4, 0, keep | kComplex, {256, 96}},
      {Family::ND, D, 1, 1, 0, 0, 0, 2, 4, 0, keep | kMeasure | orthoComplex, {12, 5, 12}},
      {Family::ND, F, 0, 1, 0, 0, 0, 1, 3, 0, kRefusingCache | kInPlace | kOrthonormal, {9, 7}},
  };
  rows.insert(rows.end(), std::begin(hosted), std::end(hosted));
  expectAllPass(rows);
}

// Direct and pooled, contiguous and strided runs of each family; interleaved calls measure, so that
// planning needs scratch (wisdom is forgotten before every attempt).
const Call kSweep[] = {
    {Family::Quill, D, c2c, 1, 16, 16, 10, 1, 4, kInv, 0},
    {Family::Quill, F, r2c, 6, 16, 14, 12, 1, 4, kFwd, 0},
    {Family::Quill, D, c2r, 1, 256, 256, 400, 2, 4, kInv, 0},
    {Family::Quill, F, c2c, 40, 256, 256, 400, 2, 4, kFwd, 0},
    {Family::NoCopy, D, c2c, 1, 16, 16, 10, 1, 4, kInv, kKeepingCache},
    {Family::NoCopy, F, r2c, 1, 256, 256, 400, 2, 4, kFwd, 0},
    {Family::DCST, D, 3, 5, 16, 16, 20, 1, 4, 1, kRefusingCache},
    {Family::DCST, F, 5, 1, 8, 8, 4000, 2, 4, 1, kComplex},
    {Family::ND, D, 0, 1, 0, 0, 0, 1, 4, 0, kOrthonormal, {9, 6, 13}},
    {Family::ND, F, 1, 1, 0, 0, 0, 1, 4, 0, kComplex, {64, 3, 5}},
    {Family::Interleaved1D, F, r2c, 1, 64, 64, 3, 1, 1, kFwd, kFullEmbed | kMeasure},
    {Family::Interleaved1D, D, c2c, 1, 30, 30, 2, 1, 1, kInv, kMeasure | kShiftIn},
    {Family::Interleaved2D, D, c2r, 1, 16, 16, 12, 1, 1, kInv, kMeasure},
};

// For k = 0, 1, ... until nothing is left to fail: with its k-th allocation failed a call succeeds or
// throws "FFTW:nomem", leaks no block, and runs once more (so the planner's lock is free).
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
      // The call plans afresh (a private cache, no wisdom): a lock left taken would spin here for ever.
      const Outcome again = runCall(call);
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
