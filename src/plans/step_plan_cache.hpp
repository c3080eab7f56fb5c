// The plans of one call whose steps run on other threads than the caller's.
#pragma once

#include <unordered_map>
#include <vector>

#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// A host's cache is only ever called on the thread that runs the transform, so steps of a call that
// tasks run can't ask it themselves. The calling thread runs the first step through this cache, which
// passes every request on to the host's (which may be null) and remembers each plan it saw; then
// `seal` makes it read-only, and the other steps find those plans here, on any thread, without calling
// the host. A plan the host refused stays here until the call ends. After sealing, a plan a step needs
// that the first didn't is refused, so that the step owns and destroys it. Interface is the host's cache
// interface, keyed by fftwPlanKey.
template <typename Interface>
class StepPlanCache final : public Interface {
 public:
  using Plan = typename Interface::Plan;

  explicit StepPlanCache(Interface* host) : host_(host) {}
  StepPlanCache(const StepPlanCache&) = delete;
  StepPlanCache& operator=(const StepPlanCache&) = delete;
  ~StepPlanCache() override {
    for (const Plan plan : owned_) fftwApi::getInstance().destroyPlan(plan);
  }

  void seal() { sealed_ = true; }

  Plan lookupPlan(const fftwPlanKey& key) override {
    const auto found = seen_.find(key);
    if (found != seen_.end() || sealed_) return found != seen_.end() ? found->second : nullptr;
    const Plan plan = host_ != nullptr ? host_->lookupPlan(key) : nullptr;
    if (plan != nullptr) seen_.emplace(key, plan);
    return plan;
  }

  bool insertPlan(const fftwPlanKey& key, Plan& plan) override {
    if (sealed_) return false;
    // Room first, so that a plan the host refuses always finds its owner here.
    owned_.reserve(owned_.size() + 1);
    if (host_ == nullptr || !host_->insertPlan(key, plan)) owned_.push_back(plan);
    seen_[key] = plan;
    return true;
  }

 private:
  Interface* host_;
  bool sealed_ = false;
  std::unordered_map<fftwPlanKey, Plan> seen_;
  std::vector<Plan> owned_;
};

}  // namespace tessel_fft
