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
// strided ones where a batch has kArrayMinBlocks blocks or more of less than kArrayBlockBytes each (larger
// blocks leave FFTW's strided passes outside the caches, where the walk's transposes keep them inside).
inline constexpr std::size_t kArrayPlanLength = 40;
inline constexpr std::size_t kRealArrayPlanLength = 16;
inline constexpr std::size_t kArrayContiguousBytes = 64u << 20;
inline constexpr std::size_t kArrayMinBlocks = 8;
inline constexpr std::size_t kArrayBlockBytes = 1u << 20;
// Input and output of one slab together: well inside the outer caches of one core.
inline constexpr std::size_t kArraySlabBytes = 256u << 10;
// Batches of fewer slabs than this run their plan on FFTW's threads instead of spreading slabs over tasks.
inline constexpr std::size_t kArrayMinTaskSlabs = 4;

// Whether a batch takes plans over the arrays: `measured` says whether they are measured (or from
// wisdom), `familyLength` is the family's length limit under any strategy (see kArrayPlanLength).
inline bool arrayPlansServe(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                            std::size_t outElementBytes, bool measured, std::size_t familyLength) {
  if (shape.length <= familyLength) return true;
  if (!measured) return false;
  if (shape.length <= kArrayPlanLength) return true;
  const std::size_t vectorBytes =
      sides.parts * (shape.inputLength * inElementBytes + shape.length * outElementBytes);
  if (shape.stride == 1) return shape.numVectors * vectorBytes <= kArrayContiguousBytes;
  return shape.stride != 0 && shape.numVectors / shape.stride >= kArrayMinBlocks &&
         shape.stride * vectorBytes < kArrayBlockBytes;
}

// How a batch lies in slabs: `blocks` runs of `columns` vectors side by side (whole blocks, or the
// vectors of one block), `blocksPerSlab` of them a slab, the rest in one tail slab. Extents are in the
// arrays' elements, parts included.
struct ArraySlabs {
  std::size_t columns;
  std::size_t blocks;
  std::size_t blocksPerSlab;
  std::size_t inputBlock;
  std::size_t outputBlock;

  std::size_t fullSlabs() const { return blocks / blocksPerSlab; }
  std::size_t tailBlocks() const { return blocks % blocksPerSlab; }
};

// The slabs of a batch whose input vectors hold at least what the plans read, over whole blocks or within
// one block; false for a batch that ends inside a later block. A slab's blocks are a whole number of
// 16-byte units on both sides, so that every full slab has the residues the plan was made for.
inline bool arraySlabsOf(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                         std::size_t outElementBytes, ArraySlabs& slabs) {
  if (shape.numVectors == 0 || shape.inputLength < sides.planInputLength) return false;
  if (shape.numVectors > shape.stride && shape.numVectors % shape.stride != 0) return false;
  slabs.columns = std::min(shape.stride, shape.numVectors);
  slabs.blocks = shape.numVectors / slabs.columns;
  slabs.inputBlock = sides.parts * shape.stride * shape.inputLength;
  slabs.outputBlock = sides.parts * shape.stride * shape.length;
  const std::size_t inputBytes = slabs.inputBlock * inElementBytes,
                    outputBytes = slabs.outputBlock * outElementBytes;
  const std::size_t step = std::lcm(kPlanAlignment / std::gcd(inputBytes, kPlanAlignment),
                                    kPlanAlignment / std::gcd(outputBytes, kPlanAlignment));
  const std::size_t wanted = std::max<std::size_t>(1, kArraySlabBytes / (inputBytes + outputBytes));
  slabs.blocksPerSlab = std::min(slabs.blocks, std::max(step, wanted / step * step));
  return true;
}

// FFTW's view of `blocks` blocks of the slabs: the transformed dimension and the loops around it.
// Interleaved complex vectors through a real plan are two real vectors, one place apart.
inline ArrayDims arrayDimsOf(const BatchShape& shape, const BatchSides& sides, const ArraySlabs& slabs,
                             std::size_t blocks) {
  const auto signedOf = [](std::size_t value) { return static_cast<std::ptrdiff_t>(value); };
  const std::size_t parts = sides.parts;
  ArrayDims dims{};
  dims.transform = {signedOf(shape.length), signedOf(parts * shape.stride), signedOf(parts * shape.stride)};
  const auto loop = [&](std::size_t count, std::size_t inputStep, std::size_t outputStep) {
    if (count > 1) dims.loops[dims.loopRank++] = {signedOf(count), signedOf(inputStep), signedOf(outputStep)};
  };
  loop(blocks, slabs.inputBlock, slabs.outputBlock);
  loop(slabs.columns, parts, parts);
  loop(parts, 1, 1);
  return dims;
}

// Completes the one-sided r2c spectra of `blocks` blocks in place: in each, row k >= n/2+1 of its
// columns becomes the conjugate of row n-k.
template <typename T>
void completeSpectraInBlocks(std::complex<T>* out, const BatchShape& shape, const ArraySlabs& slabs,
                             std::size_t blocks) {
  const std::size_t n = shape.length, h = oneSidedLength(n);
  for (std::size_t b = 0; b < blocks; ++b) {
    std::complex<T>* block = out + b * slabs.outputBlock;
    for (std::size_t k = h; k < n; ++k) {
      std::complex<T>* row = block + k * shape.stride;
      const std::complex<T>* mirror = block + (n - k) * shape.stride;
      for (std::size_t c = 0; c < slabs.columns; ++c) row[c] = std::conj(mirror[c]);
    }
  }
}

