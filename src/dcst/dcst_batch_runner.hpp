#pragma once

#include <cstddef>
#include <cstdint>

#include "dcst/dcst_loop_body.hpp"
#include "dcst/dcst_planner.hpp"
#include "dcst/par_dcst_body.hpp"
#include "fft/batch_path.hpp"
#include "fft/batch_plans.hpp"
#include "fft/buffer_managers.hpp"

namespace tessel_fft {

// The record of one quillDCST1D call: context, cache, sizes, direction (in the `sign` field) and the
// two plans with their ownership, plus the two ways to run the batch. Scratch lives inside each run;
// owned plans go at releasePlans or with the runner. Not copyable; used on the driver's thread.
template <typename T, int Kind>
class DCSTBatchRunner : public BatchPlans<DCSTPlanner<T, Kind>> {
 public:
  using Base = BatchPlans<DCSTPlanner<T, Kind>>;
  using Base::Base;

  // All vectors on the calling thread with one scratch pair. Throws std::runtime_error("FFTW:nomem")
  // if the pair can't be had; the scratch is freed on every way out.
  void runDirect(const T* in, T* out, std::uint64_t inputLength, bool isComplex) {
    const std::size_t bytes = blockBytes();
    ScratchBufferPair pair(bytes, bytes);
    this->prepareDirect(pair);
    T* inBuf = static_cast<T*>(pair.input);
    T* outBuf = static_cast<T*>(pair.output);
    const std::size_t chunk = this->context->getChunkSize();
    if (this->stride == 1) {
      DCSTLoopBody_StrideOne<T, Kind>()(in, out, 1, this->fftLength, inputLength, this->singlePlan,
                                        this->chunkPlan, inBuf, outBuf, 0, this->numVectors, chunk,
                                        isComplex);
    } else {
      DCSTLoopBody<T, Kind>()(in, out, this->stride, this->fftLength, inputLength, this->singlePlan,
                              this->chunkPlan, inBuf, outBuf, 0, this->numVectors, chunk, isComplex);
    }
  }

  // The vectors as tasks over a pool of scratch pairs; the pool's first pair is allocated before any
  // plan and its failure throws std::runtime_error("FFTW:nomem"). Every pair is freed on the way out.
  void runPooled(const T* in, T* out, std::uint64_t inputLength, bool isComplex) {
    const std::size_t bytes = blockBytes();
    MultiBufferMgr manager(bytes, bytes);
    this->preparePooled(manager);
    runDCSTParallelFor<T, Kind>(in, out, inputLength, &manager, this->context->getChunkSize(), this->stride,
                                this->fftLength, this->numVectors, this->singlePlan, this->chunkPlan,
                                isComplex);
  }

 private:
  // Both blocks hold one chunk of real vectors, or one vector for a batch smaller than a chunk; a
  // complex vector passes its two parts through them one after the other.
  std::size_t blockBytes() const {
    return bufferVectorsFor(this->numVectors, this->stride, this->context->getChunkSize()) * this->fftLength *
           sizeof(T);
  }
};

}  // namespace tessel_fft
