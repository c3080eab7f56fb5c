// The executor every road runs on: the steps of a road (the walk's groups, the slabs of plans over the
// arrays, the slab steps of an N-D FFT, the pair groups of the paired N-D DCT) spread over tasks or run in
// order on the calling thread, as its recipe says.
#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "batch/batch_walk.hpp"
#include "batch/buffer_managers.hpp"
#include "batch/policy.hpp"

namespace tessel_fft {

// How the steps of a road spread: over tasks of `grain` steps each, the calling thread taking part; or in
// order on the calling thread, alone where `callerOnly` (a context of one thread: the parallel loops
// that the movement kernels nest for large moves then find no other thread to share with).
struct StepSpread {
  bool overTasks;
  std::size_t grain;
  bool callerOnly;
};

// Runs step(begin, end) over the steps [0, count) as `spread` says; returns when all have ended. An
// exception of a task comes out here once.
template <typename Step>
void runSteps(const StepSpread& spread, std::size_t count, const Step& step) {
  if (spread.overTasks) {
    tbb::parallel_for(
        tbb::blocked_range<std::size_t>(0, count, std::max<std::size_t>(1, spread.grain)),
        [&](const tbb::blocked_range<std::size_t>& range) { step(range.begin(), range.end()); },
        tbb::simple_partitioner());
  } else if (spread.callerOnly) {
    tbb::task_arena callerOnly(1);
    callerOnly.execute([&] { step(std::size_t{0}, count); });
  } else {
    step(std::size_t{0}, count);
  }
}

// How the slab steps of an N-D call spread: over tasks as the vectors of a batch would, each step then
// on one thread, where `count` steps of `stepPoints` points are worth it; `bytes` is the array's size.
inline StepSpread slabStepSpread(std::uint64_t threads, std::size_t count, std::uint64_t stepPoints,
                                 std::size_t bytes) {
  const BatchPath path = chooseBatchPath(threads, count, stepPoints);
  return {path.pooled, 1, needsCallerOnlyArena(path.threaded, bytes)};
}

// Runs step(s) for each s in [0, count): the first on the calling thread, then `afterFirst()`, then the
// others as `spread` says. What only the calling thread may do (ask the host's cache) happens in the
// first step, and `afterFirst` hands its results to the others.
template <typename Step, typename AfterFirst>
void runStepsAfterFirst(const StepSpread& spread, std::size_t count, const Step& step,
                        const AfterFirst& afterFirst) {
  if (count == 0) return;
  step(std::size_t{0});
  afterFirst();
  runSteps(spread, count - 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t s = first; s < last; ++s) step(s + 1);
  });
}

// Cuts the steps of a batch (`steps`: its groups, or its chunks) into tasks of `grain` steps that each run
// loop(inBuffer, outBuffer, begin, end) on a pair from `manager`, with the calling thread taking part;
// returns when all have ended. An exception of a task comes out here once, after every pair is back in
// the pool. A thread never runs two tasks of the batch at once.
template <typename Loop>
void runTasks(MultiBufferMgr& manager, const BatchGroups& steps, std::size_t grain, const Loop& loop) {
  const std::size_t count = steps.count();
  runSteps({true, grain, false}, count, [&](std::size_t first, std::size_t last) {
    const std::size_t begin = steps.firstVector(first);
    const std::size_t end = steps.firstVector(last);
    withPooledPair(manager, [&](void* input, void* output) {
      // The movement kernels nest parallel loops inside a task. A thread waiting for one may otherwise
      // pick up another task of this batch, which under memory shortage would wait for the pair that
      // this thread holds further down its stack.
      tbb::this_task_arena::isolate([&] { loop(input, output, begin, end); });
    });
  });
}

}  // namespace tessel_fft
