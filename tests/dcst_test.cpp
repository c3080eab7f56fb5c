// quillDCST1D against the long-double definitions of FFTW's eight r2r kinds, over precision, kind,
// stride, length, padding, threads, chunk size and complex data; round trips with the inverse kinds;
// plan keys and ownership through a host cache.

#include "tessel_fft/dcst.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <utility>
#include <vector>

#include "dcst/dcst_planner.hpp"
#include "support/counting_cache.hpp"
#include "support/reference.hpp"

namespace {

using tessel_fft::fftwContext;
using tessel_fft::fftwPlanKey;

// One call's shape. Vectors are counted in array elements; a complex element is two T.
struct Layout {
  std::uint64_t stride, n, inputLength, numVectors, threads, chunk;
  bool isComplex;
  int direction;
  bool inPlace;
};

std::ostream& operator<<(std::ostream& os, const Layout& l) {
  return os << "stride" << l.stride << "_n" << l.n << "_in" << l.inputLength << "_v" << l.numVectors << "_t"
            << l.threads << "_c" << l.chunk << (l.isComplex ? "_complex" : "_real") << "_dir" << l.direction
            << (l.inPlace ? "_inplace" : "");
}

std::uint64_t blocksOf(const Layout& l) { return (l.numVectors + l.stride - 1) / l.stride; }
std::uint64_t widthOf(const Layout& l) { return l.isComplex ? 2 : 1; }
std::uint64_t inputSize(const Layout& l) { return blocksOf(l) * l.stride * l.inputLength * widthOf(l); }
std::uint64_t outputSize(const Layout& l) { return blocksOf(l) * l.stride * l.n * widthOf(l); }

fftwContext contextFor(const Layout& l) {
  fftwContext context;
  context.setNumThreads(l.threads);
  context.setChunkSize(l.chunk);
  return context;
}

// quillDCST1D<T, kind> for a kind known only at run time.
template <typename T, int... Kinds>
void callKind(std::integer_sequence<int, Kinds...>, int kind, const fftwContext& context, const T* in, T* out,
              const Layout& l, int direction) {
  ((kind == Kinds ? tessel_fft::quillDCST1D<T, Kinds>(context, nullptr, in, out, l.stride, l.n, l.inputLength,
                                                      l.numVectors, direction, l.isComplex)
                  : void()),
   ...);
}

template <typename T>
void runKind(int kind, const fftwContext& context, const T* in, T* out, const Layout& l, int direction) {
  callKind<T>(std::make_integer_sequence<int, 8>(), kind, context, in, out, l, direction);
}

// The expected output array, vector by vector from the definitions: each component of each vector,
// cut or zero padded to n, transformed, divided by the kind's logical size for direction 1.
template <typename T>
std::vector<long double> referenceOutput(const std::vector<T>& input, const Layout& l, int kind,
                                         int direction) {
  const std::uint64_t width = widthOf(l);
  std::vector<long double> expected(outputSize(l), 0.0L);
  const long double divisor =
      direction == 1 ? static_cast<long double>(tessel_test::r2rLogicalSize(kind, l.n)) : 1;
  for (std::uint64_t v = 0; v < l.numVectors; ++v) {
    const std::uint64_t block = v / l.stride, column = v % l.stride;
    for (std::uint64_t part = 0; part < width; ++part) {
      std::vector<long double> x(l.n, 0.0L);
      for (std::uint64_t i = 0; i < std::min(l.n, l.inputLength); ++i) {
        x[i] = input[width * (block * l.stride * l.inputLength + column + i * l.stride) + part];
      }
      const std::vector<long double> y = tessel_test::naiveR2R(x, kind);
      for (std::uint64_t i = 0; i < l.n; ++i) {
        expected[width * (block * l.stride * l.n + column + i * l.stride) + part] = y[i] / divisor;
      }
    }
  }
  return expected;
}

template <typename T>
void checkAgainstReference(int kind, const Layout& l) {
  const std::vector<T> input = tessel_test::randomReals<T>(inputSize(l), 17 + kind);
  std::vector<T> result(outputSize(l), T(3));
  if (l.inPlace) {
    result = input;
    runKind<T>(kind, contextFor(l), result.data(), result.data(), l, l.direction);
  } else {
    runKind<T>(kind, contextFor(l), input.data(), result.data(), l, l.direction);
  }
  const auto expected = referenceOutput(input, l, kind, l.direction);
  EXPECT_LT(tessel_test::relativeError(result, expected), tessel_test::tolerance<T>(l.n))
      << "kind " << kind << " " << l;
}

// Chosen to reach every branch of the loops: chunks and tails at stride 1, strides that are and aren't
// multiples of the chunk, a chunk larger than the stride, chunk 1, padding and truncation, both
// directions, in place, a prime length, and batches of enough work for the pooled path (threads 2 or
// 4). Pooled batches use short vectors and many of them, which keeps the reference cheap.
const Layout kLayouts[] = {
    {1, 16, 16, 9, 1, 4, false, -1, false},  {1, 13, 9, 6, 1, 4, true, 1, false},
    {1, 12, 20, 5, 1, 4, false, 1, false},   {1, 12, 20, 7, 1, 4, true, -1, false},
    {1, 11, 11, 8, 1, 4, true, 1, false},    {8, 10, 10, 24, 1, 4, true, 1, false},
    {7, 9, 6, 21, 1, 4, false, -1, false},   {5, 17, 23, 15, 1, 4, true, -1, false},
    {3, 8, 8, 9, 1, 4, false, 1, false},     {6, 5, 5, 12, 1, 1, true, 1, false},
    {1, 6, 4, 5, 1, 1, false, 0, false},     {6, 14, 14, 18, 1, 3, false, 1, true},
    {1, 14, 14, 10, 1, 4, true, 1, true},    {3, 97, 97, 6, 1, 4, true, -1, false},
    {9, 2, 3, 18, 1, 4, false, 1, false},    {1, 8, 8, 4000, 2, 4, false, 1, false},
    {6, 4, 3, 8400, 2, 4, true, 1, false},   {1, 5, 7, 7000, 4, 4, true, -1, false},
    {12, 6, 6, 6000, 2, 4, false, -1, true},
};

class DCSTAccuracy : public ::testing::TestWithParam<std::tuple<bool, int, Layout>> {};

TEST_P(DCSTAccuracy, MatchesDefinition) {
  const auto [isDouble, kind, layout] = GetParam();
  if (isDouble) {
    checkAgainstReference<double>(kind, layout);
  } else {
    checkAgainstReference<float>(kind, layout);
  }
}

INSTANTIATE_TEST_SUITE_P(AllKinds, DCSTAccuracy,
                         ::testing::Combine(::testing::Bool(), ::testing::Range(0, 8),
                                            ::testing::ValuesIn(kLayouts)));

// Length 1 for the kinds defined there (DCT-I needs two points).
TEST(DCSTAccuracy, LengthOne) {
  for (int kind = 1; kind < 8; ++kind) {
    checkAgainstReference<double>(kind, {1, 1, 1, 6, 1, 4, false, 1, false});
    checkAgainstReference<float>(kind, {4, 1, 2, 8, 1, 4, true, -1, false});
  }
}

TEST(DCSTAccuracy, EmptyInputIsTransformOfZeros) {
  for (int kind = 0; kind < 8; ++kind)
    checkAgainstReference<double>(kind, {3, 9, 0, 6, 1, 4, true, 1, false});
}

// Each kind followed by its inverse kind with direction 1 gives back the input, also for one long
// vector that FFTW runs with its own threads, and for a pooled strided complex batch.
template <typename T>
void checkRoundTrip(int kind, const Layout& l) {
  const std::vector<T> input = tessel_test::randomReals<T>(inputSize(l), 5 + kind);
  std::vector<T> forward(outputSize(l)), back(outputSize(l));
  runKind<T>(kind, contextFor(l), input.data(), forward.data(), l, -1);
  runKind<T>(tessel_test::r2rInverseKind(kind), contextFor(l), forward.data(), back.data(), l, 1);
  EXPECT_LT(tessel_test::relativeError(back, input), 2 * tessel_test::tolerance<T>(l.n))
      << "kind " << kind << " " << l;
}

TEST(DCSTRoundTrip, EveryKindWithItsInverse) {
  const Layout layouts[] = {{1, 65536, 65536, 1, 4, 4, false, 0, false},
                            {12, 257, 257, 96, 2, 4, true, 0, false},
                            {1, 33, 33, 5, 1, 4, true, 0, false}};
  for (int kind = 0; kind < 8; ++kind) {
    for (const Layout& l : layouts) {
      checkRoundTrip<double>(kind, l);
      checkRoundTrip<float>(kind, l);
    }
  }
}

// A small contiguous batch of long vectors goes pooled with tasks of one or two vectors, which run
// the single plan only; the result agrees with the same batch run on the calling thread.
TEST(DCSTDriver, SmallPooledBatchAgreesWithDirectRun) {
  const Layout pooled{1, 400, 400, 31, 2, 4, true, 1, false};
  Layout direct = pooled;
  direct.threads = 1;
  const std::vector<double> input = tessel_test::randomReals<double>(inputSize(pooled), 9);
  for (int kind = 0; kind < 8; ++kind) {
    std::vector<double> fromTasks(outputSize(pooled)), fromLoop(outputSize(pooled));
    runKind<double>(kind, contextFor(pooled), input.data(), fromTasks.data(), pooled, -1);
    runKind<double>(kind, contextFor(direct), input.data(), fromLoop.data(), direct, -1);
    EXPECT_LT(tessel_test::relativeError(fromTasks, fromLoop), tessel_test::tolerance<double>(400)) << kind;
  }
}

TEST(DCSTDriver, ZeroLengthTouchesNothing) {
  std::vector<double> out(4, 5.0);
  tessel_fft::quillDCST1D<double, 0>(fftwContext(), nullptr, nullptr, out.data(), 3, 0, 7, 11, 1, true);
  EXPECT_EQ(out, std::vector<double>(4, 5.0));
}

// An empty strided batch still plans a chunk, measured here: the scratch must hold what the planner writes.
TEST(DCSTDriver, NoVectorsWritesNothing) {
  std::vector<float> out(4, 5.0f);
  const fftwContext measuring(1, FFTW_MEASURE, fftwContext::EMBED_COMPACT, false);
  tessel_fft::quillDCST1D<float, 3>(measuring, nullptr, out.data(), out.data(), 5, 8, 8, 0, 1, false);
  EXPECT_EQ(out, std::vector<float>(4, 5.0f));
}

TEST(DCSTDriver, CallerContextUnchanged) {
  fftwContext context(4, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  const std::vector<double> input = tessel_test::randomReals<double>(64 * 50, 3);
  std::vector<double> out(input.size());
  tessel_fft::quillDCST1D<double, 1>(context, nullptr, input.data(), out.data(), 1, 64, 64, 50, -1, false);
  EXPECT_EQ(context.getNumThreads(), 4u);
  EXPECT_EQ(context.getEmbedStyle(), fftwContext::EMBED_FULL_LENGTH);
  EXPECT_FALSE(context.mayOverwrite());
}

// Keys, requests and ownership through a host cache.
using Cache = tessel_test::CountingDCSTCache<double, 1>;

std::vector<std::uint64_t> requestedHowmany(const Cache& cache) {
  std::vector<std::uint64_t> sizes;
  for (const fftwPlanKey& key : cache.insertedKeys) sizes.push_back(key.size1);
  return sizes;
}

void runWithCache(Cache& cache, std::uint64_t stride, std::uint64_t numVectors, std::uint64_t threads = 1,
                  int direction = -1, std::uint64_t n = 8) {
  const std::uint64_t blocks = (numVectors + stride - 1) / stride;
  const std::vector<double> input = tessel_test::randomReals<double>(blocks * stride * n, 1);
  std::vector<double> out(input.size());
  fftwContext context;
  context.setNumThreads(threads);
  tessel_fft::quillDCST1D<double, 1>(context, &cache, input.data(), out.data(), stride, n, n, numVectors,
                                     direction, false);
}

TEST(DCSTPlans, DirectRunRequestsWhatTheStretchNeeds) {
  struct Case {
    std::uint64_t stride, numVectors;
    std::vector<std::uint64_t> howmany;
  };
  const Case cases[] = {{1, 4, {4}}, {1, 5, {1, 4}}, {1, 3, {1}}, {7, 70, {1, 4}}, {8, 16, {4}}, {3, 6, {1}}};
  for (const Case& c : cases) {
    Cache cache;
    runWithCache(cache, c.stride, c.numVectors);
    EXPECT_EQ(requestedHowmany(cache), c.howmany) << c.stride << " " << c.numVectors;
    for (const fftwPlanKey& key : cache.insertedKeys) {
      EXPECT_EQ(key.size0, 8u);
      EXPECT_EQ(key.rank, 1u);
      // Scratch is aligned and out of place, and this call has one thread and runs forward.
      EXPECT_EQ(key.flags, 0u);
    }
  }
}

TEST(DCSTPlans, PooledRunAlwaysHasTheSinglePlan) {
  Cache cache;
  runWithCache(cache, 1, 400, 2, -1, 64);
  EXPECT_EQ(requestedHowmany(cache), (std::vector<std::uint64_t>{1, 4}));
}

TEST(DCSTPlans, SecondCallHitsAndDirectionSeparatesEntries) {
  Cache cache;
  runWithCache(cache, 1, 5);
  runWithCache(cache, 1, 5);
  EXPECT_EQ(cache.inserts, 2);
  EXPECT_EQ(cache.hits, 2);
  runWithCache(cache, 1, 5, 1, 1);
  EXPECT_EQ(cache.inserts, 4);
  EXPECT_EQ(cache.size(), 4u);
  EXPECT_EQ(cache.insertedKeys.back().flags, 1u << 8);
}

TEST(DCSTPlans, ThreadBitOnlyForOneLongVector) {
  Cache shortVector, longVector;
  runWithCache(shortVector, 1, 1, 4, -1, 65535);
  runWithCache(longVector, 1, 1, 4, -1, 65536);
  ASSERT_EQ(shortVector.insertedKeys.size(), 1u);
  ASSERT_EQ(longVector.insertedKeys.size(), 1u);
  EXPECT_EQ(shortVector.insertedKeys[0].flags, 0u);
  EXPECT_EQ(longVector.insertedKeys[0].flags, 1u << 28);
}

TEST(DCSTPlans, RefusingCacheLeavesPlansWithTheRun) {
  Cache cache(false);
  runWithCache(cache, 7, 70);
  EXPECT_EQ(cache.inserts, 2);
  EXPECT_EQ(cache.size(), 0u);
}

TEST(DCSTPlanner, KeyPacksResiduesDirectionEmbedAndThreads) {
  // in at 4 and out at 8 modulo 16, direction 1, full embedding, out of place, two threads.
  std::vector<float> in(64), out(64);
  float* alignedIn =
      reinterpret_cast<float*>((reinterpret_cast<std::uintptr_t>(in.data()) + 15) & ~std::uintptr_t{15});
  float* alignedOut =
      reinterpret_cast<float*>((reinterpret_cast<std::uintptr_t>(out.data()) + 15) & ~std::uintptr_t{15});
  const fftwContext context(2, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, true);
  tessel_test::CountingDCSTCache<float, 6> cache;
  const tessel_fft::DCSTPlanner<float, 6> planner(&context, &cache);
  fftwf_plan plan = nullptr;
  EXPECT_FALSE(planner.getPlan(8, 3, alignedIn + 1, alignedOut + 2, 1, plan));
  ASSERT_EQ(cache.insertedKeys.size(), 1u);
  const fftwPlanKey expected{8, 1, 3, 0x10001184};
  EXPECT_EQ(cache.insertedKeys[0], expected);
  // A lookup that hits needs no planner.
  fftwf_plan again = nullptr;
  EXPECT_FALSE(planner.getPlan(8, 3, alignedIn + 1, alignedOut + 2, 1, again));
  EXPECT_EQ(again, plan);
  EXPECT_EQ(cache.hits, 1);
  // In place sets bit 16.
  fftwf_plan inPlace = nullptr;
  planner.getPlan(8, 3, alignedIn, alignedIn, -1, inPlace);
  EXPECT_EQ(cache.insertedKeys.back().flags, (1u << 16) | (1u << 12) | (1u << 28));
}

}  // namespace
