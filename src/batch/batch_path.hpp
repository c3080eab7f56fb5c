// When a batch is worth tasks or FFTW threads, and how many vectors its scratch holds.
#pragma once

#include <cstdint>

#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// How a batch of vectors runs: spread over tasks (pooled) or in one loop on the calling thread; whether
// the caller lets other threads help at all (a context of one thread runs everything on the calling
// thread: loop, movement kernels and division); and how many threads FFTW's planner gets. A batch is
// parallel across vectors or FFTW is parallel within one long vector, never both.
struct BatchPath {
  bool pooled;
  bool threaded;
  std::uint64_t plannerThreads;

  // Where an inverse's division may spread over tasks: a pooled batch is spread already.
  bool divisionOverTasks() const { return threaded && !pooled; }
};

// Below kBatchWork = n * bitLength(n) * numVectors a batch isn't worth the scheduler; below
// kThreadedVectorLength points a single vector isn't worth FFTW's threads. Integer arithmetic, both
// divisions truncating.
inline BatchPath chooseBatchPath(std::uint64_t numThreads, std::uint64_t numVectors, std::uint64_t n) {
  constexpr std::uint64_t kBatchWork = 0x18000;
  constexpr std::uint64_t kThreadedVectorLength = 65536;
  if (numThreads <= 1) return {false, false, numThreads};
  if (numVectors > 1) {
    std::uint64_t bitLength = 0;
    for (std::uint64_t rest = n; rest != 0; rest >>= 1) ++bitLength;
    return {n > (kBatchWork / numVectors) / bitLength, true, 1};
  }
  return {false, true, n < kThreadedVectorLength ? 1 : numThreads};
}

// The context the plans of a batch see, apart from the caller's: planning only ever runs on private
// scratch (or an output about to be overwritten), which holds one-sided spectra compactly, and the
// planner's thread count (which the plan key records) is the path's, not the caller's.
inline fftwContext plannerContextFor(const fftwContext& caller, const BatchPath& path) {
  fftwContext planner = caller;
  planner.setMayOverwrite(true);
  planner.setEmbedStyle(fftwContext::EMBED_COMPACT);
  planner.setNumThreads(path.plannerThreads);
  return planner;
}

}  // namespace tessel_fft
