// The skeleton of the batched FFT and cosine/sine entries: the recipe of the call, then scratch and plans,
// then its road on the executor.
#pragma once

#include <algorithm>
#include <cstddef>

#include "batch/array_plan.hpp"
#include "batch/batch_plans.hpp"
#include "batch/batch_walk.hpp"
#include "batch/buffer_managers.hpp"
#include "batch/executor.hpp"
#include "batch/policy.hpp"
#include "batch/range_body.hpp"
#include "batch/recipe.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// Runs a batch whose transform length is not 0 from `in` to `out` (arrays of the plans' element values)
// by its recipe: gets scratch and plans (the host's cache sees the same requests on either road), then
// runs the family's RangeBody over the whole batch on the calling thread, or per task over a pool of
// scratch pairs, or the plans over the arrays. All scratch and owned plans are released before it
// returns, also when an exception passes. Planner is FFTPlanner or DCSTPlanner; `sign` is the FFT sign or
// DCST direction.
template <typename Planner, typename Hooks = NoHooks, typename In, typename Out>
void runBatch(const fftwContext& caller, typename Planner::Cache* cache, const BatchShape& shape, int sign,
              const In* in, Out* out, const BatchSides& sides, const Hooks& hooks = {}) {
  const BatchRecipe recipe =
      batchRecipeFor({shape, sides, in, sizeof(In), out, sizeof(Out), hooks.keepToWalk()}, caller);
  const RangeBody<In, Out, typename Planner::Plan, Hooks> body{
      in, out, shape, {sides, recipe.direct.input, recipe.streamOut, recipe.partsTogether}, hooks};
  const fftwContext context = plannerContextFor(caller, recipe.path);
  const auto onArrays = [&] {
    return recipe.road == BatchRoad::arrays &&
           runOnArrays<Planner, Hooks>(recipe, context.getPlanStrategy(sides.transformLength), shape, sign,
                                       in, out, sides);
  };
  BatchPlans<Planner> plans(&context, cache, sides.transformLength, sign);
  const auto loopOver = [&](void* inBuffer, void* outBuffer, std::size_t begin, std::size_t end) {
    body(LoopSetting<typename Planner::Plan>{plans.plans(), recipe.cuts, recipe.path.divisionOverTasks()},
         inBuffer, outBuffer, begin, end);
  };
  const auto runPooled = [&](MultiBufferMgr& manager) {
    plans.preparePooled(manager, recipe.needs);
    if (onArrays()) return;
    runTasks(manager, BatchGroups{shape, recipe.taskStepVectors}, recipe.taskGrain, loopOver);
  };
  if (!recipe.path.pooled) {
    ScratchBufferPair pair(recipe.inputScratchBytes, recipe.outputScratchBytes, recipe.scratch.sharedOutput);
    plans.prepareDirect(pair, recipe.needs);
    if (onArrays()) return;
    // The larger side of the arrays: no move of the batch takes more.
    const std::size_t batchBytes =
        shape.numVectors * sides.parts * std::max(shape.inputLength * sizeof(In), shape.length * sizeof(Out));
    runSteps({false, 1, needsCallerOnlyArena(recipe.path.threaded, batchBytes)}, 1,
             [&](std::size_t, std::size_t) { loopOver(pair.input, pair.output, 0, shape.numVectors); });
  } else if (recipe.scratch.sharedOutput != nullptr) {
    MultipleInputOnlyBufferMgr manager(recipe.inputScratchBytes, 0, recipe.scratch.sharedOutput);
    runPooled(manager);
  } else {
    MultiBufferMgr manager(recipe.inputScratchBytes, recipe.outputScratchBytes);
    runPooled(manager);
  }
}

}  // namespace tessel_fft
