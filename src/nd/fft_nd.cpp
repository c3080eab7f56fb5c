// The N-D FFTs: one batched pass per transformed dimension, between the caller's arrays and scratch.
#include "tessel_fft/fft_nd.hpp"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <complex>
#include <cstdint>
#include <optional>

#include "backend/aligned_scratch.hpp"
#include "backend/precision.hpp"
#include "fft/fft_batch.hpp"
#include "nd/fft_passes.hpp"

namespace tessel_fft {

namespace {

// Where each array of the passes lies.
struct NDArrays {
  const void* input;
  void* output;
  void* first;
  void* second;

  void* operator[](NDArray array) const {
    switch (array) {
      case NDArray::input:
        return const_cast<void*>(input);
      case NDArray::output:
        return output;
      case NDArray::first:
        return first;
      case NDArray::second:
        return second;
    }
    return nullptr;
  }
};

// One pass of kind Kind under a fresh copy of the context, as quillFFT1D runs it, over the whole arrays or
// over step `step` of `steps` equal parts of them, each of whole slabs.
template <typename T, int Kind>
void runPass(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
             const NDArrays& arrays, const NDPass& pass, const FFTPass& how, std::size_t step,
             std::size_t steps) {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  fftwContext passContext = context;
  BatchShape batch = pass.batch;
  batch.numVectors /= steps;
  const std::size_t sourceStep = pass.sourceBytes / steps, targetStep = pass.targetBytes / steps;
  runFFTBatch<T, Kind>(
      passContext, cache,
      reinterpret_cast<const In*>(static_cast<const char*>(arrays[pass.source]) + step * sourceStep),
      reinterpret_cast<Out*>(static_cast<char*>(arrays[pass.target]) + step * targetStep), batch, how);
}

}  // namespace

template <typename T, int Kind>
void fftND(fftwContext context, const fftNDCaches<T>& caches, const typename fftElements<T, Kind>::In* in,
           typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign) {
  for (std::uint64_t d = 0; d < shape.ndims; ++d)
    if (shape.lengths[d] == 0) return;
  const NDPasses recipe =
      ndPassesOf(Kind, sizeof(T), shape.lengths, shape.inputExtents, shape.ndims, shape.axes, shape.naxes);
  std::optional<AlignedScratch> first, second;
  if (recipe.firstBytes != 0) first.emplace(recipe.firstBytes, 0);
  if (recipe.secondBytes != 0) second.emplace(recipe.secondBytes, 0);
  const NDArrays arrays{in, out, first ? first->get() : nullptr, second ? second->get() : nullptr};
  const bool divide = sign == FFTW_BACKWARD;
  // The c2c passes run FFTW's forward transform in a forward call and its backward one in an inverse.
  const int complexSign =
      Kind == c2r || (Kind == c2c && sign == FFTW_BACKWARD) ? FFTW_BACKWARD : FFTW_FORWARD;
  const std::size_t count = recipe.passes.size();
  const auto run = [&](std::size_t p, const fftwContext& passContext, std::size_t step, std::size_t steps) {
    const NDPass& pass = recipe.passes[p];
    const bool readNext = p + 1 < count;
    if (pass.batch.numVectors == 0) return;
    if (pass.kind == r2c) {
      runPass<T, r2c>(passContext, caches.realToComplex, arrays, pass, {sign, divide, true, readNext}, step,
                      steps);
    } else if (pass.kind == c2r) {
      runPass<T, c2r>(passContext, caches.complexToReal, arrays, pass, {sign, divide, false, readNext}, step,
                      steps);
    } else {
      runPass<T, c2c>(passContext, caches.complexToComplex, arrays, pass,
                      {complexSign, divide, false, readNext}, step, steps);
    }
  };
  std::size_t p = 0;
  for (const NDSlabGroup& group : recipe.slabGroups) {
    for (; p < group.firstPass; ++p) run(p, context, 0, 1);
    // Steps spread over tasks as the vectors of a batch would, each step on one thread.
    const BatchShape& firstBatch = recipe.passes[group.firstPass].batch;
    const std::uint64_t stepPoints = firstBatch.numVectors * firstBatch.length / group.steps;
    const BatchPath path = chooseBatchPath(context.getNumThreads(), group.steps, stepPoints);
    fftwContext stepContext = context;
    stepContext.setNumThreads(1);
    const auto runStep = [&](std::size_t step) {
      for (std::size_t q = group.firstPass; q < group.firstPass + group.passCount; ++q)
        run(q, stepContext, step, group.steps);
    };
    if (path.pooled) {
      tbb::parallel_for(tbb::blocked_range<std::size_t>(0, group.steps),
                        [&](const tbb::blocked_range<std::size_t>& range) {
                          for (std::size_t step = range.begin(); step < range.end(); ++step) runStep(step);
                        });
    } else {
      onCallingThreadOnly(group.steps * stepPoints * sizeof(T), [&] {
        for (std::size_t step = 0; step < group.steps; ++step) runStep(step);
      });
    }
    p = group.firstPass + group.passCount;
  }
  for (; p < count; ++p) run(p, context, 0, 1);
}

#define TESSEL_FFT_ND(T, Kind) template TESSEL_FFT_API decltype(fftND<T, Kind>) fftND<T, Kind>;
TESSEL_FOR_EACH_FFT_TYPE(TESSEL_FFT_ND)

}  // namespace tessel_fft
