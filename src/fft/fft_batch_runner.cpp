#include "fft/fft_batch_runner.hpp"

#include "fft/batch_path.hpp"
#include "fft/buffer_managers.hpp"
#include "fft/fft_loop_body.hpp"
#include "fft/par_fft_body.hpp"

namespace tessel_fft {

template <typename T, int Kind>
std::size_t FFTBatchRunner<T, Kind>::scratchVectors() const {
  return bufferVectorsFor(this->numVectors, this->stride, this->context->getChunkSize());
}

template <typename T, int Kind>
std::size_t FFTBatchRunner<T, Kind>::inputBlockBytes() const {
  return logicalLengthOf<Kind>(this->fftLength) * sizeof(In) * scratchVectors();
}

template <typename T, int Kind>
std::size_t FFTBatchRunner<T, Kind>::outputBlockBytes() const {
  const std::size_t n = this->fftLength;
  const std::size_t pitch = Kind == r2c ? n / 2 + 1 : n;
  return pitch * sizeof(Out) * scratchVectors();
}

template <typename T, int Kind>
void FFTBatchRunner<T, Kind>::runDirect(const In* in, Out* out, std::uint64_t inputLength) {
  ScratchBufferPair pair(inputBlockBytes(), outputBlockBytes());
  this->prepareDirect(pair);
  const std::size_t chunk = this->context->getChunkSize();
  In* inBuf = static_cast<In*>(pair.input);
  Out* outBuf = static_cast<Out*>(pair.output);
  if (this->stride == 1) {
    FFTLoopBody_StrideOne<T, Kind>()(in, out, 1, this->fftLength, inputLength, this->singlePlan,
                                     this->chunkPlan, inBuf, outBuf, 0, this->numVectors, chunk);
  } else {
    FFTLoopBody<T, Kind>()(in, out, this->stride, this->fftLength, inputLength, this->singlePlan,
                           this->chunkPlan, inBuf, outBuf, 0, this->numVectors, chunk);
  }
}

template <typename T, int Kind>
void FFTBatchRunner<T, Kind>::runDirectNoCopy(const In* in, Out* out, std::uint64_t inputLength) {
  ScratchBufferPair pair(inputBlockBytes(), 0, out);
  this->prepareDirect(pair);
  FFTLoopBody_StrideOne<T, Kind>()(in, out, 1, this->fftLength, inputLength, this->singlePlan,
                                   this->chunkPlan, static_cast<In*>(pair.input), out, 0, this->numVectors,
                                   this->context->getChunkSize());
}

template <typename T, int Kind>
void FFTBatchRunner<T, Kind>::runPooled(const In* in, Out* out, std::uint64_t inputLength) {
  MultiBufferMgr manager(inputBlockBytes(), outputBlockBytes());
  this->preparePooled(manager);
  runParallelFor<T, Kind>(in, out, inputLength, manager, this->context->getChunkSize(), this->stride,
                          this->fftLength, this->numVectors, this->singlePlan, this->chunkPlan);
}

template <typename T, int Kind>
void FFTBatchRunner<T, Kind>::runPooledNoCopy(const In* in, Out* out, std::uint64_t inputLength) {
  MultipleInputOnlyBufferMgr manager(inputBlockBytes(), 0, out);
  this->preparePooled(manager);
  runParallelFor<T, Kind>(in, out, inputLength, manager, this->context->getChunkSize(), this->stride,
                          this->fftLength, this->numVectors, this->singlePlan, this->chunkPlan);
}

template class FFTBatchRunner<float, r2c>;
template class FFTBatchRunner<float, c2r>;
template class FFTBatchRunner<float, c2c>;
template class FFTBatchRunner<double, r2c>;
template class FFTBatchRunner<double, c2r>;
template class FFTBatchRunner<double, c2c>;

}  // namespace tessel_fft
