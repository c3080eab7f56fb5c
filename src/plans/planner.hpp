// What every family's planner is: the context a call plans with and the host's cache.
#pragma once

#include <fftw3.h>

#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// The caller's arrays as FFTW's guru interface takes them, in the plan's element types: the transformed
// dimension and the loops around it.
struct ArrayDims {
  fftw_iodim64 transform;
  fftw_iodim64 loops[3];
  int loopRank;
};

// A transient pair, built on the stack wherever a plan is needed. CacheType is the family's cache
// interface; `cache_` may be null. Neither is owned.
template <typename CacheType>
class PlannerOf {
 public:
  using Cache = CacheType;
  using Plan = typename Cache::Plan;

  PlannerOf(const fftwContext* context, Cache* cache) : context_(context), cache_(cache) {}

 protected:
  const fftwContext* context_;
  Cache* cache_;
};

}  // namespace tessel_fft
