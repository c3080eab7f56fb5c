// The other way through a batch: FFTW plans over the caller's arrays with their own strides, in place of
// the walk through scratch. For short vectors FFTW's codelets run across the columns of a row straight
// from the array, where the walk transposes every group in and out of scratch and runs a plan per chunk
// of four vectors. The arrays are cut into slabs of whole blocks that stay in the caches while their
// spectra are completed and divided, and the slabs are spread over tasks like the walk's groups.
#pragma once

#include <fftw3.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "backend/aligned_scratch.hpp"
#include "backend/planner_threads.hpp"
#include "backend/precision.hpp"
#include "batch/batch_walk.hpp"
#include "batch/executor.hpp"
#include "batch/range_body.hpp"
#include "batch/recipe.hpp"
#include "batch/scale_inverse.hpp"
#include "buffering/hermitian.hpp"
#include "plans/owned_plan.hpp"
#include "plans/plan_acquisition.hpp"
#include "plans/planner.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

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
  const auto stride = static_cast<std::ptrdiff_t>(shape.stride);
  for (std::size_t b = 0; b < slab.blocks; ++b) {
    std::complex<T>* block = out + b * slabs.outputBlock;
    buffering::completeSpectra<std::complex<T>>({block, 1, stride}, {block, 1, stride},
                                                {shape.length, slab.columns}, false);
  }
}

// Runs the batch through plans over the caller's arrays, slab by slab as `recipe` cuts it: over tasks, or
// on FFTW's threads where the slabs are few; each slab's spectra are completed and divided while it is in
// the caches. A plan is made by estimate or, where `strategy` asks for measuring, from FFTW's wisdom, or
// else measured on private scratch that spans the slab with the arrays' residues: the caller's data is
// never planned on. Returns false, having changed nothing, where FFTW has no such plan: the walk runs
// then. The host's cache got its requests before, as for the walk.
template <typename Planner, typename Hooks, typename In, typename Out>
bool runOnArrays(const BatchRecipe& recipe, unsigned strategy, const BatchShape& shape, int sign,
                 const In* in, Out* out, const BatchSides& sides) {
  const ArraySlabs& slabs = recipe.slabs;
  const bool inPlace = recipe.arraysInPlace;
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
  const std::size_t count = slabs.count();
  planWithThreads<typename ElementParts<Out>::Real>(static_cast<int>(recipe.arrayFftwThreads));
  // FFTW's c2r destroys its input unless told to keep it, and the input is the caller's.
  const unsigned keep = sides.plansKeepInput ? 0u : unsigned{FFTW_PRESERVE_INPUT};
  const auto planFor = [&](const SlabShape& slab, const In* first, Out* firstOut) -> Plan {
    const ArrayDims dims = arrayDimsOf(shape, sides, slabs, slab);
    const auto planOn = [&](FftwIn* input, FftwOut* output, unsigned flags) {
      return Planner::planOverArrays(dims, input, output, sign, flags | keep);
    };
    auto* input = asFftw(const_cast<In*>(first));
    auto* output = asFftw(firstOut);
    // Scratch that spans the slab; in place, one block. A slab of a few columns of very wide rows spans
    // more than is worth allocating: estimated then.
    const std::size_t spanBlocks = slab.blocks - 1;
    const std::size_t lastRow = (std::max(sides.planInputLength, shape.length) - 1) * parts * shape.stride;
    const std::size_t inputSpan =
        (spanBlocks * slabs.inputBlock + lastRow + slab.columns * parts) * sizeof(In);
    const std::size_t outputSpan =
        inPlace ? 0 : (spanBlocks * slabs.outputBlock + lastRow + slab.columns * parts) * sizeof(Out);
    const Plan plan = planOverCallerArrays(strategy, input, output, inputSpan, outputSpan,
                                           kArrayMeasureScratchBytes, planOn);
    return plan != nullptr || strategy == FFTW_ESTIMATE ? plan : planOn(input, output, FFTW_ESTIMATE);
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
  runSteps({recipe.slabTasks, 1, false}, count, [&](std::size_t first, std::size_t last) {
    for (std::size_t index = first; index < last; ++index) runSlab(index);
  });
  return true;
}

}  // namespace tessel_fft
