// The cosine/sine batch: what an r2r transform adds to the shared batch skeleton.
#pragma once

#include <cstddef>
#include <cstdint>

#include "batch/batch_run.hpp"
#include "batch/gather.hpp"
#include "batch/scale_inverse.hpp"
#include "buffering/copy.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/stream.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"
#include "dcst/dcst_kinds.hpp"
#include "dcst/dcst_planner.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

// Divisors for the first element of each vector and for the others, applied while a run is in scratch:
// to its input before the transform, or to its output after it. What the orthonormal N-D transforms add
// to a batch.
template <typename R>
struct EdgeDivisors {
  R first;
  R rest;
  bool beforeTransform;
};

// What the N-D transforms ask of a batch beyond what quillDCST1D does: divisors folded into its runs (or
// null), and whether another pass reads the output right away, which then stays in the caches instead of
// streaming past them.
template <typename R>
struct DCSTPass {
  const EdgeDivisors<R>* divisors;
  bool outputReadNext;
};

namespace dcst_detail {

inline std::ptrdiff_t signedSize(std::size_t size) { return static_cast<std::ptrdiff_t>(size); }

// Interleaved complex data are real data at twice the stride, and a complex vector runs through the
// real plan twice, real parts first. Both parts use the same scratch one after the other.
//
// Gathers one part of `count` interleaved vectors (`source` points at that part of the first) into
// dense real vectors of n. Where a run is a single stretch of array elements (one vector, or whole
// contiguous vectors without padding) the real gather at doubled stride serves unchanged.
template <typename T>
void gatherPart(T* inBuf, const T* source, const BatchShape& shape, std::size_t count) {
  const std::size_t n = shape.length;
  const std::size_t used = std::min(shape.inputLength, n);
  if (count == 1) {
    copyToInputBuffer(inBuf, source, {2 * shape.stride, shape.inputLength, n}, 1);
  } else if (shape.stride != 1) {
    buffering::interleaved::transpose(inBuf, signedSize(n), source, signedSize(shape.stride), used, count,
                                      true);
    zeroPadVectors(inBuf, n, used, count);
  } else if (shape.inputLength != n) {
    buffering::interleaved::submatrix(inBuf, n, source, shape.inputLength, used, count);
  } else {
    buffering::strided::copy(inBuf, source, 2, n * count);
  }
}

// The reverse of gatherPart for n output elements per vector.
template <typename T>
void scatterPart(T* destination, const T* outBuf, const BatchShape& shape, std::size_t count) {
  const std::size_t n = shape.length;
  if (shape.stride != 1 && count > 1) {
    buffering::interleaved::transpose(destination, signedSize(shape.stride), outBuf, signedSize(n), count, n,
                                      false);
  } else {
    // One vector, or whole contiguous vectors: a single stretch of array elements.
    buffering::strided::copy(destination, signedSize(2 * shape.stride), outBuf, n * count);
  }
}

// The loop of one range of vectors, real or interleaved complex: gather a run into scratch, transform it
// chunk by chunk, divide it while it is hot, move it back. Nothing here depends on the kind, which lives
// in the plans.
template <typename T>
struct DCSTLoop {
  using Plan = fftwPlan<T>;

  const T* in;
  T* out;
  BatchShape shape;
  bool isComplex;
  bool directInput;
  bool streamOut;
  std::uint64_t divisor;  // of an inverse transform; 1 for none
  const EdgeDivisors<T>* edgeDivisors;

  void operator()(const LoopSetting<Plan>& setting, void* inBlock, void* outBlock, std::size_t begin,
                  std::size_t end) const {
    const fftwApi& api = fftwApi::getInstance();
    T* const inBuf = static_cast<T*>(inBlock);
    T* const outBuf = static_cast<T*>(outBlock);
    const std::size_t n = shape.length;
    const std::size_t width = isComplex ? 2 : 1;
    const bool directOutput = outBuf == out;
    const bool divideInput = edgeDivisors != nullptr && edgeDivisors->beforeTransform;
    const bool readInPlace = directInput && !divideInput;
    // In the arrays (in T), a run's vectors are adjacent columns, or at stride 1 whole vectors one after
    // another.
    const std::size_t inputStep = width * (shape.stride == 1 ? shape.inputLength : 1);
    const std::size_t outputStep = width * (shape.stride == 1 ? n : 1);
    walkBatch(shape, setting.plans, setting.cuts, begin, end, [&](const VectorRun<Plan>& run) {
      const T* const source = in + width * run.inputOffset;
      T* const destination = out + width * run.outputOffset;
      const std::size_t vectorsPerPlan = run.vectorsPerPlan;
      const RunPlaces scratchPlaces = RunPlaces::inScratch(n, sizeof(T), vectorsPerPlan, setting.cuts);
      const RunPlaces arrayPlaces{n, vectorsPerPlan, vectorsPerPlan * n};
      const RunPlaces& inputPlaces = readInPlace ? arrayPlaces : scratchPlaces;
      const RunPlaces& outputPlaces = directOutput ? arrayPlaces : scratchPlaces;
      T* const planInput = readInPlace ? const_cast<T*>(source) : inBuf;
      T* const planOutput = directOutput ? destination : outBuf;
      for (std::size_t part = 0; part < width; ++part) {
        if (!readInPlace) gather(inBuf, scratchPlaces, source + part, inputStep, run);
        if (divideInput) divideEdges(inBuf, scratchPlaces, run.count);
        for (std::size_t u = 0; u < run.executions(); ++u) {
          T* const unitOutput = planOutput + outputPlaces.unit(u);
          api.execute(run.plan, planInput + inputPlaces.unit(u), unitOutput);
          if (divisor != 1) scaleInverse(unitOutput, divisor, vectorsPerPlan * n, setting.divisionOverTasks);
        }
        if (edgeDivisors != nullptr && !edgeDivisors->beforeTransform)
          divideEdges(planOutput, outputPlaces, run.count);
        if (!directOutput) moveOut(outBuf, scratchPlaces, destination + part, outputStep, run);
      }
    });
    if (streamOut) buffering::streamFence();
  }

