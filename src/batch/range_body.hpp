// The body every batched family runs over a range of vectors: gather a group, execute its plan units,
// divide while hot, move out, fence.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "backend/precision.hpp"
#include "batch/batch_walk.hpp"
#include "batch/scale_inverse.hpp"
#include "batch/vector_moves.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/stream.hpp"
#include "buffering/transpose.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

// What a loop over a range of vectors gets besides its scratch: the plans, how to cut the range, and
// whether an inverse's division may spread over tasks (see BatchPath).
template <typename Plan>
struct LoopSetting {
  PlanPair<Plan> plans;
  GroupCuts cuts;
  bool divisionOverTasks;
};

// How one batch moves, decided once for all its groups (see runBatch).
struct BatchMoves {
  BatchSides sides;
  bool directInput;  // plans read the caller's input vectors where they lie
  bool streamOut;    // the output is too large for the caches
  // Interleaved parts of a strided batch move together: as twice as many real columns at twice the
  // stride, so that each row of a group is read and written once, not once per part.
  bool partsTogether;

  // Columns of the arrays that one vector of a group takes in scratch at once.
  std::size_t columnsPerVector() const { return partsTogether ? sides.parts : 1; }
};

// The hooks of a family that adds nothing to the body: the default.
struct NoHooks {
  // Whether the move out completes one-sided r2c spectra to full ones.
  static constexpr bool completesSpectra = false;
  // Called on `count` gathered vectors in scratch, `pitch` apart, before their plan unit runs.
  template <typename E>
  void beforeUnit(E*, std::size_t, std::size_t) const {}
  // Called on a unit's `count` transformed (and divided) vectors, `pitch` apart, before they move out.
  template <typename E>
  void afterUnit(E*, std::size_t, std::size_t) const {}
  // Runs `plan` on a unit of `count` vectors from `input` to `output`.
  template <typename Plan, typename In, typename Out>
  void runUnit(Plan plan, In* input, Out* output, std::size_t /*count*/) const {
    fftwApi::getInstance().execute(plan, asFftw(input), asFftw(output));
  }
  // Whether the batch must take the walk through scratch, where these hooks run.
  bool keepToWalk() const { return false; }
};

// The loop of one range of vectors. In and Out are the arrays' element types on each side of the plans; Hooks
// is NoHooks or a family's variant of it. Where the output buffer is the output array itself the plans write
// straight into the array, and only an r2c spectrum still moves, in place. Tasks share one body read-only.
template <typename In, typename Out, typename Plan, typename Hooks = NoHooks>
struct RangeBody {
  const In* in;
  Out* out;
  BatchShape shape;
  BatchMoves moves;
  Hooks hooks;

  void operator()(const LoopSetting<Plan>& setting, void* inBuffer, void* outBuffer, std::size_t begin,
                  std::size_t end) const {
    In* const inBuf = static_cast<In*>(inBuffer);
    Out* const outBuf = static_cast<Out*>(outBuffer);
    const bool directOutput = outBuf == out;
    const std::size_t parts = moves.sides.parts;
    walkBatch(shape, setting.plans, setting.cuts, begin, end, [&](const VectorGroup<Plan>& group) {
      const In* const source = in + parts * group.inputOffset;
      Out* const destination = out + parts * group.outputOffset;
      const std::size_t vectorsPerPlan = group.vectorsPerPlan;
      // In the arrays, a unit's vectors lie one after another: only the direct moves, at stride 1, use
      // these places.
      const GroupPlaces inputPlaces =
          moves.directInput
              ? GroupPlaces{shape.inputLength, vectorsPerPlan, vectorsPerPlan * shape.inputLength}
              : GroupPlaces::inScratch(moves.sides.planInputLength, sizeof(In), vectorsPerPlan, setting.cuts);
      const GroupPlaces outputPlaces =
          directOutput
              ? GroupPlaces{moves.sides.planOutputLength, vectorsPerPlan, vectorsPerPlan * shape.length}
              : GroupPlaces::inScratch(moves.sides.planOutputLength, sizeof(Out), vectorsPerPlan,
                                       setting.cuts);
      In* const planInput = moves.directInput ? const_cast<In*>(source) : inBuf;
      Out* const planOutput = directOutput ? destination : outBuf;
      VectorGroup<Plan> placed = group;
      placed.count *= moves.columnsPerVector();
      for (std::size_t part = 0; part < parts / moves.columnsPerVector(); ++part) {
        if (!moves.directInput) load(inBuf, inputPlaces, source + part, placed);
        for (std::size_t u = 0; u < placed.executions(); ++u) {
          In* const unitInput = planInput + inputPlaces.unit(u);
          Out* const unitOutput = planOutput + outputPlaces.unit(u);
          hooks.beforeUnit(unitInput, inputPlaces.vectorPitch, vectorsPerPlan);
          hooks.runUnit(group.plan, unitInput, unitOutput, vectorsPerPlan);
          if (moves.sides.divisor != 1)
            scaleInverse(unitOutput, moves.sides.divisor, vectorsPerPlan * outputPlaces.vectorPitch,
                         setting.divisionOverTasks);
          hooks.afterUnit(unitOutput, outputPlaces.vectorPitch, vectorsPerPlan);
        }
        moveOut(planOutput, outputPlaces, destination + part, placed);
      }
    });
    if (moves.streamOut) buffering::streamFence();
  }

