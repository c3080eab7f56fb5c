// The other way through a batch: one FFTW plan over the caller's arrays with their own strides, as a host
// would write it, in place of the walk through scratch. For short vectors FFTW's codelets run across the
// columns of a row in one pass over memory, where a walk through scratch transposes every group in and
// out and runs a plan per chunk of four vectors.
#pragma once

#include <fftw3.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "backend/planner_threads.hpp"
#include "backend/precision.hpp"
#include "batch/batch_walk.hpp"
#include "batch/range_body.hpp"
#include "batch/scale_inverse.hpp"
#include "plans/owned_plan.hpp"
#include "plans/planner.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

// Lengths up to which FFTW's codelets on the caller's arrays beat the walk through scratch, measured over
// random shapes on a 2-core AMD EPYC: complex and real-to-real vectors up to kArrayPlanLength points, and
// r2c and c2r vectors side by side up to kRealArrayPlanLength (FFTW's estimated plans for real vectors of
// 17 or contiguous ones of 32 points took up to three times as long as the walk).
inline constexpr std::size_t kArrayPlanLength = 40;
inline constexpr std::size_t kRealArrayPlanLength = 16;

// The dims of a batch whose input vectors hold at least what the plans read, over whole blocks or within
// one block; false for a batch that ends inside a later block, which no one plan covers. Interleaved
// complex vectors through a real plan are two real vectors, one place apart.
inline bool arrayDimsOf(const BatchShape& shape, const BatchSides& sides, ArrayDims& dims) {
  const auto signedOf = [](std::size_t value) { return static_cast<std::ptrdiff_t>(value); };
  const std::size_t parts = sides.parts, stride = shape.stride;
  if (shape.numVectors == 0 || shape.inputLength < sides.planInputLength) return false;
  if (shape.numVectors > stride && shape.numVectors % stride != 0) return false;
  const std::size_t columns = std::min(stride, shape.numVectors);
  const std::size_t blocks = shape.numVectors / columns;
  dims.transform = {signedOf(shape.length), signedOf(parts * stride), signedOf(parts * stride)};
  dims.loopRank = 0;
  const auto loop = [&](std::size_t count, std::size_t inputStep, std::size_t outputStep) {
    if (count > 1) dims.loops[dims.loopRank++] = {signedOf(count), signedOf(inputStep), signedOf(outputStep)};
  };
  loop(blocks, parts * stride * shape.inputLength, parts * stride * shape.length);
  loop(columns, parts, parts);
  loop(parts, 1, 1);
  return true;
}

// Completes the one-sided r2c spectra an array plan wrote in place: in each block, row k >= n/2+1 of its
// columns becomes the conjugate of row n-k. Blocks are independent, and spread over tasks if `threaded`.
template <typename T>
void completeSpectraInArray(std::complex<T>* out, const BatchShape& shape, bool threaded) {
  const std::size_t n = shape.length, h = oneSidedLength(n);
  const std::size_t columns = std::min(shape.stride, shape.numVectors);
  const std::size_t blocks = shape.numVectors / columns;
  const auto completeBlocks = [&](std::size_t first, std::size_t last) {
    for (std::size_t b = first; b < last; ++b) {
      std::complex<T>* block = out + b * shape.stride * n;
      for (std::size_t k = h; k < n; ++k) {
        std::complex<T>* row = block + k * shape.stride;
        const std::complex<T>* mirror = block + (n - k) * shape.stride;
        for (std::size_t c = 0; c < columns; ++c) row[c] = std::conj(mirror[c]);
      }
    }
  };
  if (!threaded) return completeBlocks(0, blocks);
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, blocks),
                    [&](const tbb::blocked_range<std::size_t>& r) { completeBlocks(r.begin(), r.end()); });
}

// Runs the batch through one plan over the caller's arrays, made by estimate (or from FFTW's wisdom where
// the context asks for measuring: an array plan never measures, since that would overwrite the caller's
// data) with `threads` FFTW threads, then completes and divides what the family asks for. Returns false,
// having changed nothing, where the layout allows no such plan or FFTW has none: the walk then runs.
// The planner's plans for the host's cache come before this, as they do for the walk.
template <typename Planner, typename Hooks, typename In, typename Out>
bool runOnArrays(const fftwContext& context, std::uint64_t threads, const BatchShape& shape, int sign,
                 const In* in, Out* out, const BatchSides& sides) {
  ArrayDims dims;
  if (!arrayDimsOf(shape, sides, dims)) return false;
  // Out of place on arrays apart, or in place on one layout.
  const auto* inFirst = reinterpret_cast<const char*>(in);
  const auto* outFirst = reinterpret_cast<const char*>(out);
  const std::size_t inputBytes = sides.parts * shape.numVectors * shape.inputLength * sizeof(In);
  const std::size_t outputBytes = sides.parts * shape.numVectors * shape.length * sizeof(Out);
  const bool apart = inFirst + inputBytes <= outFirst || outFirst + outputBytes <= inFirst;
  if (!apart && !(inFirst == outFirst && inputBytes == outputBytes)) return false;

  using Plan = typename Planner::Plan;
  planWithThreads<typename ElementParts<Out>::Real>(static_cast<int>(threads));
  // FFTW's c2r destroys its input unless told to keep it, and the input is the caller's.
  const unsigned keep = sides.plansKeepInput ? 0u : unsigned{FFTW_PRESERVE_INPUT};
  auto* input = asFftw(const_cast<In*>(in));
  auto* output = asFftw(out);
  const unsigned strategy = context.getPlanStrategy(shape.length);
  Plan made = nullptr;
  if (strategy != FFTW_ESTIMATE)
    made = Planner::planOverArrays(dims, input, output, sign, strategy | FFTW_WISDOM_ONLY | keep);
  if (made == nullptr) made = Planner::planOverArrays(dims, input, output, sign, FFTW_ESTIMATE | keep);
  if (made == nullptr) return false;
  const OwnedPlan<Plan> plan(made, true);
  fftwApi::getInstance().execute(plan.get(), input, output);
  const bool threaded = threads > 1;
  if constexpr (Hooks::completesSpectra) completeSpectraInArray(out, shape, threaded);
  if (sides.divisor != 1) {
    if (shape.numVectors >= shape.stride) {
      scaleInverse(out, sides.divisor, sides.parts * shape.numVectors * shape.length, threaded);
    } else {
      // Vectors within one block: their rows only, the other columns are the caller's.
      for (std::size_t k = 0; k < shape.length; ++k)
        scaleInverse(out + sides.parts * k * shape.stride, sides.divisor, sides.parts * shape.numVectors,
                     false);
    }
  }
  return true;
}

}  // namespace tessel_fft
