#pragma once

#include <cstdint>

#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// A transient pair of context and cache through which every cosine/sine plan is got. Both sides of
// an r2r plan hold T.
template <typename T, int Kind>
class DCSTPlanner {
 public:
  using Plan = fftwPlan<T>;
  using In = T;
  using Out = T;
  using Cache = dcstPlanCacheInterface<T, Kind>;

  DCSTPlanner(const fftwContext* context, Cache* cache) : context_(context), cache_(cache) {}

  // A plan for `howmany` vectors of n points lying n apart in `in` and in `out` (or in arrays of the
  // same residue modulo 16). `direction` enters the key only: the kind is Kind's. Returns true if the
  // caller owns `plan` and must destroy it with fftwApi::destroyPlan (also when it is null), false if
  // the cache owns it. Calls the cache on the calling thread, outside FFTW's lock.
  bool getPlan(std::uint64_t n, std::uint64_t howmany, T* in, T* out, int direction, Plan& plan) const;

 private:
  const fftwContext* context_;
  Cache* cache_;
};

extern template class DCSTPlanner<float, 0>;
extern template class DCSTPlanner<float, 1>;
extern template class DCSTPlanner<float, 2>;
extern template class DCSTPlanner<float, 3>;
extern template class DCSTPlanner<float, 4>;
extern template class DCSTPlanner<float, 5>;
extern template class DCSTPlanner<float, 6>;
extern template class DCSTPlanner<float, 7>;
extern template class DCSTPlanner<double, 0>;
extern template class DCSTPlanner<double, 1>;
extern template class DCSTPlanner<double, 2>;
extern template class DCSTPlanner<double, 3>;
extern template class DCSTPlanner<double, 4>;
extern template class DCSTPlanner<double, 5>;
extern template class DCSTPlanner<double, 6>;
extern template class DCSTPlanner<double, 7>;

}  // namespace tessel_fft
