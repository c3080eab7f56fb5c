// Scratch pairs of direct batches and the pools of pooled batches.
#include "batch/buffer_managers.hpp"

#include "backend/aligned_scratch.hpp"
#include "backend/errors.hpp"

namespace tessel_fft {

namespace {

// Both blocks, or neither: a half-made pair is freed again. A pair of an input-only pool has no
// output buffer at all, rather than an empty one that its first release would have to drop.
bool allocatePair(std::size_t inputBytes, std::size_t outputBytes, BufferPair& pair) {
  pair.input = alignedScratchAlloc(inputBytes);
  pair.output = outputBytes != 0 ? alignedScratchAlloc(outputBytes) : nullptr;
  if (pair.input != nullptr && (pair.output != nullptr || outputBytes == 0)) return true;
  alignedScratchFree(pair.input);
  alignedScratchFree(pair.output);
  pair = BufferPair{};
  return false;
}

}  // namespace

ScratchBufferPair::ScratchBufferPair(std::size_t inputBytes, std::size_t outputBytes, void* sharedOutput)
    : input(nullptr), output(sharedOutput), ownsOutput_(sharedOutput == nullptr) {
  BufferPair pair;
  if (!allocatePair(inputBytes, ownsOutput_ ? outputBytes : 0, pair)) throwNoMemory();
  input = pair.input;
  if (ownsOutput_) output = pair.output;
}

ScratchBufferPair::~ScratchBufferPair() {
  alignedScratchFree(input);
  if (ownsOutput_) alignedScratchFree(output);
}

MultiBufferMgr::MultiBufferMgr(std::size_t inputBytes, std::size_t outputBytes)
    : inputBytes(inputBytes), outputBytes(outputBytes) {
  BufferPair first;
  if (!allocatePair(inputBytes, outputBytes, first)) throwNoMemory();
  buffers.push(first);
}

MultiBufferMgr::~MultiBufferMgr() {
  BufferPair pair;
  while (buffers.try_pop(pair)) {
    alignedScratchFree(pair.input);
    alignedScratchFree(pair.output);
  }
}

void MultiBufferMgr::acquireBuffers(BufferPair& pair) {
  pair = BufferPair{};
  if (buffers.try_pop(pair)) return;
  if (allocatePair(inputBytes, outputBytes, pair)) return;
  // Some pair exists in another task's hands and comes back when that task ends.
  buffers.pop(pair);
}

void MultiBufferMgr::releaseBuffers(void* input, void* output) { buffers.push(BufferPair{input, output}); }

void* MultiBufferMgr::outputBuffer(const BufferPair& pair) { return pair.output; }

MultipleInputOnlyBufferMgr::MultipleInputOnlyBufferMgr(std::size_t inputBytes, std::size_t outputBytes,
                                                       void* output)
    : MultiBufferMgr(inputBytes, outputBytes), outputData(output) {}

void MultipleInputOnlyBufferMgr::releaseBuffers(void* input, void*) {
  buffers.push(BufferPair{input, nullptr});
}

void* MultipleInputOnlyBufferMgr::outputBuffer(const BufferPair&) { return outputData; }

}  // namespace tessel_fft
