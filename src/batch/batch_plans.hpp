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

  // `context` is the driver's own copy and must outlive this object; `cache` may be null. `sign` is the
  // FFT sign or the DCST direction, for the key.
  BatchPlans(const fftwContext* context, Cache* cache, const BatchShape& shape, int sign)
      : context_(context), cache_(cache), shape_(shape), sign_(sign) {}

  // Plans for one loop over the whole batch on `pair`: the single plan only if a stretch the loop cuts
  // into chunks (a block of `stride` vectors, or all vectors at stride 1) leaves a remainder, the chunk
  // plan only if a full stretch holds a chunk. A chunk size of 0 faults here.
  void prepareDirect(const ScratchBufferPair& pair) {
    const std::uint64_t chunk = context_->getChunkSize();
    const std::uint64_t stretch = stretchLength();
    // A caller slicing an array may end the batch inside a block, whose columns leave a remainder of
    // their own even when the full blocks leave none. An empty leading extent gives stride 0 and no
    // vectors.
    const bool partialBlockTail = shape_.stride > 1 && (shape_.numVectors % shape_.stride) % chunk != 0;
    prepare(pair.input, pair.output, stretch % chunk != 0 || partialBlockTail, stretch >= chunk);
  }

  // Plans for a run cut into tasks, on a pair borrowed from `manager` and given back at once. Tasks get
  // ranges the scheduler chooses, so the single plan is always made.
  void preparePooled(MultiBufferMgr& manager) {
    const bool needChunk = stretchLength() >= context_->getChunkSize();
    withPooledPair(manager, [&](void* input, void* output) { prepare(input, output, true, needChunk); });
  }

  PlanPair<Plan> plans() const { return {single_.get(), chunk_.get(), context_->getChunkSize()}; }

 private:
  // Destroys the plans this call owns; the cache's stay in the cache.
  void releasePlans() noexcept {
    single_.reset();
    chunk_.reset();
  }

  std::uint64_t stretchLength() const { return shape_.stride != 1 ? shape_.stride : shape_.numVectors; }

  void prepare(void* input, void* output, bool needSingle, bool needChunk) {
    releasePlans();
    const Planner planner(context_, cache_);
    auto* in = static_cast<typename Planner::In*>(input);
    auto* out = static_cast<typename Planner::Out*>(output);
    const auto request = [&](OwnedPlan<Plan>& plan, std::uint64_t howmany) {
      plan.acquire([&](Plan& made) { return planner.getPlan(shape_.length, howmany, in, out, sign_, made); });
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
  BatchShape shape_;
  int sign_;
  OwnedPlan<Plan> single_;
  OwnedPlan<Plan> chunk_;
};

}  // namespace tessel_fft
