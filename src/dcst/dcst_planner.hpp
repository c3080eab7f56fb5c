// The cosine/sine family's way to a plan.
#pragma once

#include <cstdint>

#include "plans/planner.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The way to every cosine/sine plan. Both sides of an r2r plan hold T.
template <typename T, int Kind>
class DCSTPlanner : public PlannerOf<dcstPlanCacheInterface<T, Kind>> {
 public:
  using Plan = fftwPlan<T>;
  using In = T;
  using Out = T;
  using PlannerOf<dcstPlanCacheInterface<T, Kind>>::PlannerOf;

  // A plan for `howmany` vectors of n points lying n apart in `in` and in `out` (or in arrays of the
  // same residue modulo 16): Kind's r2r plan, or where halfLengthServes, the complex FFT of n/2 points of
  // that road, or where extensionServes, the r2c of that road over vectors extensionPitch apart. `direction`
  // enters the key only. Returns true if the caller owns `plan` and must destroy it with fftwApi::destroyPlan
  // (also when it is null), false if the cache owns it. Calls the cache on the calling thread, outside FFTW's
  // lock.
  bool getPlan(std::uint64_t n, std::uint64_t howmany, T* in, T* out, int direction, Plan& plan) const;

  // A plan of Kind over arrays laid out as `dims` says, made with `flags` under the lock and owned by
  // the caller; null where FFTW has none. No cache and no key: the arrays are the caller's own.
  static Plan planOverArrays(const ArrayDims& dims, T* in, T* out, int direction, unsigned flags);
};

}  // namespace tessel_fft
