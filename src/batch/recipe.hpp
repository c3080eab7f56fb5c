// How one batched call runs, decided before anything runs: the road (the walk through scratch or plans
// over the caller's arrays), the threads, the direct moves, the groups and the slabs. batchRecipeFor is a
// pure function of the call and the caller's context; the executor (batch/executor.hpp) runs its result
// and decides nothing more.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "backend/aligned_scratch.hpp"
#include "batch/batch_walk.hpp"
#include "batch/policy.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// What a family hands the skeleton: the batch, the sides of its plans, the arrays with their element
// sizes, and whether its hooks only run on the walk.
struct BatchCall {
  BatchShape shape;
  BatchSides sides;
  const void* in;
  std::size_t inElementBytes;
  void* out;
  std::size_t outElementBytes;
  bool keepToWalk;
};

// Where the plans of a batch may work on the caller's arrays instead of scratch. Plans are bound to the
// 16-byte residue 0 of scratch, so every vector there must keep it; an out-of-place plan must never run
// with its input and output overlapping; and only plans that leave their input as it was (out-of-place
// plans of every kind but c2r) may read the caller's input.
struct DirectMoves {
  bool input;
  bool output;
};

// What one vector needs in scratch, in bytes, on each side of the plan, and the size of one element of
// the caller's input array. With a `sharedOutput` the plans write straight into that array (the
// caller's output) and only input blocks are allocated.
struct ScratchLayout {
  std::size_t inputVectorBytes;
  std::size_t outputVectorBytes;
  std::size_t arrayElementBytes;
  void* sharedOutput;
};

// The part of a batch one plan over the arrays covers: `blocks` consecutive blocks, `columns` vectors
// side by side in each.
struct SlabShape {
  std::size_t blocks;
  std::size_t columns;
};

// How a batch lies in slabs: `blocks` runs of `columns` vectors side by side (whole blocks, or the vectors
// of one block). A slab holds several whole blocks, or, where a block is larger than a slab, a part of its
// columns; the last slab (of the batch, or of each block) may be smaller. Extents are in the arrays'
// elements, parts included.
struct ArraySlabs {
  std::size_t columns;
  std::size_t blocks;
  SlabShape full;
  std::size_t inputBlock;
  std::size_t outputBlock;

  bool cutsColumns() const { return full.columns < columns; }
  std::size_t slabsPerBlock() const { return (columns + full.columns - 1) / full.columns; }
  std::size_t count() const {
    return cutsColumns() ? blocks * slabsPerBlock() : (blocks + full.blocks - 1) / full.blocks;
  }
  // Slab `index`: its first block and column, and its shape.
  void locate(std::size_t index, std::size_t& block, std::size_t& column, SlabShape& shape) const {
    if (cutsColumns()) {
      block = index / slabsPerBlock();
      column = index % slabsPerBlock() * full.columns;
      shape = {1, std::min(full.columns, columns - column)};
    } else {
      block = index * full.blocks;
      column = 0;
      shape = {std::min(full.blocks, blocks - block), columns};
    }
  }
};

// The roads a batch takes after the same plan requests: the walk through scratch, or plans over the
// caller's arrays slab by slab (which fall back to the walk where FFTW has no such plan).
enum class BatchRoad { walk, arrays };

// Everything about one batched call that its execution needs.
struct BatchRecipe {
  BatchRoad road;
  BatchPath path;
  std::uint64_t callerThreads;
  // The walk's moves, groups and scratch per pair.
  DirectMoves direct;
  bool streamOut;
  bool partsTogether;  // see BatchMoves
  ScratchLayout scratch;
  PlanNeeds needs;
  GroupCuts cuts;
  std::size_t inputScratchBytes;
  std::size_t outputScratchBytes;
  // The arrays' slabs, whether they spread over tasks and FFTW's threads for their plans; whether their
  // plans run in place.
  ArraySlabs slabs;
  bool slabTasks;
  std::uint64_t arrayFftwThreads;
  bool arraysInPlace;

  // How a pooled walk spreads over tasks: in steps of `taskStepVectors` vectors (its groups, or its chunks
  // where the groups are too few for equal shares; see BatchGroups), `taskGrain` steps to a task.
  std::size_t taskStepVectors;
  std::size_t taskGrain;
  // One line, e.g. "walk pooled planner=1 groups=4x4 direct=in,out stream" or
  // "arrays slabs=12x(3,1) tasks fftw=1": for tests and debugging.
  std::string describe() const;
};

// The slabs of a batch whose input vectors hold at least what the plans read, over whole blocks or within
// one block; false for a batch that ends inside a later block. Every full slab starts on the residues of
// the arrays modulo 16, so that one plan serves them all, and so do all tails.
bool arraySlabsOf(const BatchShape& shape, const BatchSides& sides, std::size_t inElementBytes,
                  std::size_t outElementBytes, ArraySlabs& slabs);

// The recipe of `call` under the caller's context (`caller`). The transform length is above 0.
BatchRecipe batchRecipeFor(const BatchCall& call, const fftwContext& caller);

// The context the plans of a batch see, apart from the caller's: planning only ever runs on private
// scratch (or an output about to be overwritten), which holds one-sided spectra compactly, and the
// planner's thread count (which the plan key records) is the path's, not the caller's.
fftwContext plannerContextFor(const fftwContext& caller, const BatchPath& path);

}  // namespace tessel_fft
