#pragma once

#include <cstdint>

#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// A transient pair of context and cache through which every FFT plan is got. In and Out are FFTW's
// element types of the kind: T or T[2].
template <typename T, int Kind>
class FFTPlanner {
 public:
  using Plan = fftwPlan<T>;
  using In = typename interleavedElements<T, Kind>::In;
  using Out = typename interleavedElements<T, Kind>::Out;
  using Cache = fftwPlanCacheInterface<T, Kind, fftwPlanKey>;

  FFTPlanner(const fftwContext* context, Cache* cache) : context_(context), cache_(cache) {}

  // A plan for `howmany` vectors of n points lying one after another in `in` and `out` (or arrays of
  // the same alignment). Vector distances are n, except on the complex side of r2c/c2r, where they are
  // n/2+1 with EMBED_COMPACT and n otherwise. Returns true if the caller owns `plan` and must destroy it
  // with fftwApi::destroyPlan (also when it is null), false if the cache owns it.
  bool getPlan(std::uint64_t n, std::uint64_t howmany, In* in, Out* out, int sign, Plan& plan) const;

  // A plan for one n0 x n1 array (n0 contiguous) through FFTW's plan_many interface; rows of the
  // complex side of r2c/c2r are n0/2+1 or n0 long, by the embed style. Ownership as for getPlan.
  bool getPlan2D(std::uint64_t n0, std::uint64_t n1, In* in, Out* out, int sign, Plan& plan) const;

 private:
  const fftwContext* context_;
  Cache* cache_;
};

extern template class FFTPlanner<float, r2c>;
extern template class FFTPlanner<float, c2r>;
extern template class FFTPlanner<float, c2c>;
extern template class FFTPlanner<double, r2c>;
extern template class FFTPlanner<double, c2r>;
extern template class FFTPlanner<double, c2c>;

}  // namespace tessel_fft