// Runs the batch through plans over the caller's arrays with up to `threads` threads: slab by slab over
// tasks, or on FFTW's threads where the slabs are few; each slab's spectra are completed and divided while it
// is in the caches. A plan is made by estimate or, where the context asks for measuring, from FFTW's wisdom,
// or else measured on private scratch of one slab with the arrays' residues: the caller's data is never
// planned on. Returns false, having changed nothing, where the layout allows no such plan or FFTW has none:
// the walk runs then. The host's cache got its requests before, as for the walk.
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
  // Slabs run in tasks, each plan on one thread; a batch of few slabs runs on FFTW's threads instead.
  const bool slabTasks = threads > 1 && slabs.fullSlabs() >= kArrayMinTaskSlabs;
  planWithThreads<typename ElementParts<Out>::Real>(slabTasks ? 1 : static_cast<int>(threads));
  // FFTW's c2r destroys its input unless told to keep it, and the input is the caller's.
  const unsigned keep = sides.plansKeepInput ? 0u : unsigned{FFTW_PRESERVE_INPUT};
  const unsigned strategy = context.getPlanStrategy(shape.length);
  const auto planFor = [&](std::size_t blocks, const In* slabIn, Out* slabOut) -> Plan {
    const ArrayDims dims = arrayDimsOf(shape, sides, slabs, blocks);
    auto* input = asFftw(const_cast<In*>(slabIn));
    auto* output = asFftw(slabOut);
    if (strategy == FFTW_ESTIMATE) return Planner::planOverArrays(dims, input, output, sign, strategy | keep);
    Plan plan = Planner::planOverArrays(dims, input, output, sign, strategy | FFTW_WISDOM_ONLY | keep);
    if (plan != nullptr) return plan;
    // Measured on scratch of the slab's extent with the arrays' residues; in place, on one block.
    const std::size_t slabInputBytes = blocks * slabs.inputBlock * sizeof(In);
    const AlignedScratch inputScratch(slabInputBytes, addressResidue(slabIn));
    const AlignedScratch outputScratch(inPlace ? 0 : blocks * slabs.outputBlock * sizeof(Out),
                                       addressResidue(slabOut));
    auto* scratchIn = static_cast<FftwIn*>(inputScratch.get());
    auto* scratchOut =
        inPlace ? reinterpret_cast<FftwOut*>(scratchIn) : static_cast<FftwOut*>(outputScratch.get());
    return Planner::planOverArrays(dims, scratchIn, scratchOut, sign, strategy | keep);
  };
  const std::size_t fullSlabs = slabs.fullSlabs(), tailBlocks = slabs.tailBlocks();
  const std::size_t slabInput = slabs.blocksPerSlab * slabs.inputBlock,
                    slabOutput = slabs.blocksPerSlab * slabs.outputBlock;
  const OwnedPlan<Plan> slabPlan(fullSlabs > 0 ? planFor(slabs.blocksPerSlab, in, out) : nullptr, true);
  const In* tailIn = in + fullSlabs * slabInput;
  Out* tailOut = out + fullSlabs * slabOutput;
  const OwnedPlan<Plan> tailPlan(tailBlocks > 0 ? planFor(tailBlocks, tailIn, tailOut) : nullptr, true);
  if ((fullSlabs > 0 && slabPlan.get() == nullptr) || (tailBlocks > 0 && tailPlan.get() == nullptr))
    return false;

  const fftwApi& api = fftwApi::getInstance();
  const bool wholeBlocks = slabs.columns == shape.stride;
  const auto runSlab = [&](Plan plan, std::size_t blocks, const In* slabIn, Out* slabOut) {
    api.execute(plan, asFftw(const_cast<In*>(slabIn)), asFftw(slabOut));
    if constexpr (Hooks::completesSpectra) completeSpectraInBlocks(slabOut, shape, slabs, blocks);
    if (sides.divisor == 1) return;
    if (wholeBlocks) {
      scaleInverse(slabOut, sides.divisor, blocks * slabs.outputBlock, false);
    } else {
      // Vectors within one block: their rows only, the other columns are the caller's.
      for (std::size_t k = 0; k < shape.length; ++k)
        scaleInverse(slabOut + sides.parts * k * shape.stride, sides.divisor, sides.parts * slabs.columns,
                     false);
    }
  };
  const auto runSlabs = [&](std::size_t first, std::size_t last) {
    for (std::size_t s = first; s < last; ++s)
      runSlab(slabPlan.get(), slabs.blocksPerSlab, in + s * slabInput, out + s * slabOutput);
  };
  if (slabTasks) {
    tbb::parallel_for(
        tbb::blocked_range<std::size_t>(0, fullSlabs),
        [&](const tbb::blocked_range<std::size_t>& range) { runSlabs(range.begin(), range.end()); });
  } else {
    runSlabs(0, fullSlabs);
  }
  if (tailBlocks > 0) runSlab(tailPlan.get(), tailBlocks, tailIn, tailOut);
  return true;
}

}  // namespace tessel_fft
