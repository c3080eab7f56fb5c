// The other way through a batch: FFTW plans over the caller's arrays with their own strides, in place of
// the walk through scratch. For short vectors FFTW's codelets run across the columns of a row straight
// from the array, where the walk transposes every group in and out of scratch and runs a plan per chunk
// of four vectors. The arrays are cut into slabs of whole blocks that stay in the caches while their
// spectra are completed and divided, and the slabs are spread over tasks like the walk's groups.
#pragma once

#include <fftw3.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <type_traits>
#include <utility>

#include "backend/aligned_scratch.hpp"
#include "backend/planner_threads.hpp"
#include "backend/precision.hpp"
#include "batch/batch_walk.hpp"
#include "batch/range_body.hpp"
#include "batch/scale_inverse.hpp"
#include "plans/owned_plan.hpp"
#include "plans/planner.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

// Where plans over the arrays beat the walk through scratch, measured over random shapes on a 2-core AMD
// EPYC (family 25). Under any strategy: complex and real-to-real vectors up to kArrayPlanLength points,
// and r2c and c2r vectors side by side up to kRealArrayPlanLength (FFTW's estimated plans for real
// vectors of 17 points, or contiguous ones of 32, took up to three times as long as the walk). With
// measured plans also longer vectors: contiguous ones where the arrays take up to kArrayContiguousBytes
// (beyond, the walk's sequential copies serve memory better than FFTW's vectors read in lockstep), and
// strided ones where a batch has kArrayMinBlocks blocks or more of less than kArrayBlockBytes each, or
// blocks wider than a slab whose slabs of columns hold at least kArrayMinSlabColumns vectors. Between the
// two, few vectors of a slab side by side leave FFTW's strided passes outside the caches, where the
// walk's transposes keep them inside.
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

// The first-level cache as strided rows meet it: lines of kLineBytes, addresses kSetSpanBytes apart
// share a set, and a set holds kCacheWays lines (8 to 12 on the x86-64 cores of the last decade).
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

