// The rules that decide how a call runs, each written once: when work goes parallel and how it is cut
// into tasks, how many threads FFTW's planner gets, when plans over the caller's arrays serve instead of
// the walk through scratch, and how rows and vectors are kept out of each other's cache sets. Recipes
// (batch/recipe.hpp, nd/fft_passes.hpp) apply them; nothing that runs a call decides them again.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>

#include "batch/batch_walk.hpp"
#include "buffering/element_functors.hpp"

namespace tessel_fft {

// ---- Caches: the first-level cache as strided rows meet it. Lines of kLineBytes; addresses kSetSpanBytes
// apart share a set, and a set holds kCacheWays lines (8 to 12 on the x86-64 cores of the last decade).
inline constexpr std::size_t kLineBytes = 64;
inline constexpr std::size_t kSetSpanBytes = 4096;
inline constexpr std::size_t kCacheWays = 8;

// Whether `rows` rows `pitchBytes` apart need more lines of the few sets they fall into than those hold.
// Rows closer than a line share lines and spread over every set; farther ones fall into
// kSetSpanBytes / gcd(pitchBytes, kSetSpanBytes) sets, all of them at pitches like 1600 bytes, a single
// one at multiples of 4 KiB.
inline bool rowsConflict(std::size_t pitchBytes, std::size_t rows) {
  if (pitchBytes < kLineBytes) return false;
  const std::size_t sets = kSetSpanBytes / std::gcd(pitchBytes, kSetSpanBytes);
  return sets < kSetSpanBytes / kLineBytes && kCacheWays * sets < rows;
}

// The pitch of vectors that scratch lays out side by side: one line more where `pitchBytes` is a multiple
// of kSetSpanBytes, whose vectors would all fall into the same few sets.
inline std::size_t setSpreadPitchBytes(std::size_t pitchBytes) {
  return pitchBytes % kSetSpanBytes == 0 ? pitchBytes + kLineBytes : pitchBytes;
}

// ---- Threads. How a batch of vectors runs: spread over tasks (pooled) or in one loop on the calling
// thread; whether the caller lets other threads help at all (a context of one thread runs everything on
// the calling thread: loop, movement kernels and division); and how many threads FFTW's planner gets. A
// batch is parallel across vectors or FFTW is parallel within one long vector, never both.
struct BatchPath {
  bool pooled;
  bool threaded;
  std::uint64_t plannerThreads;

