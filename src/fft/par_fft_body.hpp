#pragma once

#include <tbb/blocked_range.h>

#include <cstddef>

#include "fft/buffer_managers.hpp"
#include "fft/fft_loop_body.hpp"
#include "fft/pooled_tasks.hpp"
#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// The task body of a pooled run: each call takes a scratch pair from `manager`, runs `Body` (FFTLoopBody
// or FFTLoopBody_StrideOne) on its range, and gives the pair back, also when the body throws. Copied by
// the scheduler, so it holds only values and pointers it doesn't own; the plans are shared read-only.
template <typename T, int Kind, typename Body>
struct ParFFTBody {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;

  void operator()(const tbb::blocked_range<std::size_t>& range) const {
    runOnPooledPair(*manager, range, [this](void* inBuf, void* outBuf, std::size_t begin, std::size_t end) {
      Body()(in, out, stride, n, inputLength, singlePlan, chunkPlan, static_cast<In*>(inBuf),
             static_cast<Out*>(outBuf), begin, end, chunk);
    });
  }

  const In* in;
  Out* out;
  std::size_t stride;
  std::size_t n;
  std::size_t inputLength;
  fftwPlan<T> singlePlan;
  fftwPlan<T> chunkPlan;
  MultiBufferMgr* manager;
  std::size_t chunk;
};

// Runs vectors [0, numVectors) as tasks over the scratch pool of `manager` and returns when all have
// ended; the calling thread takes part. Strided batches keep at least 8 chunks of vectors to a task;
// contiguous batches of fewer than 8 chunks go one or two vectors to a task. An exception of a task
// reaches the caller once, after every pair is back in the pool. Manager is MultiBufferMgr or a class
// derived from it; only the base interface is used.
template <typename T, int Kind, typename Manager>
void runParallelFor(const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                    std::size_t inputLength, Manager& manager, std::size_t chunk, std::size_t stride,
                    std::size_t n, std::size_t numVectors, fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan) {
  MultiBufferMgr* pool = &manager;
  const std::size_t grain = batchGrain(stride, numVectors, chunk);
  if (stride != 1) {
    const ParFFTBody<T, Kind, FFTLoopBody<T, Kind>> body{in,         out,       stride, n,    inputLength,
                                                         singlePlan, chunkPlan, pool,   chunk};
    runBatchTasks(numVectors, grain, body);
  } else {
    const ParFFTBody<T, Kind, FFTLoopBody_StrideOne<T, Kind>> body{
        in, out, stride, n, inputLength, singlePlan, chunkPlan, pool, chunk};
    runBatchTasks(numVectors, grain, body);
  }
}

}  // namespace tessel_fft