// Whether a batch takes plans over the arrays: `measured` says whether they are measured (or from
// wisdom), `familyLength` is the family's length limit under any strategy (see kArrayPlanLength).
inline bool arrayPlansServe(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                            std::size_t outElementBytes, bool measured, std::size_t familyLength) {
  // A plan over the arrays is made on every call, which the walk's cached plans are not.
  if (shape.numVectors * sides.transformLength < kArrayPlanMinPoints) return false;
  // FFTW's codelets read a vector's rows where they lie; rows whose pitch falls into too few cache sets
  // evict each other, where the walk's transposes read them into packed scratch.
  const std::size_t rows = std::max(sides.planInputLength, shape.length);
  if (rowsConflict(shape.stride * sides.parts * inElementBytes, rows) ||
      rowsConflict(shape.stride * sides.parts * outElementBytes, rows))
    return false;
  if (sides.transformLength <= familyLength) return true;
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

// The part of a batch one plan covers: `blocks` consecutive blocks, `columns` vectors side by side in each.
struct SlabShape {
  std::size_t blocks;
  std::size_t columns;
};

// How a batch lies in slabs: `blocks` runs of `columns` vectors side by side (whole blocks, or the vectors
// of one block). A slab holds several whole blocks, or, where a block is larger than a slab, a part of its
// columns; the last slab (of the batch, or of each block) may be smaller. Extents are in the arrays'
// elements, parts included.
struct ArraySlabs {
  std::size_t columns;
  std::size_t blocks;
  SlabShape full;
  std::size_t inputBlock;
  std::size_t outputBlock;

  bool cutsColumns() const { return full.columns < columns; }
  std::size_t slabsPerBlock() const { return (columns + full.columns - 1) / full.columns; }
  std::size_t count() const {
    return cutsColumns() ? blocks * slabsPerBlock() : (blocks + full.blocks - 1) / full.blocks;
  }
  // Slab `index`: its first block and column, and its shape.
  void locate(std::size_t index, std::size_t& block, std::size_t& column, SlabShape& shape) const {
    if (cutsColumns()) {
      block = index / slabsPerBlock();
      column = index % slabsPerBlock() * full.columns;
      shape = {1, std::min(full.columns, columns - column)};
    } else {
      block = index * full.blocks;
      column = 0;
      shape = {std::min(full.blocks, blocks - block), columns};
    }
  }
};

// The steps (in blocks, or in columns) that keep a slab a whole number of 16-byte units on both sides.
inline std::size_t alignmentStep(std::size_t inputBytes, std::size_t outputBytes) {
  return std::lcm(kPlanAlignment / std::gcd(inputBytes, kPlanAlignment),
                  kPlanAlignment / std::gcd(outputBytes, kPlanAlignment));
}

// The slabs of a batch whose input vectors hold at least what the plans read, over whole blocks or within
// one block; false for a batch that ends inside a later block. Every full slab starts on the residues of
// the arrays modulo 16, so that one plan serves them all, and so do all tails.
inline bool arraySlabsOf(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                         std::size_t outElementBytes, ArraySlabs& slabs) {
  if (shape.numVectors == 0 || shape.inputLength < sides.planInputLength) return false;
  if (shape.numVectors > shape.stride && shape.numVectors % shape.stride != 0) return false;
  const std::size_t parts = sides.parts;
  slabs.columns = std::min(shape.stride, shape.numVectors);
  slabs.blocks = shape.numVectors / slabs.columns;
  slabs.inputBlock = parts * shape.stride * shape.inputLength;
  slabs.outputBlock = parts * shape.stride * shape.length;
  const std::size_t inputBytes = slabs.inputBlock * inElementBytes,
                    outputBytes = slabs.outputBlock * outElementBytes;
  const std::size_t columnBytes =
      parts * (shape.inputLength * inElementBytes + shape.length * outElementBytes);
  const std::size_t columnStep = alignmentStep(parts * inElementBytes, parts * outElementBytes);
  const std::size_t slabColumns = kArraySlabBytes / columnBytes / columnStep * columnStep;
  const bool blocksKeepResidues =
      slabs.blocks == 1 || (inputBytes % kPlanAlignment == 0 && outputBytes % kPlanAlignment == 0);
  if (slabs.columns * columnBytes > kArraySlabBytes && slabColumns >= kArrayMinSlabColumns &&
      blocksKeepResidues) {
    slabs.full = {1, slabColumns};
    return true;
  }
  const std::size_t step = alignmentStep(inputBytes, outputBytes);
  const std::size_t wanted = std::max<std::size_t>(1, kArraySlabBytes / (inputBytes + outputBytes));
  slabs.full = {std::min(slabs.blocks, std::max(step, wanted / step * step)), slabs.columns};
  return true;
}

// FFTW's view of a slab: the transformed dimension and the loops around it. Interleaved complex vectors
// through a real plan are two real vectors, one place apart.
inline ArrayDims arrayDimsOf(const BatchShape& shape, const BatchSides& sides, const ArraySlabs& slabs,
                             const SlabShape& slab) {
  const auto signedOf = [](std::size_t value) { return static_cast<std::ptrdiff_t>(value); };
  const std::size_t parts = sides.parts;
  ArrayDims dims{};
  dims.transform = {signedOf(sides.transformLength), signedOf(parts * shape.stride),
                    signedOf(parts * shape.stride)};
  const auto loop = [&](std::size_t count, std::size_t inputStep, std::size_t outputStep) {
    if (count > 1) dims.loops[dims.loopRank++] = {signedOf(count), signedOf(inputStep), signedOf(outputStep)};
  };
  loop(slab.blocks, slabs.inputBlock, slabs.outputBlock);
  loop(slab.columns, parts, parts);
  loop(parts, 1, 1);
  return dims;
}

// Completes the one-sided r2c spectra of a slab in place: in each of its blocks, row k >= n/2+1 of its
// columns becomes the conjugate of row n-k.
template <typename T>
void completeSpectraInSlab(std::complex<T>* out, const BatchShape& shape, const ArraySlabs& slabs,
                           const SlabShape& slab) {
  const std::size_t n = shape.length, h = oneSidedLength(n);
  for (std::size_t b = 0; b < slab.blocks; ++b) {
    std::complex<T>* block = out + b * slabs.outputBlock;
    for (std::size_t k = h; k < n; ++k) {
      std::complex<T>* row = block + k * shape.stride;
      const std::complex<T>* mirror = block + (n - k) * shape.stride;
      for (std::size_t c = 0; c < slab.columns; ++c) row[c] = std::conj(mirror[c]);
    }
  }
}

// Runs the batch through plans over the caller's arrays with up to `threads` threads: slab by slab over
// tasks, or on FFTW's threads where the slabs are few; each slab's spectra are completed and divided while
// it is in the caches. A plan is made by estimate or, where the context asks for measuring, from FFTW's
// wisdom, or else measured on private scratch that spans the slab with the arrays' residues: the caller's
// data is never planned on. Returns false, having changed nothing, where the layout allows no such plan
// or FFTW has none: the walk runs then. The host's cache got its requests before, as for the walk.
template <typename Planner, typename Hooks, typename In, typename Out>
bool runOnArrays(const fftwContext& context, std::uint64_t threads, const BatchShape& shape, int sign,
                 const In* in, Out* out, const BatchSides& sides) {
  ArraySlabs slabs;
  if (!arraySlabsOf(shape, sides, sizeof(In), sizeof(Out), slabs)) return false;
  // Out of place on arrays apart, or in place on one layout.
  const auto* inFirst = reinterpret_cast<const char*>(in);
  const auto* outFirst = reinterpret_cast<const char*>(out);
  const std::size_t inputBytes = slabs.blocks * slabs.inputBlock * sizeof(In);
  const std::size_t outputBytes = slabs.blocks * slabs.outputBlock * sizeof(Out);
  const bool inPlace = inFirst == outFirst;
  const bool apart = inFirst + inputBytes <= outFirst || outFirst + outputBytes <= inFirst;
  if (!apart && !(inPlace && inputBytes == outputBytes)) return false;

  using Plan = typename Planner::Plan;
  using FftwIn = std::remove_pointer_t<decltype(asFftw(std::declval<In*>()))>;
  using FftwOut = std::remove_pointer_t<decltype(asFftw(std::declval<Out*>()))>;
  const std::size_t parts = sides.parts;
  const auto slabIn = [&](std::size_t block, std::size_t column) {
    return in + block * slabs.inputBlock + column * parts;
  };
  const auto slabOut = [&](std::size_t block, std::size_t column) {
    return out + block * slabs.outputBlock + column * parts;
  };
  // Slabs run in tasks, each plan on one thread; a batch of few slabs runs on FFTW's threads instead.
  const std::size_t count = slabs.count();
  const bool slabTasks = threads > 1 && count >= kArrayMinTaskSlabs;
  planWithThreads<typename ElementParts<Out>::Real>(slabTasks ? 1 : static_cast<int>(threads));
  // FFTW's c2r destroys its input unless told to keep it, and the input is the caller's.
  const unsigned keep = sides.plansKeepInput ? 0u : unsigned{FFTW_PRESERVE_INPUT};
  const unsigned strategy = context.getPlanStrategy(sides.transformLength);
  const auto planFor = [&](const SlabShape& slab, const In* first, Out* firstOut) -> Plan {
    const ArrayDims dims = arrayDimsOf(shape, sides, slabs, slab);
    auto* input = asFftw(const_cast<In*>(first));
    auto* output = asFftw(firstOut);
    if (strategy == FFTW_ESTIMATE) return Planner::planOverArrays(dims, input, output, sign, strategy | keep);
    Plan plan = Planner::planOverArrays(dims, input, output, sign, strategy | FFTW_WISDOM_ONLY | keep);
    if (plan != nullptr) return plan;
    // Measured on scratch that spans the slab, with the arrays' residues; in place, on one block. A slab
    // of a few columns of very wide rows spans more than is worth allocating: estimated then.
    const std::size_t spanBlocks = slab.blocks - 1;
    const std::size_t lastRow = (std::max(sides.planInputLength, shape.length) - 1) * parts * shape.stride;
    const std::size_t inputSpan =
        (spanBlocks * slabs.inputBlock + lastRow + slab.columns * parts) * sizeof(In);
    const std::size_t outputSpan =
        inPlace ? 0 : (spanBlocks * slabs.outputBlock + lastRow + slab.columns * parts) * sizeof(Out);
    if (inputSpan + outputSpan > kArrayMeasureScratchBytes)
      return Planner::planOverArrays(dims, input, output, sign, FFTW_ESTIMATE | keep);
    const AlignedScratch inputScratch(inputSpan, addressResidue(first));
    const AlignedScratch outputScratch(outputSpan, addressResidue(firstOut));
    auto* scratchIn = static_cast<FftwIn*>(inputScratch.get());
    auto* scratchOut =
        inPlace ? reinterpret_cast<FftwOut*>(scratchIn) : static_cast<FftwOut*>(outputScratch.get());
    return Planner::planOverArrays(dims, scratchIn, scratchOut, sign, strategy | keep);
  };
  // Slab 0 is full (a slab never holds more than the batch); the last slab is the tail where any is, on
  // the residues that every tail shares.
  const auto isFull = [&](const SlabShape& slab) {
    return slab.blocks == slabs.full.blocks && slab.columns == slabs.full.columns;
  };
  std::size_t lastBlock = 0, lastColumn = 0;
  SlabShape last{};
  slabs.locate(count - 1, lastBlock, lastColumn, last);
  const OwnedPlan<Plan> fullPlan(planFor(slabs.full, in, out), true);
  const OwnedPlan<Plan> tailPlan(
      isFull(last) ? nullptr : planFor(last, slabIn(lastBlock, lastColumn), slabOut(lastBlock, lastColumn)),
      true);
  if (fullPlan.get() == nullptr || (!isFull(last) && tailPlan.get() == nullptr)) return false;

  const fftwApi& api = fftwApi::getInstance();
  const auto runSlab = [&](std::size_t index) {
    std::size_t block = 0, column = 0;
    SlabShape slab{};
    slabs.locate(index, block, column, slab);
    Out* const output = slabOut(block, column);
    api.execute(isFull(slab) ? fullPlan.get() : tailPlan.get(),
                asFftw(const_cast<In*>(slabIn(block, column))), asFftw(output));
    if constexpr (Hooks::completesSpectra) completeSpectraInSlab(output, shape, slabs, slab);
    if (sides.divisor == 1) return;
    if (slab.columns == shape.stride) {
      scaleInverse(output, sides.divisor, slab.blocks * slabs.outputBlock, false);
    } else {
      // Some columns of one block: their rows only, the other columns are another slab's or the caller's.
      for (std::size_t k = 0; k < shape.length; ++k)
        scaleInverse(output + parts * k * shape.stride, sides.divisor, parts * slab.columns, false);
    }
  };
  if (slabTasks) {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count),
                      [&](const tbb::blocked_range<std::size_t>& range) {
                        for (std::size_t index = range.begin(); index < range.end(); ++index) runSlab(index);
                      });
  } else {
    for (std::size_t index = 0; index < count; ++index) runSlab(index);
  }
  return true;
}

}  // namespace tessel_fft
