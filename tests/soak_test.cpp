// Seeded random valid calls across all families, each checked against the references; then the same
// calls from several host threads at once through one set of shared caches, bit for bit as run alone.
// TESSEL_SOAK_SECONDS=s keeps drawing new rounds for s seconds; TESSEL_SOAK_SEED=k replays call k.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <thread>
#include <vector>

#include "support/calls.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::r2c;
using namespace tessel_test;

// A valid call drawn from `seed`: small arrays mostly, sometimes long vectors, primes and 1, input
// longer and shorter than the transform, every layout the families accept.
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

std::uint64_t environment(const char* name, std::uint64_t fallback) {
  const char* value = std::getenv(name);
  return value != nullptr ? std::strtoull(value, nullptr, 10) : fallback;
}

TEST(Soak, RandomCalls) {
  const std::uint64_t replay = environment("TESSEL_SOAK_SEED", 0);
  if (replay != 0) {
    const Call call = randomCall(static_cast<unsigned>(replay));
    std::cout << describe(call) << "\n";
    return expectPasses(call, runCall(call));
  }
  for (unsigned seed = 1; seed <= 300; ++seed) expectPasses(randomCall(seed), runCall(randomCall(seed)));
}

// Rounds of fresh calls: each run alone first (and checked), then by several host threads at once in
// different orders through the same caches, each result compared bit for bit with the lone run's.
TEST(Soak, ConcurrentHostsMatchLoneRuns) {
  constexpr unsigned kCallsPerRound = 24, kHosts = 3;
  const auto budget = std::chrono::seconds(environment("TESSEL_SOAK_SECONDS", 0));
  const auto start = std::chrono::steady_clock::now();
  std::uint64_t loneCalls = 0, sharedCalls = 0;
  for (unsigned round = 0; round == 0 || std::chrono::steady_clock::now() - start < budget; ++round) {
    CacheSet caches;
    std::vector<Call> calls;
    std::vector<Outcome> alone;
    for (unsigned i = 0; i < kCallsPerRound; ++i) {
      calls.push_back(randomCall(1000003 + round * kCallsPerRound + i));
      alone.push_back(runCall(calls.back(), &caches));
      expectPasses(calls.back(), alone.back());
    }
    loneCalls += kCallsPerRound;
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
    sharedCalls += kHosts * kCallsPerRound;
    ASSERT_EQ(mismatches.load(), 0u);
  }
  if (budget.count() > 0)
    std::cout
        << "soak: " << loneCalls << " calls alone, " << sharedCalls << " shared, in "
        << std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count()
        << " s\n";
}

}  // namespace
