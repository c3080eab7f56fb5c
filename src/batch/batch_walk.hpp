// How a batch is cut into groups of vectors that move together, and the walk over a range of them.
//
// The words of batch/, from the largest:
//   batch    the vectors of one driver call, `numVectors` of them.
//   block    `stride` adjacent columns of the caller's array: the vectors that lie side by side.
//   stretch  what the walk cuts into chunks together: a block, or at stride 1 the whole batch.
//   range    the vectors one loop call covers: the whole batch, or one task's share of it.
//   group    the vectors one step gathers into scratch, transforms and moves out together: several
//            chunks of one stretch, or the single vectors left over at its end.
//   unit     the vectors one execution of a plan transforms: a chunk (`chunkSize` vectors, the chunk
//            plan) or one vector (the single plan).
// The gather moves a group from the array into scratch, the move out from scratch into the array.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace tessel_fft {

// The layout of a batch in the caller's arrays. Vector v lies in block v / stride at column v % stride;
// its element k lies k * stride further on. Input blocks hold stride * inputLength elements, output
// blocks stride * length. At stride 1 every vector is contiguous and a block is one vector.
struct BatchShape {
  std::size_t stride;
  std::size_t length;       // elements of each output vector: the transform's, or a half spectrum's
  std::size_t inputLength;  // stored elements of each input vector, cut or zero padded to the transform
  std::size_t numVectors;

  // The stretch of vectors that the walk cuts into chunks together: a block of `stride` columns, or at
  // stride 1 the whole batch. An empty leading extent gives stride 0 and no vectors.
  std::size_t stretch() const { return stride != 1 ? stride : numVectors; }
  // The end of the stretch that holds `vector`.
  std::size_t stretchEnd(std::size_t vector) const {
    return stride != 1 ? (vector / stride + 1) * stride : numVectors;
  }
};

// What a family tells the skeleton about its batch besides the shape.
struct BatchSides {
  std::size_t parts;             // 1, or 2 for interleaved complex vectors through a real plan
  std::size_t transformLength;   // the n of the plans and their keys
  std::size_t planInputLength;   // places per vector on each side of the plans
  std::size_t planOutputLength;  // (a one-sided spectrum's n/2+1 on its side)
  // Whether the plans may read the caller's input where it lies: they leave their input as it was
  // (every out-of-place kind but c2r), and nothing changes it before them.
  bool plansKeepInput;
  // Whether another pass reads the output right away, which then stays in the caches instead of
  // streaming past them.
  bool outputReadNext;
  // Whether the plans work on scratch only: their vectors aren't laid out as the arrays' are.
  bool plansOnScratchOnly;
  std::uint64_t divisor;  // of an inverse transform; 1 for none
  // Batches of vectors up to this length run through one plan over the caller's arrays instead of the
  // walk through scratch (see runOnArrays); 0 for none.
  std::size_t arrayPlanLength;
};

// The plans a walk over a batch cut into chunks of `chunk` may pass (see walkBatch), decided here once
// for the plans a batch asks for and for the scratch it holds. A chunk size of 0 faults here.
struct PlanNeeds {
  bool single;
  bool chunk;
  // Vectors per scratch block: a batch smaller than a chunk runs one vector at a time. But a chunk plan
  // is made whenever a stretch holds a chunk, and a measuring planner writes all of its vectors, so the
  // scratch then holds a chunk even where the vectors are fewer (an empty or partial block).
  std::size_t bufferVectors;

  // For a walk over all of `shape`: the single plan only if a stretch leaves a remainder, or the last
  // block does (a caller slicing an array may end the batch inside a block). With `anyRange` the walk
  // goes over ranges the scheduler chooses, which may end anywhere, and the single plan is always needed.
  static PlanNeeds of(const BatchShape& shape, std::size_t chunk, bool anyRange) {
    const std::size_t stretch = shape.stretch();
    const bool partialBlockTail = shape.stride > 1 && (shape.numVectors % shape.stride) % chunk != 0;
    const bool holdsChunk = stretch >= chunk;
    return {anyRange || stretch % chunk != 0 || partialBlockTail, holdsChunk,
            shape.numVectors < chunk && !holdsChunk ? 1 : chunk};
  }
};

// The plans a loop runs, shared read-only by every task of a batch: `chunk` transforms `chunkSize`
// vectors at once, `single` one. Either may be null where the batch cannot need it.
template <typename Plan>
struct PlanPair {
  Plan single;
  Plan chunk;
  std::size_t chunkSize;
};

// How the walk cuts a stretch of vectors (a block of `stride` columns, or at stride 1 the whole batch):
// into groups of up to `chunksPerGroup` chunks that are gathered, transformed chunk by chunk and moved
// out together, so that a strided gather reads whole cache lines of each row; the columns left over go
// through the single plan, as one group as well where `chunksPerGroup` allows more than one plan per
// group. Groups hold at most chunksPerGroup * chunkSize vectors, which is what scratch holds.
struct GroupCuts {
  std::size_t chunkSize;
  std::size_t chunksPerGroup;
  // Whether the plan units of a group lie one cache line further apart than they need. A strided group
  // is gathered and scattered through all its vectors at once, and vectors whose pitch is a multiple of
  // 4 KiB would all fall into the same cache set, more than it has ways; contiguous groups move
  // sequentially and stay packed, so that they move in one piece.
  bool padUnits;
  // Whether a stretch goes through the single plan only, in one group: where its chunks and the vectors
  // left over would each pass over rows that don't stay in the caches from one group to the next.
  bool singlesOnly = false;

