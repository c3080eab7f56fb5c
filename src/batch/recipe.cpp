// The recipe of a batched call: every decision of its execution, taken from the call's shape, its
// arrays and the caller's context.
#include "batch/recipe.hpp"

#include <fftw3.h>

#include <numeric>
#include <sstream>

namespace tessel_fft {

namespace {

// Reading in place pays only for chunks beyond kDirectChunkBytes: smaller ones FFTW's codelets read
// several vectors in lockstep, which memory serves worse than one sequential copy. The same array read
// and written vector for vector may be written in place, since scratch holds a group's input by then, but
// only under plans made by estimate: a measuring planner would overwrite the input before any group moves.
// `outputDirectIsFaster` says whether writing the output directly is the faster way for this batch anyway;
// `singleVectors` asks for single vectors read and written where they lie, whatever their size.
DirectMoves directMovesFor(const BatchCall& call, std::size_t chunk, bool outputDirectIsFaster,
                           bool plansByEstimate, bool singleVectors = false) {
  const BatchShape& shape = call.shape;
  if (shape.stride != 1) return {false, false};
  const std::size_t inputVectorBytes = shape.inputLength * call.inElementBytes;
  const std::size_t outputVectorBytes = shape.length * call.outElementBytes;
  const auto* inFirst = static_cast<const char*>(call.in);
  const auto* outFirst = static_cast<const char*>(call.out);
  const bool disjoint = inFirst + shape.numVectors * inputVectorBytes <= outFirst ||
                        outFirst + shape.numVectors * outputVectorBytes <= inFirst;
  const bool sameLayout = inFirst == outFirst && inputVectorBytes == outputVectorBytes;
  const auto keepsResidue = [&](const void* first, std::size_t vectorBytes) {
    return addressResidue(first) == 0 && (shape.numVectors <= 1 || vectorBytes % kPlanAlignment == 0);
  };
  const auto bigChunks = [&](std::size_t vectorBytes) {
    return singleVectors || chunk * vectorBytes > kDirectChunkBytes;
  };
  return {disjoint && call.sides.plansKeepInput && shape.inputLength == call.sides.planInputLength &&
              bigChunks(inputVectorBytes) && keepsResidue(call.in, inputVectorBytes),
          (disjoint || (sameLayout && plansByEstimate)) &&
              (outputDirectIsFaster || bigChunks(outputVectorBytes)) &&
              keepsResidue(call.out, outputVectorBytes)};
}

// How the walk cuts this batch. Chunks group only where every place in scratch keeps the alignment the
// plans were made for, that is where a vector's scratch takes a whole number of 16-byte units.
GroupCuts groupCutsFor(const BatchShape& shape, const ScratchLayout& scratch, const PlanNeeds& needs,
                       std::size_t chunk, std::size_t columnsPerVector, std::size_t tasks) {
  const bool aligned =
      scratch.inputVectorBytes % kPlanAlignment == 0 && scratch.outputVectorBytes % kPlanAlignment == 0;
  if (!aligned || needs.bufferVectors == 1) return {chunk, 1, false};
  const std::size_t chunkScratchBytes =
      columnsPerVector * chunk * std::max(scratch.inputVectorBytes, scratch.outputVectorBytes);
  const std::size_t wanted = shape.stride == 1 ? kContiguousGroupBytes / (chunk * scratch.inputVectorBytes)
                                               : (kGroupRowBytes + chunk * scratch.arrayElementBytes - 1) /
                                                     (chunk * scratch.arrayElementBytes);
  const std::size_t fitting = kGroupScratchBytes / chunkScratchBytes;
  const std::size_t needed = (shape.stretch() + chunk - 1) / chunk;
  const std::size_t listed = GroupCuts::kMaxGroupVectors / (columnsPerVector * chunk);
  // A strided group reads at least a line of each row, whatever its scratch takes: a group that reads part
  // of a line leaves the rest to the next, which fetches it again from further out (r2c of 39 columns of
  // 16384 doubles in groups of one chunk took 1.3 times as long as in groups of two on an AMD EPYC).
  const std::size_t lineChunks = shape.stride == 1 ? 1
                                                   : (kLineBytes + chunk * scratch.arrayElementBytes - 1) /
                                                         (chunk * scratch.arrayElementBytes);
  const std::size_t chunksPerGroup =
      std::max<std::size_t>(1, std::min({std::max(std::min(wanted, fitting), lineChunks), needed, listed}));
  // A block too large to stay in the caches between two passes over its rows, whose vectors don't divide
  // into chunks, goes in one group of single vectors where that group isn't much larger: otherwise its
  // chunks and the vectors left over each read every line of its rows (r2c of 7 columns of 65536 floats
  // as a chunk and three single vectors took up to twice as long as plain FFTW on an AMD EPYC), and where
  // there are blocks enough for the tasks: one such group holds a whole block (c2c of 111 columns of 1536
  // floats in one block took 1.5 times as long as plain FFTW on 2 threads, one of them idle).
  const std::size_t stretch = shape.stretch();
  const std::size_t blockBytes = stretch * (scratch.inputVectorBytes + scratch.outputVectorBytes);
  if (shape.stride != 1 && stretch % chunk != 0 && needed <= listed && blockBytes > kGroupScratchBytes &&
      blockBytes <= kSinglesGroupBytes && shape.numVectors / stretch >= tasks)
    return {chunk, needed, needed > 1, true};
  return {chunk, chunksPerGroup, chunksPerGroup > 1 && shape.stride != 1};
}

// The steps (in blocks, or in columns) that keep a slab a whole number of 16-byte units on both sides.
std::size_t alignmentStep(std::size_t inputBytes, std::size_t outputBytes) {
  return std::lcm(kPlanAlignment / std::gcd(inputBytes, kPlanAlignment),
                  kPlanAlignment / std::gcd(outputBytes, kPlanAlignment));
}

// Plans over the arrays run out of place on arrays apart, or in place on one layout; `inPlace` says
// which, false where neither.
bool arraysAllowPlans(const BatchCall& call, const ArraySlabs& slabs, bool& inPlace) {
  const auto* inFirst = static_cast<const char*>(call.in);
  const auto* outFirst = static_cast<const char*>(call.out);
  const std::size_t inputBytes = slabs.blocks * slabs.inputBlock * call.inElementBytes;
  const std::size_t outputBytes = slabs.blocks * slabs.outputBlock * call.outElementBytes;
  inPlace = inFirst == outFirst;
  const bool apart = inFirst + inputBytes <= outFirst || outFirst + outputBytes <= inFirst;
  return apart || (inPlace && inputBytes == outputBytes);
}

}  // namespace

bool arraySlabsOf(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                  std::size_t outElementBytes, ArraySlabs& slabs) {
  if (shape.numVectors == 0 || shape.inputLength < sides.planInputLength) return false;
  if (shape.numVectors > shape.stride && shape.numVectors % shape.stride != 0) return false;
  const std::size_t parts = sides.parts;
  slabs.columns = std::min(shape.stride, shape.numVectors);
  slabs.blocks = shape.numVectors / slabs.columns;
  slabs.inputBlock = parts * shape.stride * shape.inputLength;
  slabs.outputBlock = parts * shape.stride * shape.length;
  const std::size_t inputBytes = slabs.inputBlock * inElementBytes,
                    outputBytes = slabs.outputBlock * outElementBytes;
  const std::size_t columnBytes =
      parts * (shape.inputLength * inElementBytes + shape.length * outElementBytes);
  const std::size_t columnStep = alignmentStep(parts * inElementBytes, parts * outElementBytes);
  const std::size_t slabColumns = kArraySlabBytes / columnBytes / columnStep * columnStep;
  const bool blocksKeepResidues =
      slabs.blocks == 1 || (inputBytes % kPlanAlignment == 0 && outputBytes % kPlanAlignment == 0);
  if (slabs.columns * columnBytes > kArraySlabBytes && slabColumns >= kArrayMinSlabColumns &&
      blocksKeepResidues) {
    slabs.full = {1, slabColumns};
    return true;
  }
  const std::size_t step = alignmentStep(inputBytes, outputBytes);
  const std::size_t wanted = std::max<std::size_t>(1, kArraySlabBytes / (inputBytes + outputBytes));
  slabs.full = {std::min(slabs.blocks, std::max(step, wanted / step * step)), slabs.columns};
  return true;
}

// Tasks take whole groups, sized by the scratch a group passes through, unless the groups are too few to
// give every thread an equal share: then they take the batch's chunks, one share to a task (r2c of 39
// columns of 16384 doubles in 5 groups of 8 ran 3 groups on one thread and 2 on the other, 1.1 to 1.3
// times plain FFTW's time on 2 threads). A task still never ends inside a chunk.
void spreadWalkTasks(const BatchShape& shape, std::size_t chunk, BatchRecipe& recipe) {
  const GroupCuts& cuts = recipe.cuts;
  const std::size_t groupBytes = (recipe.partsTogether ? 2 : 1) * cuts.groupVectors() *
                                 (recipe.scratch.inputVectorBytes + recipe.scratch.outputVectorBytes);
  const std::size_t groups = BatchGroups{shape, cuts.groupVectors()}.count();
  const std::size_t shares = recipe.callerThreads;
  recipe.taskStepVectors = cuts.groupVectors();
  recipe.taskGrain = taskGrain(groups, groupBytes);
  if (!recipe.path.pooled || cuts.singlesOnly || chunk >= cuts.groupVectors() ||
      groups >= shares * kSharedGroupsPerThread)
    return;
  const std::size_t chunks = BatchGroups{shape, chunk}.count();
  recipe.taskStepVectors = chunk;
  recipe.taskGrain = (chunks + shares - 1) / shares;
}

BatchRecipe batchRecipeFor(const BatchCall& call, const fftwContext& caller) {
  const BatchShape& shape = call.shape;
  const BatchSides& sides = call.sides;
  const std::size_t planLength = sides.transformLength;
  BatchRecipe recipe{};
  recipe.callerThreads = caller.getNumThreads();
  recipe.path = chooseBatchPath(recipe.callerThreads, shape.numVectors, planLength);
  const bool outputStreams =
      !sides.outputReadNext &&
      sides.parts * shape.length * shape.numVectors * call.outElementBytes >= kStreamingOutputBytes;
  const std::size_t chunk = caller.getChunkSize();
  const unsigned strategy = caller.getPlanStrategy(planLength);
  recipe.needs = PlanNeeds::of(shape, chunk, recipe.path.pooled);
  // Short contiguous vectors of a batch beyond the caches go one at a time through the single plan, read
  // and written where they lie, where the batch has that plan anyway: FFTW's plan of one such vector
  // passes over it in the first-level cache and streams the batch at the speed of a copy, where its
  // codelets over a chunk read the chunk's vectors in lockstep, which memory serves worse, and scratch
  // costs a copy more (64 points, 100000 vectors, one thread on an AMD EPYC: 10.5 ms one by one, 17.4 ms
  // in chunks of 4; on two threads c2c of 32 to 64 points went from 1.5 to 2.5 times plain FFTW's time
  // to 0.6 to 1.05).
  const bool singlesMayStream = shape.stride == 1 && sides.parts == 1 && !sides.plansOnScratchOnly &&
                                planLength >= kStreamedSingleMinLength &&
                                planLength <= kStreamedSingleMaxLength && outputStreams &&
                                recipe.needs.single;
  const DirectMoves singles = singlesMayStream
                                  ? directMovesFor(call, chunk, true, strategy == FFTW_ESTIMATE, true)
                                  : DirectMoves{false, false};
  const bool singlesInPlace = singles.input && singles.output;
  recipe.streamOut = outputStreams && !singlesInPlace;
  // Interleaved parts always pass through scratch, as do plans whose layout isn't the arrays'; FFTW writes
  // the output itself where it stays in the caches anyway.
  recipe.direct = singlesInPlace ? singles
                  : sides.parts != 1 || sides.plansOnScratchOnly
                      ? DirectMoves{false, false}
                      : directMovesFor(call, chunk, !recipe.streamOut, strategy == FFTW_ESTIMATE);
  // Scratch holds one part of a vector: an interleaved one passes its two parts through it in turn.
  recipe.scratch = {sides.planInputLength * call.inElementBytes,
                    sides.planOutputLength * call.outElementBytes, sides.parts * call.inElementBytes,
                    recipe.direct.output ? call.out : nullptr};
  recipe.partsTogether = sides.parts != 1 && shape.stride != 1;
  const std::size_t columns = recipe.partsTogether ? sides.parts : 1;
  recipe.cuts = singlesInPlace ? GroupCuts{chunk, std::max<std::size_t>(1, kStreamedSinglesPerGroup / chunk),
                                           false, true}
                               : groupCutsFor(shape, recipe.scratch, recipe.needs, chunk, columns,
                                              recipe.path.pooled ? recipe.callerThreads : 1);
  spreadWalkTasks(shape, chunk, recipe);
  const bool grouped = recipe.needs.bufferVectors != 1;
  const auto groupScratch = [&](std::size_t vectorBytes) {
    return columns * (grouped ? recipe.cuts.scratchBytes(vectorBytes) : vectorBytes);
  };
  recipe.inputScratchBytes = groupScratch(recipe.scratch.inputVectorBytes);
  recipe.outputScratchBytes =
      recipe.scratch.sharedOutput != nullptr ? 0 : groupScratch(recipe.scratch.outputVectorBytes);

  recipe.road = BatchRoad::walk;
  const bool arraysServe =
      !call.keepToWalk && !singlesInPlace &&
      arrayPlansServe(shape, sides, call.inElementBytes, call.outElementBytes, strategy != FFTW_ESTIMATE) &&
      arraySlabsOf(shape, sides, call.inElementBytes, call.outElementBytes, recipe.slabs) &&
      arraysAllowPlans(call, recipe.slabs, recipe.arraysInPlace);
  if (arraysServe) {
    recipe.road = BatchRoad::arrays;
    const std::uint64_t threads = recipe.path.pooled ? recipe.callerThreads : 1;
    recipe.slabTasks = slabsOverTasks(threads, recipe.slabs.count());
    recipe.arrayFftwThreads = fftwThreadsFor(threads, recipe.slabTasks);
  }
  return recipe;
}

std::string BatchRecipe::describe() const {
  std::ostringstream text;
  const char* const spread = path.pooled ? "pooled" : path.threaded ? "threaded" : "caller";
  if (road == BatchRoad::arrays) {
    text << "arrays " << spread << " slabs=" << slabs.count() << "x(" << slabs.full.blocks << ','
         << slabs.full.columns << ')' << (slabTasks ? " tasks" : "") << " fftw=" << arrayFftwThreads
         << (arraysInPlace ? " in-place" : "");
    return text.str();
  }
  text << "walk " << spread << " planner=" << path.plannerThreads << " groups=" << cuts.chunksPerGroup << 'x'
       << cuts.chunkSize << (cuts.padUnits ? " padded" : "") << (cuts.singlesOnly ? " singles" : "");
  if (direct.input || direct.output)
    text << " direct=" << (direct.input ? "in" : "") << (direct.input && direct.output ? "," : "")
         << (direct.output ? "out" : "");
  if (streamOut) text << " stream";
  if (path.pooled && taskStepVectors != cuts.groupVectors())
    text << " shares=" << taskGrain << "x" << taskStepVectors;
  if (partsTogether) text << " parts-together";
  return text.str();
}

fftwContext plannerContextFor(const fftwContext& caller, const BatchPath& path) {
  fftwContext planner = caller;
  planner.setMayOverwrite(true);
  planner.setEmbedStyle(fftwContext::EMBED_COMPACT);
  planner.setNumThreads(path.plannerThreads);
  return planner;
}

}  // namespace tessel_fft
