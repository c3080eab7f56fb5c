// The N-D driver's own plan cache.
#pragma once

#include "plans/owned_plan.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The N-D driver's own plan cache, one per dimension of one call: it answers lookups for the last
// plan offered and takes ownership of every plan offered, so a run under it never owns a plan.
//
// A one-entry cache alone would leave the tail of a dimension without a plan: a batch whose count
// (the stride, or the number of vectors at stride 1) is 5 or more and not a multiple of the chunk asks
// for the single plan first and the chunk plan second, and the tail vectors still run the single plan
// after the chunk plan has displaced it. Rather than change the order of requests, which the FFT
// drivers share, the displaced plan is kept (not looked up) until the cache dies. One such slot is
// enough because one run asks for at most two plans; a third insert destroys the plan displaced two
// inserts ago. Every plan is destroyed by the cache, and the cache dies with the dimension's step, so
// no plan outlives the dimension. Used on one thread; move-only like the plans it holds.
template <typename R, int Kind>
class dcstSinglePlan : public dcstPlanCacheInterface<R, Kind> {
 public:
  using Plan = typename dcstPlanCacheInterface<R, Kind>::Plan;

  // Always takes `plan`. An equal key changes nothing: the plan held is the one that lookupPlan gave.
  bool insertPlan(const fftwPlanKey& key, Plan& plan) override {
    if (key == singlePlanKey) return true;
    retiredPlan = std::move(heldPlan);
    heldPlan = OwnedPlan<Plan>(plan, true);
    singlePlanKey = key;
    return true;
  }

  Plan lookupPlan(const fftwPlanKey& key) override { return key == singlePlanKey ? heldPlan.get() : nullptr; }

 private:
  OwnedPlan<Plan> heldPlan;
  fftwPlanKey singlePlanKey{0, 0, 0, 0};
  // The plan that heldPlan displaced, kept alive for the run that may still execute it.
  OwnedPlan<Plan> retiredPlan;
};

}  // namespace tessel_fft
