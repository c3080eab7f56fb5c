// The skeleton the batched FFT and cosine/sine entries run on, and the passes of the N-D transforms under
// a context: scratch, plans, then the loop on one thread or as tasks.
#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>

#include "backend/aligned_scratch.hpp"
#include "batch/array_plan.hpp"
#include "batch/batch_path.hpp"
#include "batch/batch_plans.hpp"
#include "batch/batch_walk.hpp"
#include "batch/buffer_managers.hpp"
#include "batch/range_body.hpp"
#include "buffering/element_functors.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// What one vector needs in scratch, in bytes, on each side of the plan, and the size of one element of
// the caller's input array. With a `sharedOutput` the plans write straight into that array (the
// caller's output) and only input blocks are allocated.
struct ScratchLayout {
  std::size_t inputVectorBytes;
  std::size_t outputVectorBytes;
  std::size_t arrayElementBytes;
  void* sharedOutput;
};

// Sizes of the groups of chunks that move together, in bytes. A strided gather reads each row of a
// group's columns as one piece of kGroupRowBytes: whole cache lines, where a chunk alone may read half of
// one. Contiguous vectors move in groups of about kContiguousGroupBytes, which amortises a step's fixed
// costs over tiny vectors; larger ones were slower (vectors of 64 complex doubles in groups of one 4 KiB
// chunk took three quarters of the time that groups of 8 to 64 KiB took on a 2-core AMD EPYC). Neither
// lets a group's scratch grow past kGroupScratchBytes per side, so that a group stays in the outer caches
// between its gather, its plans and its move out.
inline constexpr std::size_t kGroupRowBytes = 256;
inline constexpr std::size_t kContiguousGroupBytes = 4 * buffering::kKiB;
inline constexpr std::size_t kGroupScratchBytes = 1 * buffering::kMiB;
// Work per task of a pooled batch, input and output together: enough to hide the cost of a task and of
// its scratch hand-over, small enough that a batch still spreads over many tasks.
inline constexpr std::size_t kTaskBytes = 512 * buffering::kKiB;
// Batches whose output takes at least this much move it out with cache-bypassing stores: such an
// output doesn't stay in the caches anyway, and a cached store would first read each line it overwrites.
inline constexpr std::size_t kStreamingOutputBytes = 8 * buffering::kMiB;
// Tasks a pooled batch is cut into at least, where it has that many groups, so that threads that start
// late still find work.
inline constexpr std::size_t kMinTasks = 16;

// Chunks larger than this bypass scratch where the layout allows: FFTW's own passes over vectors that
// large go through memory anyway, and a copy through scratch would only add one.
inline constexpr std::size_t kDirectChunkBytes = 1 * buffering::kMiB;

// Where the plans of a batch may work on the caller's arrays instead of scratch. Plans are bound to the
// 16-byte residue 0 of scratch, so every vector there must keep it; an out-of-place plan must never run
// with its input and output overlapping; and only plans that leave their input as it was (out-of-place
// plans of every kind but c2r) may read the caller's input.
struct DirectMoves {
  bool input;
  bool output;
};

// What decides the direct moves of one batch: the arrays with their element sizes, the vector length the
// plans read, whether they keep their input, the chunk size, whether the family finds writing the output
// directly the faster way for this batch anyway, and whether its plans are made by estimate (a planner
// that measures writes the output array it is given).
struct ArrayAccess {
  const void* in;
  std::size_t inElementBytes;
  std::size_t planInputLength;
  bool plansKeepInput;
  void* out;
  std::size_t outElementBytes;
  std::size_t chunk;
  bool outputDirectIsFaster;
  bool plansByEstimate;
};

// Reading in place pays only for chunks beyond kDirectChunkBytes: smaller ones FFTW's codelets read
// several vectors in lockstep, which memory serves worse than one sequential copy. The same array read
// and written vector for vector may be written in place, since scratch holds a group's input by then, but
// only under plans made by estimate: a measuring planner would overwrite the input before any group moves.
inline DirectMoves directMovesFor(const BatchShape& shape, const ArrayAccess& access) {
  if (shape.stride != 1) return {false, false};
  const std::size_t inputVectorBytes = shape.inputLength * access.inElementBytes;
  const std::size_t outputVectorBytes = shape.length * access.outElementBytes;
  const auto* inFirst = static_cast<const char*>(access.in);
  const auto* outFirst = static_cast<const char*>(access.out);
  const bool disjoint = inFirst + shape.numVectors * inputVectorBytes <= outFirst ||
                        outFirst + shape.numVectors * outputVectorBytes <= inFirst;
  const bool sameLayout = inFirst == outFirst && inputVectorBytes == outputVectorBytes;
  const auto keepsResidue = [&](const void* first, std::size_t vectorBytes) {
    return addressResidue(first) == 0 && (shape.numVectors <= 1 || vectorBytes % kPlanAlignment == 0);
  };
  const auto bigChunks = [&](std::size_t vectorBytes) {
    return access.chunk * vectorBytes > kDirectChunkBytes;
  };
  return {disjoint && access.plansKeepInput && shape.inputLength == access.planInputLength &&
              bigChunks(inputVectorBytes) && keepsResidue(access.in, inputVectorBytes),
          (disjoint || (sameLayout && access.plansByEstimate)) &&
              (access.outputDirectIsFaster || bigChunks(outputVectorBytes)) &&
              keepsResidue(access.out, outputVectorBytes)};
}

