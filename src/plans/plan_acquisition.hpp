// The sequences of attempts by which every family gets a plan: one for plans a host's cache may keep, one
// for plans over the caller's arrays.
#pragma once

#include <fftw3.h>

#include <cstddef>
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

// A plan over the caller's arrays, which no cache keeps, in the same order without the cache: by estimate
// where the strategy says so; else from FFTW's wisdom on the arrays, which touches neither; else measured
// on private scratch of `inputSpan` and `outputSpan` bytes (0: in place) with the arrays' residues, where
// the two together take at most `maxScratchBytes`; else null. `planOn(input, output, flags)` makes one
// plan; its pointers are FFTW's element types.
template <typename In, typename Out, typename PlanOn>
auto planOverCallerArrays(unsigned strategy, In* in, Out* out, std::size_t inputSpan, std::size_t outputSpan,
                          std::size_t maxScratchBytes, const PlanOn& planOn)
    -> decltype(planOn(in, out, 0u)) {
  if (strategy == FFTW_ESTIMATE) return planOn(in, out, strategy);
  auto plan = planOn(in, out, strategy | FFTW_WISDOM_ONLY);
  if (plan != nullptr || inputSpan + outputSpan > maxScratchBytes) return plan;
  const AlignedScratch inputScratch(inputSpan, addressResidue(in));
  const AlignedScratch outputScratch(outputSpan, addressResidue(out));
  In* const scratchIn = static_cast<In*>(inputScratch.get());
  Out* const scratchOut =
      outputSpan == 0 ? reinterpret_cast<Out*>(scratchIn) : static_cast<Out*>(outputScratch.get());
  return planOn(scratchIn, scratchOut, strategy);
}

}  // namespace tessel_fft
