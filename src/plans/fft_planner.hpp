// The FFT family's way to a plan.
#pragma once

#include <cstdint>

#include "plans/planner.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The way to every FFT plan. In and Out are FFTW's element types of the kind: T or T[2].
template <typename T, int Kind>
class FFTPlanner : public PlannerOf<fftwPlanCacheInterface<T, Kind, fftwPlanKey>> {
 public:
  using Plan = fftwPlan<T>;
  using In = typename interleavedElements<T, Kind>::In;
  using Out = typename interleavedElements<T, Kind>::Out;
  using PlannerOf<fftwPlanCacheInterface<T, Kind, fftwPlanKey>>::PlannerOf;

  // A plan for `howmany` vectors of n points lying one after another in `in` and `out` (or arrays of
  // the same alignment). Vector distances are n, except on the complex side of r2c/c2r, where they are
  // n/2+1 with EMBED_COMPACT and n otherwise. Returns true if the caller owns `plan` and must destroy it
  // with fftwApi::destroyPlan (also when it is null), false if the cache owns it.
  bool getPlan(std::uint64_t n, std::uint64_t howmany, In* in, Out* out, int sign, Plan& plan) const;

  // A plan for one n0 x n1 array (n0 contiguous) through FFTW's plan_many interface; rows of the
  // complex side of r2c/c2r are n0/2+1 or n0 long, by the embed style. Ownership as for getPlan.
  bool getPlan2D(std::uint64_t n0, std::uint64_t n1, In* in, Out* out, int sign, Plan& plan) const;

  // A plan over arrays laid out as `dims` says, made with `flags` under the lock and owned by the caller;
  // null where FFTW has none. No cache and no key: the arrays are the caller's own.
  static Plan planOverArrays(const ArrayDims& dims, In* in, Out* out, int sign, unsigned flags);
};

}  // namespace tessel_fft
