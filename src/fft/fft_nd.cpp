// The N-D FFTs: one batched pass per transformed dimension, between the caller's arrays and scratch.
#include "tessel_fft/fft_nd.hpp"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "backend/aligned_scratch.hpp"
#include "backend/planner_threads.hpp"
#include "backend/precision.hpp"
#include "batch/executor.hpp"
#include "batch/policy.hpp"
#include "batch/scale_inverse.hpp"
#include "fft/fft_batch.hpp"
#include "fft/fft_passes.hpp"
#include "plans/owned_plan.hpp"
#include "plans/plan_acquisition.hpp"
#include "plans/step_plan_cache.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

namespace {

// Where each array of the passes lies.
struct NDArrays {
  char* places[4];  // by NDArray: the caller's input (read only), output, first and second scratch

  char* operator[](NDArray array) const { return places[static_cast<int>(array)]; }
};

// One pass of kind Kind under a fresh copy of the context, as quillFFT1D runs it, over the whole arrays or
// over step `step` of `steps` equal parts of them, each of whole slabs.
template <typename T, int Kind>
void runPass(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
             const NDArrays& arrays, const NDPass& pass, const FFTPass& how, std::size_t step,
             std::size_t steps) {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  BatchShape batch = pass.batch;
  batch.numVectors /= steps;
  const std::size_t sourceStep = pass.sourceBytes / steps, targetStep = pass.targetBytes / steps;
  runFFTBatch<T, Kind>(context, cache, reinterpret_cast<const In*>(arrays[pass.source] + step * sourceStep),
                       reinterpret_cast<Out*>(arrays[pass.target] + step * targetStep), batch, how);
}

// The FFT of every dimension of the arrays through one plan of FFTW's, for a call that wholeArrayServes;
// false, having done nothing, where FFTW has no such plan. The plan is made per call (see
// planOverCallerArrays): never on the caller's data. FFTW's c2r of more than one dimension overwrites its
// input, so a c2r transforms a copy.
template <typename T, int Kind>
bool runWholeArray(const fftwContext& context, const typename fftElements<T, Kind>::In* in,
                   typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign) {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  using FftwIn = std::remove_pointer_t<decltype(asFftw(std::declval<In*>()))>;
  using FftwOut = std::remove_pointer_t<decltype(asFftw(std::declval<Out*>()))>;
  std::uint64_t points = 1, longest = 1, inCount = 1, outCount = 1;
  std::vector<fftw_iodim64> dims(shape.ndims);
  for (std::uint64_t d = 0; d < shape.ndims; ++d) {
    const std::uint64_t n = shape.lengths[d];
    const std::uint64_t outExtent = Kind == r2c && d == 0 ? oneSidedLength(n) : n;
    // FFTW counts dimensions row-major: the contiguous one last.
    dims[shape.ndims - 1 - d] = {static_cast<std::ptrdiff_t>(n), static_cast<std::ptrdiff_t>(inCount),
                                 static_cast<std::ptrdiff_t>(outCount)};
    points *= n;
    inCount *= shape.inputExtents[d];
    outCount *= outExtent;
    longest = std::max(longest, n);
  }
  const fftwApi& api = fftwApi::getInstance();
  const int rank = static_cast<int>(shape.ndims);
  const auto planOn = [&](FftwIn* source, FftwOut* target, unsigned flags) {
    return api.plan(rank, dims.data(), 0, nullptr, source, target, sign, flags);
  };
  const std::uint64_t threads = fftwThreadsFor(context.getNumThreads(), false);
  planWithThreads<T>(static_cast<int>(threads));
  const OwnedPlan<fftwPlan<T>> plan(
      planOverCallerArrays(context.getPlanStrategy(longest), asFftw(const_cast<In*>(in)), asFftw(out),
                           inCount * sizeof(In), outCount * sizeof(Out), kArrayMeasureScratchBytes, planOn),
      true);
  if (plan.get() == nullptr) return false;
  if constexpr (Kind == c2r) {
    const AlignedScratch spectrum(inCount * sizeof(In), addressResidue(in));
    In* const copy = static_cast<In*>(spectrum.get());
    std::copy(in, in + inCount, copy);
    api.execute(plan.get(), asFftw(copy), asFftw(out));
  } else {
    api.execute(plan.get(), asFftw(const_cast<In*>(in)), asFftw(out));
  }
  if (sign == FFTW_BACKWARD) scaleInverse(out, points, outCount, threads > 1);
  return true;
}

}  // namespace

