// The cosine/sine batch: what an r2r transform adds to the shared batch skeleton.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "batch/batch_run.hpp"
#include "batch/scale_inverse.hpp"
#include "dcst/dcst_planner.hpp"
#include "dcst/even_extension.hpp"
#include "dcst/half_length.hpp"
#include "families.hpp"

namespace tessel_fft {

// Divisors for the first element of each vector and for the others, applied while a group is in scratch:
// to its input before the transform, or to its output after it. What the orthonormal N-D transforms add
// to a batch.
template <typename R>
struct EdgeDivisors {
  R first;
  R rest;
  bool beforeTransform;
};

// What the N-D transforms ask of a batch beyond what quillDCST1D does: divisors folded into its runs (or
// null), and whether another pass reads the output right away, which then stays in the caches instead of
// streaming past them.
template <typename R>
struct DCSTPass {
  const EdgeDivisors<R>* divisors;
  bool outputReadNext;
};

// The hooks of a cosine/sine batch: the half-length road's or the extension road's steps around its plans
// where Kind and n take one, and each vector's first element divided by one divisor and the others by
// the other, before or after its unit runs, where an N-D pass asks for it.
template <typename R, int Kind>
struct DCSTUnits : NoHooks {
  const EdgeDivisors<R>* divisors;          // or null
  const HalfLengthTwiddles<R>* halfLength;  // or null; with neither road, the plans are FFTW's r2r plans
  std::size_t n;

  bool keepToWalk() const { return divisors != nullptr; }
  void beforeUnit(R* first, std::size_t pitch, std::size_t count) const {
    if (divisors != nullptr && divisors->beforeTransform) divideEdges(first, pitch, count);
  }
  void afterUnit(R* first, std::size_t pitch, std::size_t count) const {
    if (divisors != nullptr && !divisors->beforeTransform) divideEdges(first, pitch, count);
  }
  void runUnit(fftwPlan<R> plan, R* input, R* output, std::size_t count) const {
    if constexpr (Kind % 4 != 0) {
      if (halfLength != nullptr) {
        runHalfLength<R, Kind>(plan, *halfLength, input, output, n, count);
        return;
      }
    } else if (extensionServes<Kind>(n)) {
      runExtension<R, Kind>(plan, input, output, n, count);
      return;
    }
    NoHooks::runUnit(plan, input, output, count);
  }
  void divideEdges(R* first, std::size_t pitch, std::size_t count) const {
    for (R* vector = first; vector != first + count * pitch; vector += pitch) {
      vector[0] /= divisors->first;
      divideAll(vector + 1, pitch - 1, divisors->rest);
    }
  }
};

// A batch of real-to-real transforms of kind Kind with n above 0 (see quillDCST1D), real or interleaved
// complex, on the shared skeleton, with the end division of an inverse call folded into its groups.
// `context` is the caller's.
template <typename T, int Kind>
void runDCSTBatch(const fftwContext& context, dcstPlanCacheInterface<T, Kind>* cache, const T* in, T* out,
                  const BatchShape& shape, int direction, bool isComplex, const DCSTPass<T>& pass) {
  const std::size_t n = shape.length;
  const bool halfLength = halfLengthServes<Kind>(n);
  const bool extension = extensionServes<Kind>(n);
  BatchSides sides{};
  sides.parts = isComplex ? 2 : 1;
  sides.transformLength = n;
  sides.planInputLength = sides.planOutputLength = extension ? extensionPitch<Kind>(n) : n;
  // An input divided before the transform is divided in scratch.
  sides.plansKeepInput = pass.divisors == nullptr || !pass.divisors->beforeTransform;
  sides.plansOnScratchOnly = halfLength || extension;
  sides.outputReadNext = pass.outputReadNext;
  sides.divisor = direction == 1 ? DCSTPlans::divisor<Kind>(n) : 1;
  sides.arrayPlanLength = kArrayPlanLength;
  const std::shared_ptr<const HalfLengthTwiddles<T>> twiddles =
      halfLength ? halfLengthTwiddles<T>(n, Kind % 4 == 3) : nullptr;
  runBatch<DCSTPlanner<T, Kind>>(context, cache, shape, direction, in, out, sides,
                                 DCSTUnits<T, Kind>{{}, pass.divisors, twiddles.get(), n});
}

}  // namespace tessel_fft
