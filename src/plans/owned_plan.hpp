// The one owner of an FFTW plan that a cache doesn't hold.
#pragma once

#include <utility>

#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

// A plan and whether this object must destroy it: what getPlan returns, kept together so that an
// exception passing through a call releases the plan. A plan the cache owns is held without owning it.
// Move-only; destruction goes through fftwApi and never throws. Plan is fftw_plan or fftwf_plan.
template <typename Plan>
class OwnedPlan {
 public:
  OwnedPlan() = default;
  OwnedPlan(Plan plan, bool owns) : plan_(plan), owns_(owns) {}
  OwnedPlan(const OwnedPlan&) = delete;
  OwnedPlan& operator=(const OwnedPlan&) = delete;
  OwnedPlan(OwnedPlan&& other) noexcept
      : plan_(std::exchange(other.plan_, nullptr)), owns_(std::exchange(other.owns_, false)) {}
  OwnedPlan& operator=(OwnedPlan&& other) noexcept {
    if (this != &other) {
      reset();
      plan_ = std::exchange(other.plan_, nullptr);
      owns_ = std::exchange(other.owns_, false);
    }
    return *this;
  }
  ~OwnedPlan() { reset(); }

  // Gets a plan by `acquire(plan&)`, which returns true if the caller owns it (getPlan's contract).
  template <typename Acquire>
  void acquire(Acquire&& acquire) {
    reset();
    owns_ = std::forward<Acquire>(acquire)(plan_);
  }

  // Destroys the plan if it is ours and forgets it either way.
  void reset() noexcept {
    if (owns_) fftwApi::getInstance().destroyPlan(plan_);
    plan_ = nullptr;
    owns_ = false;
  }

  Plan get() const { return plan_; }
  bool owned() const { return owns_; }

 private:
  Plan plan_ = nullptr;
  bool owns_ = false;
};

}  // namespace tessel_fft
