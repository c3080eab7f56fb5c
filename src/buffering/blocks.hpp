// How the buffering kernels cut a large copy into tasks: a tbb::parallel_for in its index form with a step
// (the completing move runs its two halves with tbb::parallel_invoke instead).
#pragma once

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <algorithm>
#include <cstddef>

namespace tessel_fft::buffering::detail {

// Calls block(first, length) for the consecutive blocks of `step` indices (the last one shorter) that
// cover [0, n), concurrently, and returns when all are done. With n == 0 it returns without touching the
// scheduler. `block` must be safe to run concurrently on disjoint blocks.
template <typename Block>
void forEachBlock(std::size_t n, std::size_t step, const Block& block) {
  if (n == 0) return;
  tbb::parallel_for(
      std::size_t{0}, n, step, [&](std::size_t first) { block(first, std::min(step, n - first)); },
      tbb::auto_partitioner());
}

}  // namespace tessel_fft::buffering::detail