  std::size_t groupVectors() const { return chunksPerGroup * chunkSize; }
  // Scratch a group takes where each vector takes `vectorBytes`, with room for the padding of its places.
  std::size_t scratchBytes(std::size_t vectorBytes) const {
    return groupVectors() * (vectorBytes + (padUnits ? kUnitPaddingBytes : 0));
  }

  static constexpr std::size_t kUnitPaddingBytes = 64;
  // Vectors a group holds at most: the moves of a group list its vectors on the stack.
  static constexpr std::size_t kMaxGroupVectors = 256;
};

// Where the vectors of a group lie, in elements from the first: in plan units of `vectorsPerPlan` vectors
// at `vectorPitch`, units `unitPitch` apart.
struct GroupPlaces {
  std::size_t vectorPitch;
  std::size_t vectorsPerPlan;
  std::size_t unitPitch;

  // Places in scratch of a group cut by `cuts`, for elements of `elementBytes`.
  static GroupPlaces inScratch(std::size_t vectorPitch, std::size_t elementBytes, std::size_t vectorsPerPlan,
                               const GroupCuts& cuts) {
    const std::size_t padding = cuts.padUnits ? GroupCuts::kUnitPaddingBytes / elementBytes : 0;
    return {vectorPitch, vectorsPerPlan, vectorsPerPlan * vectorPitch + padding};
  }

  std::size_t unit(std::size_t u) const { return u * unitPitch; }
  // Whether the units lie back to back, so that the whole group moves as one piece of vectors.
  bool packed() const { return unitPitch == vectorsPerPlan * vectorPitch; }
  std::size_t of(std::size_t vector) const {
    return vector / vectorsPerPlan * unitPitch + vector % vectorsPerPlan * vectorPitch;
  }
};

// Vectors that one step moves together: adjacent columns of one block, or at stride 1 consecutive
// vectors. `plan` transforms `vectorsPerPlan` of them at a time, `count / vectorsPerPlan` times, at
// consecutive places in scratch. Offsets are in array elements, to element 0 of the first vector.
template <typename Plan>
struct VectorGroup {
  std::size_t first;
  std::size_t count;
  std::size_t inputOffset;
  std::size_t outputOffset;
  Plan plan;
  std::size_t vectorsPerPlan;

  std::size_t executions() const { return count / vectorsPerPlan; }
};

// The groups of a batch, numbered across blocks, so that tasks can be cut at group borders: a task then
// never ends inside a chunk, and no vector goes through the single plan that a whole block wouldn't send
// there anyway.
struct BatchGroups {
  BatchShape shape;
  std::size_t groupVectors;

  std::size_t stretch() const { return shape.stretch(); }
  std::size_t perStretch() const { return (stretch() + groupVectors - 1) / groupVectors; }
  std::size_t count() const {
    if (shape.numVectors == 0) return 0;
    const std::size_t fullStretches = shape.numVectors / stretch();
    const std::size_t rest = shape.numVectors % stretch();
    return fullStretches * perStretch() + (rest + groupVectors - 1) / groupVectors;
  }
  // The first vector of group g; count() maps to numVectors.
  std::size_t firstVector(std::size_t group) const {
    const std::size_t vector = group / perStretch() * stretch() + group % perStretch() * groupVectors;
    return std::min(vector, shape.numVectors);
  }
};

// Calls step(group) over vectors [begin, end), cut by `cuts` into groups of chunks and the single vectors
// left over in each stretch; a strided batch is cut block by block, so every block ends with its own
// leftovers, and a range may start and end inside a block. A plan that the range cannot need is never
// passed. Without more than one chunk per group, every single vector is a group of its own.
template <typename Plan, typename Step>
void walkBatch(const BatchShape& shape, const PlanPair<Plan>& plans, const GroupCuts& cuts, std::size_t begin,
               std::size_t end, Step&& step) {
  // An empty range may come with a stride of 0 (an array with an empty leading extent).
  if (begin >= end) return;
  const std::size_t stride = shape.stride;
  const auto emit = [&](std::size_t first, std::size_t count, Plan plan, std::size_t vectorsPerPlan) {
    const std::size_t block = first / stride, column = first % stride;
    step(VectorGroup<Plan>{first, count, block * stride * shape.inputLength + column,
                           block * stride * shape.length + column, plan, vectorsPerPlan});
  };
  const std::size_t chunk = cuts.chunkSize;
  const std::size_t singlesPerGroup = cuts.chunksPerGroup > 1 || cuts.singlesOnly ? cuts.groupVectors() : 1;
  std::size_t vector = begin;
  while (vector < end) {
    const std::size_t stretchEnd = std::min(end, shape.stretchEnd(vector));
    while (!cuts.singlesOnly && vector + chunk <= stretchEnd) {
      const std::size_t chunks = std::min(cuts.chunksPerGroup, (stretchEnd - vector) / chunk);
      emit(vector, chunks * chunk, plans.chunk, chunk);
      vector += chunks * chunk;
    }
    while (vector < stretchEnd) {
      const std::size_t count = std::min(singlesPerGroup, stretchEnd - vector);
      emit(vector, count, plans.single, 1);
      vector += count;
    }
  }
}

}  // namespace tessel_fft
