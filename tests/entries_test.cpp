// Every entry family through the call model: against the long-double references on tables of chosen
// calls (each row there for a branch, a limit or a layout; kinds and precisions rotate across rows
// instead of multiplying them), then with each allocation failed in turn, and with a throwing cache.

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/allocation_control.hpp"
#include "support/calls.hpp"
#include "support/counting_cache.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
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

// Rows of quillFFT1D; each also runs through quillFFT1DNoCopy, which falls back to the copying driver
// for strided or misaligned output and for vectors that don't all share the first one's alignment.
TEST(Accuracy, BatchedFFT) {
  std::vector<Call> rows = {
      {Family::Quill, F, c2c, 1, 16, 16, 10, 1, 4, kFwd, 0},     // stride 1: chunks and a tail
      {Family::Quill, D, r2c, 1, 13, 9, 6, 1, 4, kInv, 0},       // prime, padded, r2c scaled too
      {Family::Quill, F, c2r, 1, 12, 20, 5, 1, 4, kInv, 0},      // truncated to n/2+1
      {Family::Quill, D, c2r, 1, 8, 5, 9, 1, 4, kInv, 0},        // c2r input of exactly n/2+1
      {Family::Quill, F, r2c, 3, 10, 10, 9, 1, 4, kFwd, 0},      // chunk above stride: tails only
      {Family::Quill, F, c2c, 4, 16, 16, 6, 1, 4, kFwd, 0},      // partial last block, stride % chunk 0
      {Family::Quill, F, c2r, 6, 12, 12, 9, 1, 3, kFwd, 0},      // partial last block, chunk 3
      {Family::Quill, D, c2c, 4, 64, 64, 606, 2, 4, kFwd, 0},    // pooled, partial last block
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
      {Family::Quill, D, c2c, 1, 16, 16, 8, 1, 4, kFwd, kInPlace},
      {Family::Quill, F, c2c, 33, 64, 64, 231, 4, 4, kInv, kInPlace},  // pooled, strided, in place
      {Family::Quill, D, c2c, 1, 65536, 65536, 1, 4, 4, kInv, 0},      // FFTW's own threads
      {Family::Quill, F, c2r, 1, 65535, 65535, 1, 4, 4, kInv, 0},      // one below: one thread
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
  struct Shape {
    std::uint64_t stride, n, inputLength, numVectors, threads, chunk;
    int direction;
    unsigned flags;
  };
  const Shape shapes[] = {
      {1, 13, 9, 6, 1, 4, 1, kComplex},      // padded complex
      {1, 12, 20, 7, 1, 4, -1, kComplex},    // truncated complex: submatrix load
      {7, 9, 6, 21, 1, 4, -1, 0},            // three tails a block
      {6, 5, 5, 12, 1, 1, 1, kComplex},      // chunk 1 on complex data
      {1, 6, 4, 5, 1, 1, 0, 0},              // direction 0: no division
      {6, 14, 14, 18, 1, 3, 1, kInPlace},    // in place, strided
      {3, 97, 97, 6, 1, 4, -1, kComplex},    // prime
      {9, 2, 3, 18, 1, 4, 1, 0},             // n 2
      {3, 9, 0, 6, 1, 4, 1, kComplex},       // input length 0
      {4, 16, 16, 6, 1, 4, -1, 0},           // partial last block, stride % chunk 0
      {8, 16, 16, 13, 1, 4, -1, kComplex},   // partial last block above a chunk
      {12, 64, 64, 1003, 2, 3, -1, 0},       // pooled, partial last block
      {6, 4, 3, 8400, 2, 4, 1, kComplex},    // pooled, strided complex
      {1, 5, 7, 7000, 4, 4, -1, kComplex},   // pooled, truncated complex
      {12, 6, 6, 6000, 2, 4, -1, kInPlace},  // pooled in place
      {1, 400, 400, 31, 2, 4, 1, kComplex},  // pooled, one or two vectors a task
      {1, 1100, 1100, 8, 4, 4, 1, 0},        // direct, parallel end step
      {1, 65536, 65536, 1, 4, 4, 1, 0},      // FFTW's own threads
      {12, 257, 257, 96, 2, 4, 1, kComplex | kShiftIn | kShiftOut},
      {1, 33, 33, 5, 1, 4, 1, kMeasure | kKeepingCache},
  };
  std::vector<Call> rows;
  for (std::size_t i = 0; i < std::size(shapes); ++i) {
    const Shape& s = shapes[i];
    // DCT-I is undefined for one point (and, with n 2 too, easily wrong): give those rows another kind.
    const int kind = static_cast<int>(i % 8) == 0 && s.n <= 2 ? 1 : static_cast<int>(i % 8);
    rows.push_back({Family::DCST, i % 2 == 1, kind, s.stride, s.n, s.inputLength, s.numVectors, s.threads,
                    s.chunk, s.direction, s.flags});
  }
  rows.push_back({Family::DCST, F, 1, 3, 0, 7, 11, 1, 4, 1, kComplex});  // n 0: nothing touched
  for (int kind = 1; kind < 8; ++kind)
    rows.push_back({Family::DCST, kind % 2 == 0, kind, 4, 1, 2, 8, 1, 4, 1, 0});
  expectAllPass(rows);
}

// An inverse call divides the vectors themselves: for a batch ending inside a block they are not the first
// n * numVectors elements of the output.
TEST(Accuracy, PartialLastBlockInverse) {
  expectAllPass({{Family::Quill, F, c2r, 6, 12, 12, 9, 1, 3, kInv, 0},
                 {Family::NoCopy, D, c2c, 4, 64, 64, 606, 2, 4, kInv, 0},
                 {Family::DCST, F, 1, 8, 16, 16, 13, 1, 4, 1, kComplex},
                 {Family::DCST, D, 6, 12, 64, 64, 1003, 2, 3, 1, 0}});
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

// 5 x 7 and 9 x 6 x 13 leave a tail after whole chunks; 4 x 4 has the chunk plan alone, 3 x 3 the single
// plan alone; {1, 8} gives a later dimension stride 1; 2100 doubles and 1024 complex doubles make rows of
// the scaling 16 KiB or more.
TEST(Accuracy, DctND) {
  const std::vector<std::uint64_t> shapes[] = {{7},        {1},        {5, 7},       {4, 4},       {3, 3},
                                               {1, 8},     {9, 6, 13}, {2, 3, 1, 5}, {3, 1, 4, 2}, {1, 1},
                                               {16, 5, 3}, {6, 1},     {2100, 3},    {1024, 2, 3}};
  std::vector<Call> rows;
  for (std::size_t i = 0; i < std::size(shapes); ++i) {
    for (int inverse : {0, 1}) {
      const unsigned flags =
          (i % 2 ? kOrthonormal : 0u) | (i % 3 == 1 ? kInPlace : 0u) | ((i + inverse) % 2 ? kComplex : 0u);
      rows.push_back({Family::ND, (i + inverse) % 3 == 0, inverse, 1, 0, 0, 0, 1, 4, 0, flags, shapes[i]});
    }
  }
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

// For k = 0, 1, ...: the call with its k-th allocation failed either succeeds with the right result or
// throws "FFTW:nomem", leaks no block, and the call succeeds once more (so the planner's lock is free);
// until a call runs with no allocation left to fail.
TEST(Failures, EveryAllocationFailedOnce) {
  const char* const names[] = {"quillFFT1D",       "quillFFT1DNoCopy", "quillDCST1D",
                               "interleavedFFT1D", "interleavedFFT2D", "dctIIND/idctIIND"};
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
      injected[names[static_cast<int>(call.family)]] += failures;
    }
  }
  for (const auto& [family, count] : injected) std::cout << family << ": " << count << " injected failures\n";
}

// A cache that throws on its n-th lookup, as a host's might when its own storage fails; it refuses all
// plans, so the run owns and must destroy the ones made before (the leak checker sees any it doesn't).
class ThrowingCache : public CountingFFTCache<double, c2c> {
 public:
  explicit ThrowingCache(int failingLookup) : CountingCache(false), failingLookup_(failingLookup) {}
  Plan lookupPlan(const tessel_fft::fftwPlanKey& key) override {
    if (++seen_ == failingLookup_) throw std::runtime_error("host cache failure");
    return CountingCache::lookupPlan(key);
  }

 private:
  int failingLookup_, seen_ = 0;
};

// The first or the second plan of a direct and a pooled run fails: the text comes through, no block is
// left, and nothing was written.
TEST(Failures, ThrowingCacheLeavesNothingBehind) {
  for (const std::uint64_t threads : {1, 2}) {
    for (int failingLookup : {1, 2}) {
      const tessel_fft::fftwContext context(threads, FFTW_ESTIMATE, tessel_fft::fftwContext::EMBED_COMPACT,
                                            false);
      const std::uint64_t stride = threads == 1 ? 6 : 1, n = 256, numVectors = 12 * (threads == 1 ? 1 : 40);
      const std::vector<std::complex<double>> in(n * numVectors, {0.5, 0.25});
      std::vector<std::complex<double>> out(in.size(), {1, 1});
      const long live = liveScratchBlocks();
      ThrowingCache cache(failingLookup);
      EXPECT_EQ(errorText([&] {
                  tessel_fft::quillFFT1D<double, c2c>(context, &cache, in.data(), out.data(), stride, n, n,
                                                      numVectors, kInv);
                }),
                "host cache failure");
      EXPECT_EQ(liveScratchBlocks(), live);
      EXPECT_EQ(out, std::vector<std::complex<double>>(out.size(), {1, 1}));
    }
  }
}

}  // namespace