template <typename T, int Kind>
void fftND(fftwContext context, const fftNDCaches<T>& caches, const typename fftElements<T, Kind>::In* in,
           typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign) {
  for (std::uint64_t d = 0; d < shape.ndims; ++d)
    if (shape.lengths[d] == 0) return;
  const NDPasses recipe =
      ndPassesOf(Kind, sizeof(T), shape.lengths, shape.inputExtents, shape.ndims, shape.axes, shape.naxes);
  if (recipe.wholeArray && runWholeArray<T, Kind>(context, in, out, shape, sign)) return;
  std::optional<AlignedScratch> first, second;
  if (recipe.firstBytes != 0) first.emplace(recipe.firstBytes, 0);
  if (recipe.secondBytes != 0) second.emplace(recipe.secondBytes, 0);
  const auto place = [](const void* array) { return static_cast<char*>(const_cast<void*>(array)); };
  const NDArrays arrays{{place(in), place(out), place(first ? first->get() : nullptr),
                         place(second ? second->get() : nullptr)}};
  const bool divide = sign == FFTW_BACKWARD;
  // The c2c passes run FFTW's forward transform in a forward call and its backward one in an inverse.
  const int complexSign =
      Kind == c2r || (Kind == c2c && sign == FFTW_BACKWARD) ? FFTW_BACKWARD : FFTW_FORWARD;
  const std::size_t count = recipe.passes.size();
  const auto run = [&](std::size_t p, const fftwContext& passContext, const fftNDCaches<T>& passCaches,
                       std::size_t step, std::size_t steps) {
    const NDPass& pass = recipe.passes[p];
    const bool readNext = p + 1 < count;
    if (pass.batch.numVectors == 0) return;
    if (pass.kind == r2c) {
      runPass<T, r2c>(passContext, passCaches.realToComplex, arrays, pass, {sign, divide, true, readNext},
                      step, steps);
    } else if (pass.kind == c2r) {
      runPass<T, c2r>(passContext, passCaches.complexToReal, arrays, pass, {sign, divide, false, readNext},
                      step, steps);
    } else {
      runPass<T, c2c>(passContext, passCaches.complexToComplex, arrays, pass,
                      {complexSign, divide, false, readNext}, step, steps);
    }
  };
  std::size_t p = 0;
  for (const NDSlabGroup& group : recipe.slabGroups) {
    for (; p < group.firstPass; ++p) run(p, context, caches, 0, 1);
    const BatchShape& firstBatch = recipe.passes[group.firstPass].batch;
    const std::uint64_t stepPoints = firstBatch.numVectors * firstBatch.length / group.steps;
    fftwContext stepContext = context;
    stepContext.setNumThreads(1);
    // The first step runs here, where the host's caches may be asked; the others reuse its plans.
    StepPlanCache<fftwPlanCacheInterface<T, r2c, fftwPlanKey>> realToComplex(caches.realToComplex);
    StepPlanCache<fftwPlanCacheInterface<T, c2r, fftwPlanKey>> complexToReal(caches.complexToReal);
    StepPlanCache<fftwPlanCacheInterface<T, c2c, fftwPlanKey>> complexToComplex(caches.complexToComplex);
    const fftNDCaches<T> stepCaches{&realToComplex, &complexToReal, &complexToComplex};
    runStepsAfterFirst(
        slabStepSpread(context.getNumThreads(), group.steps, stepPoints,
                       group.steps * stepPoints * sizeof(T)),
        group.steps,
        [&](std::size_t step) {
          for (std::size_t q = group.firstPass; q < group.firstPass + group.passCount; ++q)
            run(q, stepContext, stepCaches, step, group.steps);
        },
        [&] {
          realToComplex.seal();
          complexToReal.seal();
          complexToComplex.seal();
        });
    p = group.firstPass + group.passCount;
  }
  for (; p < count; ++p) run(p, context, caches, 0, 1);
}

#define TESSEL_FFT_ND(T, Kind) template TESSEL_FFT_API decltype(fftND<T, Kind>) fftND<T, Kind>;
TESSEL_FOR_EACH_FFT_TYPE(TESSEL_FFT_ND)

}  // namespace tessel_fft
