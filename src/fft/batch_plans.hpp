#pragma once

#include <cstdint>

#include "fft/buffer_managers.hpp"
#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// The two plans of one batched driver call and who owns them: `chunkPlan` runs chunkSize_ vectors at
// once, `singlePlan` one. Plans are made on scratch before any loop starts; tasks share them read-only.
// Owned plans are destroyed by releasePlans and by the destructor, also when an exception passes.
// Planner is FFTPlanner or DCSTPlanner: it supplies Plan, Cache, In, Out and getPlan.
template <typename Planner>
class BatchPlans {
 public:
  using Plan = typename Planner::Plan;
  using Cache = typename Planner::Cache;

  BatchPlans(fftwContext* context, Cache* cache, std::uint64_t fftLength, std::uint64_t stride,
             std::uint64_t numVectors, int sign)
      : context(context),
        cache(cache),
        fftLength(fftLength),
        stride(stride),
        numVectors(numVectors),
        sign(sign) {}
  ~BatchPlans() { releasePlans(); }
  BatchPlans(const BatchPlans&) = delete;
  BatchPlans& operator=(const BatchPlans&) = delete;

  // Plans for one loop over the whole batch on `pair`: the single plan only if the stretch the loop
  // cuts into chunks (a block of `stride` vectors, or all vectors at stride 1) leaves a remainder,
  // the chunk plan only if it holds a chunk. A chunk size of 0 faults here.
  void prepareDirect(const ScratchBufferPair& pair) {
    releasePlans();
    const std::uint64_t chunk = context->getChunkSize();
    const std::uint64_t count = stretchLength();
    const Planner planner(context, cache);
    if (count % chunk != 0)
      ownsSinglePlan = planner.getPlan(fftLength, 1, asIn(pair.input), asOut(pair.output), sign, singlePlan);
    if (count < chunk) return;
    ownsChunkPlan = planner.getPlan(fftLength, chunk, asIn(pair.input), asOut(pair.output), sign, chunkPlan);
  }

  // Plans for a run cut into tasks, on a pair borrowed from `manager` and given back at once. Tasks
  // get ranges the scheduler chooses, so the single plan is always made.
  void preparePooled(MultiBufferMgr& manager) {
    releasePlans();
    const std::uint64_t chunk = context->getChunkSize();
    const bool few = stretchLength() < chunk;
    BufferPair pair;
    manager.acquireBuffers(pair);
    void* output = manager.outputBuffer(pair);
    try {
      const Planner planner(context, cache);
      ownsSinglePlan = planner.getPlan(fftLength, 1, asIn(pair.input), asOut(output), sign, singlePlan);
      if (!few)
        ownsChunkPlan = planner.getPlan(fftLength, chunk, asIn(pair.input), asOut(output), sign, chunkPlan);
    } catch (...) {
      manager.releaseBuffers(pair.input, output);
      throw;
    }
    manager.releaseBuffers(pair.input, output);
  }

  // Destroys the plans this call owns; the cache's stay in the cache.
  void releasePlans() noexcept {
    const fftwApi& api = fftwApi::getInstance();
    if (ownsSinglePlan) {
      api.destroyPlan(singlePlan);
      singlePlan = nullptr;
      ownsSinglePlan = false;
    }
    if (ownsChunkPlan) {
      api.destroyPlan(chunkPlan);
      chunkPlan = nullptr;
      ownsChunkPlan = false;
    }
  }

  fftwContext* context;
  Cache* cache;
  std::uint64_t fftLength;
  std::uint64_t stride;
  std::uint64_t numVectors;
  Plan singlePlan = nullptr;
  Plan chunkPlan = nullptr;
  int sign;
  bool ownsSinglePlan = false;
  bool ownsChunkPlan = false;

 private:
  std::uint64_t stretchLength() const { return stride != 1 ? stride : numVectors; }
  static typename Planner::In* asIn(void* block) { return static_cast<typename Planner::In*>(block); }
  static typename Planner::Out* asOut(void* block) { return static_cast<typename Planner::Out*>(block); }
};

}  // namespace tessel_fft