  // Gathers one part of the run's vectors into their places in scratch, cut to or padded with zeros to
  // n. A strided group of real vectors is one pass over the rows of its columns.
  void gather(T* inBuf, const RunPlaces& places, const T* source, std::size_t step,
              const VectorRun<Plan>& run) const {
    const std::size_t n = shape.length;
    if (!isComplex && shape.stride != 1 && run.executions() > 1) {
      T* rows[RunCuts::kMaxGroupVectors];
      for (std::size_t v = 0; v < run.count; ++v) rows[v] = inBuf + places.of(v);
      const std::size_t used = std::min(shape.inputLength, n);
      buffering::strided::gather_rows(rows, source, signedSize(shape.stride), used, run.count);
      for (std::size_t v = 0; v < run.count; ++v) zeroPadVectors(rows[v], n, used, 1);
      return;
    }
    // A packed run (one unit, or contiguous vectors) moves in one piece; the padded units of a strided
    // complex group one by one.
    const bool packed = places.packed();
    const std::size_t count = packed ? run.count : run.vectorsPerPlan;
    for (std::size_t u = 0; u < (packed ? 1 : run.executions()); ++u) {
      T* const unit = inBuf + places.unit(u);
      const T* const unitSource = source + u * run.vectorsPerPlan * step;
      if (isComplex) {
        gatherPart(unit, unitSource, shape, count);
      } else {
        copyToInputBuffer(unit, unitSource, {shape.stride, shape.inputLength, n}, count);
      }
    }
  }

  // Divides the first element of each of the run's vectors by one divisor, and the others by the other.
  void divideEdges(T* first, const RunPlaces& places, std::size_t count) const {
    const std::size_t n = shape.length;
    for (std::size_t v = 0; v < count; ++v) {
      T* vector = first + places.of(v);
      vector[0] /= edgeDivisors->first;
      divideAll(vector + 1, n - 1, edgeDivisors->rest);
    }
  }

  // Moves one part of the run's transformed vectors from their places in scratch to the array.
  void moveOut(const T* outBuf, const RunPlaces& places, T* destination, std::size_t step,
               const VectorRun<Plan>& run) const {
    const std::size_t n = shape.length;
    if (!isComplex && shape.stride != 1 && run.count > 1) {
      const T* columns[RunCuts::kMaxGroupVectors];
      for (std::size_t v = 0; v < run.count; ++v) columns[v] = outBuf + places.of(v);
      if (streamOut) {
        buffering::strided::stream_scatter_columns(destination, signedSize(shape.stride), columns, run.count,
                                                   n);
      } else {
        buffering::strided::scatter_columns(destination, signedSize(shape.stride), columns, run.count, n);
      }
      return;
    }
    // A packed run moves in one piece, the padded units of a strided complex group one by one.
    const bool packed = places.packed();
    const std::size_t count = packed ? run.count : run.vectorsPerPlan;
    for (std::size_t u = 0; u < (packed ? 1 : run.executions()); ++u) {
      const T* const unit = outBuf + places.unit(u);
      T* const unitDestination = destination + u * run.vectorsPerPlan * step;
      if (isComplex) {
        scatterPart(unitDestination, unit, shape, count);
      } else if (shape.stride != 1) {
        copyFromOutputBuffer(unit, n, count, StridedOutput<T>{unitDestination, shape.stride});
      } else if (streamOut) {
        buffering::contiguous::stream_copy(unitDestination, unit, n * count);
      } else {
        buffering::contiguous::copy(unitDestination, unit, n * count);
      }
    }
  }
};

}  // namespace dcst_detail

// A batch of real-to-real transforms of kind Kind with n above 0 (see quillDCST1D): the path, plans and
// loop of the shared skeleton, with the end division of an inverse call folded into its runs. `context`
// is the driver's own copy.
template <typename T, int Kind>
void runDCSTBatch(fftwContext& context, dcstPlanCacheInterface<T, Kind>* cache, const T* in, T* out,
                  const BatchShape& shape, int direction, bool isComplex, const DCSTPass<T>& pass) {
  const std::size_t n = shape.length;
  const std::size_t width = isComplex ? 2 : 1;
  const bool streamOut =
      !pass.outputReadNext && width * n * shape.numVectors * sizeof(T) >= kStreamingOutputBytes;
  // Interleaved parts always pass through scratch; FFTW writes real vectors straight into the output
  // where they lie contiguously, unless the output streams past the caches.
  const DirectMoves direct =
      isComplex ? DirectMoves{false, false}
                : directMovesFor(shape, {in, sizeof(T), n, true, out, sizeof(T), context.getChunkSize(),
                                         !streamOut, context.getPlanStrategy(n) == FFTW_ESTIMATE});
  // Scratch holds real vectors only: a complex vector passes its two parts through it in turn.
  const ScratchLayout scratch{n * sizeof(T), n * sizeof(T), width * sizeof(T), direct.output ? out : nullptr};
  const dcst_detail::DCSTLoop<T> loop{
      in,           out, shape, isComplex, direct.input, streamOut, direction == 1 ? dcstDivisor<Kind>(n) : 1,
      pass.divisors};
  runBatch<DCSTPlanner<T, Kind>>(context, cache, shape, direction, scratch, loop);
}

}  // namespace tessel_fft
