#pragma once

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <cstddef>

#include "fft/buffer_managers.hpp"

namespace tessel_fft {

// Vectors per task. A strided batch keeps at least four chunks' worth of vectors together; a small
// contiguous batch spreads one or two vectors to a task.
inline std::size_t batchGrain(std::size_t stride, std::size_t numVectors, std::size_t chunk) {
  if (stride != 1) return 8 * chunk;
  return numVectors < 8 * chunk ? 2 : 8 * chunk;
}

// Runs loop(inBuf, outBuf, begin, end) on a pair taken from `manager` and gives the pair back, also
// when `loop` throws, so no pair is lost to a failed task.
template <typename Loop>
void runOnPooledPair(MultiBufferMgr& manager, const tbb::blocked_range<std::size_t>& range,
                     const Loop& loop) {
  BufferPair pair;
  manager.acquireBuffers(pair);
  void* output = manager.outputBuffer(pair);
  try {
    loop(pair.input, output, range.begin(), range.end());
  } catch (...) {
    manager.releaseBuffers(pair.input, output);
    throw;
  }
  manager.releaseBuffers(pair.input, output);
}

// Cuts [0, numVectors) into tasks by halving while a range holds more than `grain` vectors; the calling
// thread runs the first task itself. Returns when all tasks have ended; an exception of a task comes
// out here once.
template <typename TaskBody>
void runBatchTasks(std::size_t numVectors, std::size_t grain, const TaskBody& body) {
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, numVectors, grain), body, tbb::simple_partitioner());
}

}  // namespace tessel_fft