// Runs `work` on the calling thread alone: the parallel loops that the movement kernels nest for large
// moves then find no other thread to share with. An arena of one slot costs about a microsecond, so
// batches too small for any kernel to go parallel skip it.
template <typename Work>
void onCallingThreadOnly(std::size_t batchBytes, const Work& work) {
  if (batchBytes < buffering::kSerialBelowBytes) {
    work();
    return;
  }
  tbb::task_arena callerOnly(1);
  callerOnly.execute(work);
}

// How the walk cuts this batch. Chunks group only where every place in scratch keeps the alignment the
// plans were made for, that is where a vector's scratch takes a whole number of 16-byte units.
inline GroupCuts groupCutsFor(const BatchShape& shape, const ScratchLayout& scratch, const PlanNeeds& needs,
                              std::size_t chunk) {
  const bool aligned =
      scratch.inputVectorBytes % kPlanAlignment == 0 && scratch.outputVectorBytes % kPlanAlignment == 0;
  if (!aligned || needs.bufferVectors == 1) return {chunk, 1, false};
  const std::size_t chunkScratchBytes = chunk * std::max(scratch.inputVectorBytes, scratch.outputVectorBytes);
  const std::size_t wanted = shape.stride == 1 ? kContiguousGroupBytes / (chunk * scratch.inputVectorBytes)
                                               : (kGroupRowBytes + chunk * scratch.arrayElementBytes - 1) /
                                                     (chunk * scratch.arrayElementBytes);
  const std::size_t fitting = kGroupScratchBytes / chunkScratchBytes;
  const std::size_t needed = (shape.stretch() + chunk - 1) / chunk;
  const std::size_t listed = GroupCuts::kMaxGroupVectors / chunk;
  const std::size_t chunksPerGroup = std::max<std::size_t>(1, std::min({wanted, fitting, needed, listed}));
  return {chunk, chunksPerGroup, chunksPerGroup > 1 && shape.stride != 1};
}

// Cuts the groups of a batch into tasks that each run loop(inBlock, outBlock, begin, end) on a pair from
// `manager`, with the calling thread taking part; returns when all have ended. An exception of a task
// comes out here once, after every pair is back in the pool. A thread never runs two tasks of the batch at
// once. `groupBytes` is the scratch a group passes through, which sizes the tasks.
template <typename Loop>
void runTasks(MultiBufferMgr& manager, const BatchGroups& groups, std::size_t groupBytes, const Loop& loop) {
  const std::size_t count = groups.count();
  const std::size_t grain = std::max<std::size_t>(
      1, std::min(kTaskBytes / std::max<std::size_t>(groupBytes, 1), count / kMinTasks));
  tbb::parallel_for(
      tbb::blocked_range<std::size_t>(0, count, grain),
      [&](const tbb::blocked_range<std::size_t>& range) {
        const std::size_t begin = groups.firstVector(range.begin());
        const std::size_t end = groups.firstVector(range.end());
        withPooledPair(manager, [&](void* input, void* output) {
          // The movement kernels nest parallel loops inside a task. A thread waiting for one may otherwise
          // pick up another task of this batch, which under memory shortage would wait for the pair that
          // this thread holds further down its stack.
          tbb::this_task_arena::isolate([&] { loop(input, output, begin, end); });
        });
      },
      tbb::simple_partitioner());
}

