// The sequence of attempts by which every family gets a plan.
#pragma once

#include <fftw3.h>

#include <cstdint>

#include "backend/aligned_scratch.hpp"
#include "backend/planner_threads.hpp"
#include "plans/plan_key.hpp"
#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The sequence by which every family gets a plan that a host's cache may keep, without disturbing the
// caller's data (plans over the arrays follow the same order without the cache):
// the cache; then, unless planning may overwrite (or runs in place, or only estimates), FFTW's wisdom
// on the real arrays, which touches neither; then a measuring plan on private scratch that replaces the
// input only (the output is about to be overwritten anyway) and has the input's residue modulo 16, so
// the plan is valid for the caller's arrays. The lock is taken per planner call, never around the
// cache, and never while scratch is allocated or freed.
//
// `planOn(input, flags)` makes one plan on (input, out) through fftwApi. `strategySize` resolves a
// hybrid strategy; `scratchBytes` is the input's size. Returns true if the caller owns `plan` (also
// when it is null), false if the cache does.
template <typename T, typename Cache, typename In, typename PlanOn>
bool acquirePlan(const fftwContext& context, Cache* cache, const fftwPlanKey& key, std::uint64_t strategySize,
                 std::uint64_t scratchBytes, In* in, const void* out, PlanOn planOn, fftwPlan<T>& plan) {
  plan = nullptr;
  if (cache != nullptr) {
    plan = cache->lookupPlan(key);
    if (plan != nullptr) return false;
  }
  planWithThreads<T>(static_cast<int>(static_cast<std::uint32_t>(context.getNumThreads())));
  const unsigned strategy = context.getPlanStrategy(strategySize);
  if (context.mayOverwrite() || static_cast<const void*>(in) == out || strategy == FFTW_ESTIMATE) {
    plan = planOn(in, strategy);
  } else {
    plan = planOn(in, strategy | FFTW_WISDOM_ONLY);
    if (plan == nullptr) {
      AlignedScratch scratch(scratchBytes, addressResidue(in));
      plan = planOn(static_cast<In*>(scratch.get()), strategy);
    }
  }
  if (plan == nullptr || cache == nullptr) return true;
  return !cache->insertPlan(key, plan);
}

}  // namespace tessel_fft