  // Where an inverse's division may spread over tasks: a pooled batch is spread already.
  bool divisionOverTasks() const { return threaded && !pooled; }
};

// Below kBatchWork = n * bitLength(n) * numVectors a batch isn't worth the scheduler; below
// kThreadedVectorLength points a single vector isn't worth FFTW's threads. Integer arithmetic, both
// divisions truncating.
inline BatchPath chooseBatchPath(std::uint64_t numThreads, std::uint64_t numVectors, std::uint64_t n) {
  constexpr std::uint64_t kBatchWork = 0x18000;
  constexpr std::uint64_t kThreadedVectorLength = 65536;
  if (numThreads <= 1) return {false, false, numThreads};
  if (numVectors > 1) {
    std::uint64_t bitLength = 0;
    for (std::uint64_t rest = n; rest != 0; rest >>= 1) ++bitLength;
    return {n > (kBatchWork / numVectors) / bitLength, true, 1};
  }
  return {false, true, n < kThreadedVectorLength ? 1 : numThreads};
}

// FFTW's threads for one plan over a whole problem: none where the work around it is spread over tasks
// already (each task's plan runs on one thread), else all the caller allows.
inline std::uint64_t fftwThreadsFor(std::uint64_t callerThreads, bool spreadOverTasks) {
  return spreadOverTasks ? 1 : std::max<std::uint64_t>(1, callerThreads);
}

// Threads of the transforms that take no host context (the N-D DCT without one): the calling thread.
inline constexpr std::uint64_t kContextFreeThreads = 1;

// Work per task of a pooled batch, input and output together: enough to hide the cost of a task and of
// its scratch hand-over, small enough that a batch still spreads over many tasks.
inline constexpr std::size_t kTaskBytes = 512 * buffering::kKiB;
// Tasks a pooled batch is cut into at least, where it has that many steps, so that threads that start
// late still find work.
inline constexpr std::size_t kMinTasks = 16;

// A pooled walk with fewer groups than this per thread cuts its tasks into equal shares of chunks instead
// (see batchRecipeFor): taken one by one, a handful of groups leaves one thread a group more than another.
inline constexpr std::size_t kSharedGroupsPerThread = 4;

// Steps per task, for `count` steps of `stepBytes` each.
inline std::size_t taskGrain(std::size_t count, std::size_t stepBytes) {
  return std::max<std::size_t>(1,
                               std::min(kTaskBytes / std::max<std::size_t>(stepBytes, 1), count / kMinTasks));
}

// Calls on a context of one thread run on the calling thread alone, with no arena of their own where
// they are too small for any movement kernel to go parallel: an arena of one slot costs about a
// microsecond.
inline bool needsCallerOnlyArena(bool threaded, std::size_t bytes) {
  return !threaded && bytes >= buffering::kSerialBelowBytes;
}

// ---- Walk or plans over the arrays. Where plans over the arrays beat the walk through scratch,
// measured over random shapes on a 2-core AMD EPYC (family 25). Under any strategy: complex and
// real-to-real vectors up to kArrayPlanLength points, and r2c and c2r vectors side by side up to
// kRealArrayPlanLength (FFTW's estimated plans for real vectors of 17 points, or contiguous ones of 32,
// took up to three times as long as the walk). With measured plans also longer vectors: contiguous ones
// where the arrays take up to kArrayContiguousBytes (beyond, the walk's sequential copies serve memory
// better than FFTW's vectors read in lockstep), and strided ones where a batch has kArrayMinBlocks blocks
// or more of less than kArrayBlockBytes each, or blocks wider than a slab whose slabs of columns hold at
// least kArrayMinSlabColumns vectors. Between the two, few vectors of a slab side by side leave FFTW's
// strided passes outside the caches, where the walk's transposes keep them inside.
inline constexpr std::size_t kArrayPlanLength = 40;
inline constexpr std::size_t kRealArrayPlanLength = 16;
inline constexpr std::size_t kArrayContiguousBytes = 64u << 20;
inline constexpr std::size_t kArrayMinBlocks = 8;
inline constexpr std::size_t kArrayBlockBytes = 1u << 20;
// Input and output of one slab together: well inside the outer caches of one core.
inline constexpr std::size_t kArraySlabBytes = 256u << 10;
// Slabs that cut blocks into columns hold at least this many, which FFTW's codelets run across.
inline constexpr std::size_t kArrayMinSlabColumns = 64;
// Scratch a measuring planner may span, both sides together.
inline constexpr std::size_t kArrayMeasureScratchBytes = 64u << 20;
// Batches of fewer points than this take the walk: making a plan over the arrays (an estimate takes
// several microseconds, more for the cosine/sine kinds) costs more than the walk loses on so little work.
inline constexpr std::size_t kArrayPlanMinPoints = 4096;
// Batches of fewer slabs than this run their plan on FFTW's threads instead of spreading slabs over tasks.
inline constexpr std::size_t kArrayMinTaskSlabs = 4;

// Whether a batch takes plans over the arrays: `measured` says whether they are measured (or from
// wisdom), `familyLength` is the family's length limit under any strategy (see kArrayPlanLength).
inline bool arrayPlansServe(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                            std::size_t outElementBytes, bool measured) {
  // A plan over the arrays is made on every call, which the walk's cached plans are not.
  if (shape.numVectors * sides.transformLength < kArrayPlanMinPoints) return false;
  // FFTW's codelets read a vector's rows where they lie; rows whose pitch falls into too few cache sets
  // evict each other, where the walk's transposes read them into packed scratch.
  const std::size_t rows = std::max(sides.planInputLength, shape.length);
  if (rowsConflict(shape.stride * sides.parts * inElementBytes, rows) ||
      rowsConflict(shape.stride * sides.parts * outElementBytes, rows))
    return false;
  if (sides.transformLength <= sides.arrayPlanLength) return true;
  // Plans over the arrays are FFTW's own; longer vectors of a family whose walk runs a road of its own
  // around its plans (the half-length cosine/sine kinds) stay on it: DCT-II of 64 contiguous vectors of
  // 1024 doubles took 0.4 of plain FFTW's time on the walk and 1.0 on the arrays, DCT-IV of 60 of 8192
  // 0.53 against 1.03 (one thread, AMD EPYC family 26).
  if (sides.plansOnScratchOnly) return false;
  if (!measured) return false;
  if (sides.transformLength <= kArrayPlanLength) return true;
  const std::size_t vectorBytes =
      sides.parts * (shape.inputLength * inElementBytes + shape.length * outElementBytes);
  // A single contiguous vector the walk already hands to FFTW whole.
  if (shape.stride == 1)
    return shape.numVectors > 1 && shape.numVectors * vectorBytes <= kArrayContiguousBytes;
  const bool manySmallBlocks = shape.stride != 0 && shape.numVectors / shape.stride >= kArrayMinBlocks &&
                               shape.stride * vectorBytes < kArrayBlockBytes;
  // Blocks beyond a slab are cut into columns, where enough of them fit a slab (see arraySlabsOf).
  const bool wideBlocks = std::min(shape.stride, shape.numVectors) * vectorBytes > kArraySlabBytes &&
                          kArraySlabBytes / vectorBytes >= kArrayMinSlabColumns;
  return manySmallBlocks || wideBlocks;
}

// N-D arrays transformed whole, between these sizes in points, take one FFTW plan over all their
// dimensions: on a 2-core AMD EPYC (family 26) a measured rank-3 plan ran a c2c of 128^3 in two thirds of
// the time of the passes, where from 256^3 on the passes, whose leading dimensions stay in the caches slab
// by slab, were faster; below, planning per call costs more than the passes lose.
inline constexpr std::uint64_t kWholeArrayMinPoints = std::uint64_t{1} << 15;
inline constexpr std::uint64_t kWholeArrayMaxPoints = std::uint64_t{1} << 21;

// Consecutive passes over the leading dimensions of an N-D array run slab by slab where a slab's largest
// array takes at most kNDSlabBytes, so that its arrays stay in a core's second-level cache from one pass
// to the next; slabs much smaller than that go several to a step, each pass over a step one batch call.
inline constexpr std::size_t kNDSlabBytes = std::size_t{1} << 20;

// The steps that `slabs` slabs of `slabBytes` each run in (equal steps of whole slabs), or 0 where the
// passes run over the whole array instead.
inline std::size_t slabStepsOf(std::size_t slabs, std::size_t slabBytes) {
  if (slabs < 2 || slabBytes > kNDSlabBytes) return 0;
  std::size_t together =
      std::min(slabs, std::max<std::size_t>(1, kNDSlabBytes / std::max<std::size_t>(slabBytes, 1)));
  while (slabs % together != 0) --together;
  return slabs / together >= 2 ? slabs / together : 0;
}

// Whether the slabs of a batch on the arrays spread over tasks, each plan on one thread.
inline bool slabsOverTasks(std::uint64_t callerThreads, std::size_t slabs) {
  return callerThreads > 1 && slabs >= kArrayMinTaskSlabs;
}

// ---- The walk's groups and moves. Sizes of the groups of chunks that move together, in bytes. A
// strided gather reads each row of a group's columns as one piece of kGroupRowBytes: whole cache lines,
// where a chunk alone may read half of one. Contiguous vectors move in groups of about
// kContiguousGroupBytes, which amortises a step's fixed costs over tiny vectors; larger ones were slower
// (vectors of 64 complex doubles in groups of one 4 KiB chunk took three quarters of the time that groups
// of 8 to 64 KiB took on a 2-core AMD EPYC). Neither lets a group's scratch grow past kGroupScratchBytes
// per side, so that a group stays in the outer caches between its gather, its plans and its move out.
inline constexpr std::size_t kGroupRowBytes = 256;
inline constexpr std::size_t kContiguousGroupBytes = 4 * buffering::kKiB;
inline constexpr std::size_t kGroupScratchBytes = 1 * buffering::kMiB;
// A group of single vectors that takes a whole block (see GroupCuts::singlesOnly) may take up to this.
inline constexpr std::size_t kSinglesGroupBytes = 8 * buffering::kMiB;
// Batches whose output takes at least this much move it out with cache-bypassing stores: such an
// output doesn't stay in the caches anyway, and a cached store would first read each line it overwrites.
inline constexpr std::size_t kStreamingOutputBytes = 8 * buffering::kMiB;
// Chunks larger than this bypass scratch where the layout allows: FFTW's own passes over vectors that
// large go through memory anyway, and a copy through scratch would only add one.
inline constexpr std::size_t kDirectChunkBytes = 1 * buffering::kMiB;
// Contiguous vectors of these lengths, of a batch whose output streams, go one at a time through the
// single plan where they lie, this many to a group (see batchRecipeFor). Shorter ones cost FFTW more per
// execution than they save: 8 floats one by one took 2.4 to 3 times as long as plain FFTW.
inline constexpr std::size_t kStreamedSingleMinLength = 32;
inline constexpr std::size_t kStreamedSingleMaxLength = 64;
inline constexpr std::size_t kStreamedSinglesPerGroup = 64;

}  // namespace tessel_fft
