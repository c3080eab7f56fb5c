// Scratch for batched calls: the pair of a direct batch, and the pool that the tasks of a pooled batch share.
#pragma once

#include <tbb/concurrent_queue.h>

#include <cstddef>

namespace tessel_fft {

// One input and one output scratch buffer, both from alignedScratchAlloc; a pool whose output size is
// 0 has no output buffer.
struct BufferPair {
  void* input = nullptr;
  void* output = nullptr;
};

// The scratch of a direct batch: one pair, freed by the destructor. With a `sharedOutput` only the input
// buffer is allocated and `output` is the caller's array, which the pair doesn't own: the plans then
// write straight into it. Throws std::runtime_error("FFTW:nomem"), with nothing left allocated, if a
// buffer can't be had. Not copyable.
class ScratchBufferPair {
 public:
  ScratchBufferPair(std::size_t inputBytes, std::size_t outputBytes, void* sharedOutput = nullptr);
  ~ScratchBufferPair();
  ScratchBufferPair(const ScratchBufferPair&) = delete;
  ScratchBufferPair& operator=(const ScratchBufferPair&) = delete;

  void* input;
  void* output;

 private:
  bool ownsOutput_;
};

// A pool of scratch pairs for the tasks of one pooled batch. It starts with one pair; a task that finds
// the pool empty makes another, and one that can't get memory waits for a pair to come back, so memory
// exhaustion during a batch costs parallelism, not the batch. All pairs are freed by the destructor. Any
// number of tasks may acquire and release at once. Polymorphic, not copyable.
class MultiBufferMgr {
 public:
  // Allocates the first pair; throws std::runtime_error("FFTW:nomem") if it can't.
  MultiBufferMgr(std::size_t inputBytes, std::size_t outputBytes);
  virtual ~MultiBufferMgr();
  MultiBufferMgr(const MultiBufferMgr&) = delete;
  MultiBufferMgr& operator=(const MultiBufferMgr&) = delete;

  // A pair for the caller alone until it is released: from the pool, newly made, or waited for.
  void acquireBuffers(BufferPair& pair);
  // Gives a pair back; `output` must be what outputBuffer returned for it.
  virtual void releaseBuffers(void* input, void* output);
  // The output buffer a task writes to for this pair.
  virtual void* outputBuffer(const BufferPair& pair);

 protected:
  tbb::concurrent_bounded_queue<BufferPair> buffers;
  std::size_t inputBytes;
  std::size_t outputBytes;
};

// A pool of input blocks only: every task writes straight to the caller's output array. Its pairs
// carry no output buffer (the callers pass an output size of 0).
class MultipleInputOnlyBufferMgr : public MultiBufferMgr {
 public:
  MultipleInputOnlyBufferMgr(std::size_t inputBytes, std::size_t outputBytes, void* output);

  void releaseBuffers(void* input, void* output) override;
  void* outputBuffer(const BufferPair& pair) override;

 private:
  void* outputData;
};

// Runs use(input, output) on a pair taken from `manager` and gives the pair back, also when `use`
// throws, so no pair is lost to a failure.
template <typename Use>
void withPooledPair(MultiBufferMgr& manager, const Use& use) {
  BufferPair pair;
  manager.acquireBuffers(pair);
  void* output = manager.outputBuffer(pair);
  try {
    use(pair.input, output);
  } catch (...) {
    manager.releaseBuffers(pair.input, output);
    throw;
  }
  manager.releaseBuffers(pair.input, output);
}

}  // namespace tessel_fft