// Runs a batch whose transform length is not 0 from `in` to `out` (arrays of the plans' element values):
// decides the direct moves and streaming, chooses the path from the caller's thread count and gives the
// plans a context of their own (see plannerContextFor), gets scratch and plans, and runs the family's
// RangeBody over the whole batch on the calling thread, or per task over a pool of scratch pairs. All
// scratch and owned plans are released before it returns, also when an exception passes.
// Planner is FFTPlanner or DCSTPlanner; `sign` is the FFT sign or DCST direction.
template <typename Planner, typename Hooks = NoHooks, typename In, typename Out>
void runBatch(const fftwContext& caller, typename Planner::Cache* cache, const BatchShape& shape, int sign,
              const In* in, Out* out, const BatchSides& sides, const Hooks& hooks = {}) {
  const std::size_t n = shape.length;
  const std::size_t planLength = sides.transformLength;
  const bool streamOut =
      !sides.outputReadNext && sides.parts * n * shape.numVectors * sizeof(Out) >= kStreamingOutputBytes;
  // Interleaved parts always pass through scratch, as do plans whose layout isn't the arrays'; FFTW writes
  // the output itself where it stays in the caches anyway.
  const DirectMoves direct =
      sides.parts != 1 || sides.plansOnScratchOnly
          ? DirectMoves{false, false}
          : directMovesFor(shape, {in, sizeof(In), sides.planInputLength, sides.plansKeepInput, out,
                                   sizeof(Out), caller.getChunkSize(), !streamOut,
                                   caller.getPlanStrategy(planLength) == FFTW_ESTIMATE});
  // Scratch holds one part of a vector: an interleaved one passes its two parts through it in turn.
  const ScratchLayout scratch{sides.planInputLength * sizeof(In), sides.planOutputLength * sizeof(Out),
                              sides.parts * sizeof(In), direct.output ? out : nullptr};
  const RangeBody<In, Out, typename Planner::Plan, Hooks> body{
      in, out, shape, {sides, direct.input, streamOut}, hooks};

  const BatchPath path = chooseBatchPath(caller.getNumThreads(), shape.numVectors, planLength);
  const fftwContext context = plannerContextFor(caller, path);
  const bool arrayRoad =
      !hooks.keepToWalk() &&
      arrayPlansServe(shape, sides, sizeof(In), sizeof(Out),
                      context.getPlanStrategy(planLength) != FFTW_ESTIMATE, sides.arrayPlanLength);
  // The host's cache sees the same requests on either way.
  const auto onArrays = [&] {
    return arrayRoad && runOnArrays<Planner, Hooks>(context, path.pooled ? caller.getNumThreads() : 1, shape,
                                                    sign, in, out, sides);
  };
  const std::size_t chunk = context.getChunkSize();
  const PlanNeeds needs = PlanNeeds::of(shape, chunk, path.pooled);
  const GroupCuts cuts = groupCutsFor(shape, scratch, needs, chunk);
  const bool grouped = needs.bufferVectors != 1;
  const std::size_t inputBytes =
      grouped ? cuts.scratchBytes(scratch.inputVectorBytes) : scratch.inputVectorBytes;
  const std::size_t outputBytes = scratch.sharedOutput != nullptr ? 0
                                  : grouped ? cuts.scratchBytes(scratch.outputVectorBytes)
                                            : scratch.outputVectorBytes;
  BatchPlans<Planner> plans(&context, cache, planLength, sign);
  const auto loopOver = [&](void* inBlock, void* outBlock, std::size_t begin, std::size_t end) {
    body(LoopSetting<typename Planner::Plan>{plans.plans(), cuts, path.divisionOverTasks()}, inBlock,
         outBlock, begin, end);
  };
  const auto runPooled = [&](MultiBufferMgr& manager) {
    plans.preparePooled(manager, needs);
    if (onArrays()) return;
    const std::size_t groupBytes =
        cuts.groupVectors() * (scratch.inputVectorBytes + scratch.outputVectorBytes);
    runTasks(manager, BatchGroups{shape, cuts.groupVectors()}, groupBytes, loopOver);
  };
  if (!path.pooled) {
    ScratchBufferPair pair(inputBytes, outputBytes, scratch.sharedOutput);
    plans.prepareDirect(pair, needs);
    if (onArrays()) return;
    const auto loopOverAll = [&] { loopOver(pair.input, pair.output, 0, shape.numVectors); };
    if (path.threaded) {
      loopOverAll();
    } else {
      // The larger side of the arrays: no move of the batch takes more.
      onCallingThreadOnly(
          shape.numVectors * sides.parts * std::max(shape.inputLength * sizeof(In), n * sizeof(Out)),
          loopOverAll);
    }
  } else if (scratch.sharedOutput != nullptr) {
    MultipleInputOnlyBufferMgr manager(inputBytes, 0, scratch.sharedOutput);
    runPooled(manager);
  } else {
    MultiBufferMgr manager(inputBytes, outputBytes);
    runPooled(manager);
  }
}

}  // namespace tessel_fft