  // In the arrays, a group's vectors are adjacent columns, or at stride 1 whole vectors one after another.
  std::size_t arrayStep(std::size_t length) const {
    return moves.sides.parts * (shape.stride == 1 ? length : 1);
  }

  // Whether `count` vectors of one block move through the rows of their columns at once, which the
  // gather does for several plan units and the move out for several vectors.
  bool byRows(std::size_t count) const {
    return (moves.sides.parts == 1 || moves.partsTogether) && shape.stride != 1 && count > 1;
  }
  // The distance between rows of the columns that move by rows, in the arrays' elements.
  std::ptrdiff_t rowPitch() const {
    return static_cast<std::ptrdiff_t>(moves.columnsPerVector() * shape.stride);
  }

  // Gathers one part of the group's vectors (or both, where they move together) into their places in scratch,
  // cut to or padded with zeros to the length the plans read. A strided group is one pass over the rows of
  // its columns; a packed group (one unit, or contiguous vectors) moves in one piece, other units one by one.
  void load(In* inBuf, const GroupPlaces& places, const In* source, const VectorGroup<Plan>& group) const {
    const std::size_t logical = places.vectorPitch;
    if (byRows(group.executions())) {
      In* rows[GroupCuts::kMaxGroupVectors];
      for (std::size_t v = 0; v < group.count; ++v) rows[v] = inBuf + places.of(v);
      const std::size_t used = std::min(shape.inputLength, logical);
      buffering::strided::gather_rows(rows, source, rowPitch(), used, group.count);
      for (std::size_t v = 0; v < group.count; ++v) zeroPadVectors(rows[v], logical, used, 1);
      return;
    }
    const bool packed = places.packed();
    const std::size_t count = packed ? group.count : group.vectorsPerPlan;
    const std::size_t step = arrayStep(shape.inputLength);
    for (std::size_t u = 0; u < (packed ? 1 : group.executions()); ++u) {
      loadVectors(inBuf + places.unit(u), source + u * group.vectorsPerPlan * step,
                  {shape.stride, shape.inputLength, logical}, moves.sides.parts, count);
    }
  }

  // Moves one part of the group's transformed vectors (or both) from their places to the array, completing
  // r2c spectra where the family asks for it.
  void moveOut(Out* planOutput, const GroupPlaces& places, Out* destination,
               const VectorGroup<Plan>& group) const {
    const std::size_t n = shape.length;
    const std::size_t stride = shape.stride;
    if (byRows(group.count)) {
      const Out* columns[GroupCuts::kMaxGroupVectors];
      for (std::size_t v = 0; v < group.count; ++v) columns[v] = planOutput + places.of(v);
      const std::ptrdiff_t dstStride = rowPitch();
      if constexpr (Hooks::completesSpectra) {
        // The one-sided half row by row, then the mirror from the last row down: row n-1-r takes the
        // conjugate of element 1+r.
        const std::size_t h = oneSidedLength(n);
        buffering::strided::scatter_columns(destination, dstStride, columns, group.count, h);
        for (std::size_t v = 0; v < group.count; ++v) ++columns[v];
        buffering::strided::conjugate_scatter_columns(destination + (n - 1) * stride, -dstStride, columns,
                                                      group.count, n - h);
        return;
      }
      if (moves.streamOut) {
        buffering::strided::stream_scatter_columns(destination, dstStride, columns, group.count, n);
      } else {
        buffering::strided::scatter_columns(destination, dstStride, columns, group.count, n);
      }
      return;
    }
    // Units apart from each other (padded in scratch, or an r2c spectrum FFTW wrote into the array) move
    // one by one, a packed group in one piece.
    const bool packed = places.packed();
    const std::size_t units = packed ? 1 : group.executions();
    const std::size_t count = packed ? group.count : group.vectorsPerPlan;
    const std::size_t step = arrayStep(n);
    for (std::size_t u = 0; u < units; ++u) {
      Out* const unitOutput = planOutput + places.unit(u);
      Out* const unitDestination = destination + u * group.vectorsPerPlan * step;
      if constexpr (Hooks::completesSpectra) {
        if (stride == 1) {
          copyFromOutputBuffer(unitOutput, n, count, unitDestination, r2cTag{});
        } else {
          copyFromOutputBuffer(unitOutput, n, count, StridedOutput<Out>{unitDestination, stride}, r2cTag{});
        }
      } else if (places.vectorPitch != n) {
        // Vectors with room to spare in scratch (the extension road's) move one by one.
        for (std::size_t v = 0; v < count; ++v)
          storeVectors(unitDestination + v * arrayStep(n),
                       static_cast<const Out*>(unitOutput + v * places.vectorPitch), stride, n,
                       moves.sides.parts, 1, moves.streamOut);
      } else {
        storeVectors(unitDestination, static_cast<const Out*>(unitOutput), stride, n, moves.sides.parts,
                     count, moves.streamOut);
      }
    }
  }
};

}  // namespace tessel_fft
