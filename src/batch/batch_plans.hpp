// The two plans of one batched call, made on scratch before any vector moves.
#pragma once

#include <cstdint>

#include "backend/errors.hpp"
#include "batch/batch_walk.hpp"
#include "batch/buffer_managers.hpp"
#include "plans/owned_plan.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// The plans of one batched driver call and who owns them. Each comes through the family's planner on
// private scratch (its output side is the caller's output where the batch writes that directly, which
// directMovesFor allows only where planning can't reach the input), so a plan made on one scratch pair
// fits every other and the host's cache hits across calls; owned plans go with this object, also when
// an exception passes. Planner is FFTPlanner or DCSTPlanner. Used on the driver's thread only.
template <typename Planner>
class BatchPlans {
 public:
  using Plan = typename Planner::Plan;
  using Cache = typename Planner::Cache;

  // `context` is the plans' own (see plannerContextFor) and must outlive this object; `cache` may be null.
  // `length` is the transform's, `sign` the FFT sign or the DCST direction, for the key.
  BatchPlans(const fftwContext* context, Cache* cache, std::uint64_t length, int sign)
      : context_(context), cache_(cache), length_(length), sign_(sign) {}

  // The plans `needs` names, on the scratch pair of a loop over the whole batch.
  void prepareDirect(const ScratchBufferPair& pair, const PlanNeeds& needs) {
    prepare(pair.input, pair.output, needs);
  }

  // The same on a pair borrowed from the pool of a pooled batch and given back at once.
  void preparePooled(MultiBufferMgr& manager, const PlanNeeds& needs) {
    withPooledPair(manager, [&](void* input, void* output) { prepare(input, output, needs); });
  }

  PlanPair<Plan> plans() const { return {single_.get(), chunk_.get(), context_->getChunkSize()}; }

 private:
  // Destroys the plans this call owns; the cache's stay in the cache.
  void releasePlans() noexcept {
    single_.reset();
    chunk_.reset();
  }

  void prepare(void* input, void* output, const PlanNeeds& needs) {
    const bool needSingle = needs.single, needChunk = needs.chunk;
    releasePlans();
    const Planner planner(context_, cache_);
    auto* in = static_cast<typename Planner::In*>(input);
    auto* out = static_cast<typename Planner::Out*>(output);
    const auto request = [&](OwnedPlan<Plan>& plan, std::uint64_t howmany) {
      plan.acquire([&](Plan& made) { return planner.getPlan(length_, howmany, in, out, sign_, made); });
    };
    if (needSingle) request(single_, 1);
    if (needChunk) request(chunk_, context_->getChunkSize());
    // FFTW has no algorithm for some problems (DCT-I of one point) and answers with no plan; running
    // the batch would execute that. Nothing has moved yet.
    if ((needSingle && single_.get() == nullptr) || (needChunk && chunk_.get() == nullptr))
      throwAssertionFailure();
  }

  const fftwContext* context_;
  Cache* cache_;
  std::uint64_t length_;
  int sign_;
  OwnedPlan<Plan> single_;
  OwnedPlan<Plan> chunk_;
};

}  // namespace tessel_fft
