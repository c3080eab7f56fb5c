#pragma once

#include <tbb/blocked_range.h>

#include <cstddef>

#include "dcst/dcst_loop_body.hpp"
#include "fft/buffer_managers.hpp"
#include "fft/pooled_tasks.hpp"
#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// The task of a pooled DCST run: takes a scratch pair from `manager`, runs Body (DCSTLoopBody or
// DCSTLoopBody_StrideOne) on its range of vectors, and gives the pair back, also when Body throws.
// Copied by the scheduler, so it holds values and non-owning pointers only; the plans are shared
// read-only by all tasks.
template <typename T, int Kind, typename Body>
struct ParDCSTBody {
  const T* in;
  T* out;
  std::size_t stride;
  std::size_t n;
  std::size_t inputLength;
  fftwPlan<T> singlePlan;
  fftwPlan<T> chunkPlan;
  MultiBufferMgr* manager;
  std::size_t chunk;
  bool isComplex;

  void operator()(const tbb::blocked_range<std::size_t>& range) const {
    runOnPooledPair(*manager, range, [this](void* inBuf, void* outBuf, std::size_t begin, std::size_t end) {
      Body()(in, out, stride, n, inputLength, singlePlan, chunkPlan, static_cast<T*>(inBuf),
             static_cast<T*>(outBuf), begin, end, chunk, isComplex);
    });
  }
};

// Runs vectors [0, numVectors) as ParDCSTBody tasks over `manager`'s pool and returns when all have
// ended. A strided batch keeps 8 * chunk vectors to a task; a small contiguous batch spreads out two
// vectors to a task. Cuts fall anywhere, so `singlePlan` must exist. An exception of a task comes out
// here once, after the running tasks have ended and given back their pairs.
template <typename T, int Kind>
void runDCSTParallelFor(const T* in, T* out, std::size_t inputLength, MultiBufferMgr* manager,
                        std::size_t chunk, std::size_t stride, std::size_t n, std::size_t numVectors,
                        fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, bool isComplex) {
  const std::size_t grain = batchGrain(stride, numVectors, chunk);
  if (stride != 1) {
    const ParDCSTBody<T, Kind, DCSTLoopBody<T, Kind>> body{in,         out,       stride,  n,     inputLength,
                                                           singlePlan, chunkPlan, manager, chunk, isComplex};
    runBatchTasks(numVectors, grain, body);
  } else {
    const ParDCSTBody<T, Kind, DCSTLoopBody_StrideOne<T, Kind>> body{
        in, out, stride, n, inputLength, singlePlan, chunkPlan, manager, chunk, isComplex};
    runBatchTasks(numVectors, grain, body);
  }
}

}  // namespace tessel_fft
