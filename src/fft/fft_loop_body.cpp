#include "fft/fft_loop_body.hpp"

#include <algorithm>

#include "backend/precision.hpp"
#include "buffering/buffering.hpp"
#include "fft/batch_walk.hpp"
#include "fft/copy_to_input.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

template <typename T, int Kind>
void FFTLoopBody<T, Kind>::operator()(const In* in, Out* out, std::size_t stride, std::size_t n,
                                      std::size_t inputLength, fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan,
                                      In* inBuf, Out* outBuf, std::size_t begin, std::size_t end,
                                      std::size_t chunk) const {
  const fftwApi& api = fftwApi::getInstance();
  const std::size_t logicalLength = logicalLengthOf<Kind>(n);
  // One step moves `count` adjacent columns of a block; a single column is the same procedure with
  // strided copies instead of transposes, which the gather and scatter choose by the count.
  const auto step = [&](std::size_t block, std::size_t column, std::size_t count, fftwPlan<T> plan) {
    const In* source = in + block * stride * inputLength + column;
    Out* destination = out + block * stride * n + column;
    copyToInputBuffer(source, stride, inputLength, count, logicalLength, inBuf);
    api.execute(plan, asFftw(inBuf), asFftw(outBuf));
    if constexpr (Kind == r2c) {
      copyFromOutputBuffer(outBuf, stride, n, count, destination, r2cTag{});
    } else {
      copyFromOutputBuffer(outBuf, stride, n, count, destination);
    }
  };
  walkBatchRange(
      begin, end, stride, chunk,
      [&](std::size_t block, std::size_t column) { step(block, column, chunk, chunkPlan); },
      [&](std::size_t block, std::size_t column) { step(block, column, 1, singlePlan); });
}

template <typename T, int Kind>
void FFTLoopBody_StrideOne<T, Kind>::operator()(const In* in, Out* out, std::size_t /*stride*/, std::size_t n,
                                                std::size_t inputLength, fftwPlan<T> singlePlan,
                                                fftwPlan<T> chunkPlan, In* inBuf, Out* outBuf,
                                                std::size_t begin, std::size_t end, std::size_t chunk) const {
  const fftwApi& api = fftwApi::getInstance();
  const std::size_t logicalLength = logicalLengthOf<Kind>(n);
  // Writing into the output array itself is the whole of the no-copy mode: the plan's output moves
  // along with the vectors instead of staying at the start of the scratch block.
  const std::size_t bufferStep = out == outBuf ? n : 0;
  const auto step = [&](std::size_t first, std::size_t count, fftwPlan<T> plan) {
    Out* destination = out + first * n;
    Out* planOutput = outBuf + first * bufferStep;
    copyToInputBuffer(in + first * inputLength, inputLength, count, logicalLength, inBuf);
    // The next step's input streams in from memory while this one transforms.
    const std::size_t next = first + count;
    if (next < end)
      prefetchForRead(in + next * inputLength, std::min(count, end - next) * inputLength * sizeof(In));
    api.execute(plan, asFftw(inBuf), asFftw(planOutput));
    if constexpr (Kind == r2c) {
      copyFromOutputBuffer(planOutput, n, count, destination, r2cTag{});
    } else if (planOutput != destination) {
      buffering::contiguous::copy(destination, static_cast<const Out*>(planOutput), n * count);
    }
  };
  walkContiguousRange(
      begin, end, chunk, [&](std::size_t first) { step(first, chunk, chunkPlan); },
      [&](std::size_t vector) { step(vector, 1, singlePlan); });
}

template struct FFTLoopBody<float, r2c>;
template struct FFTLoopBody<float, c2r>;
template struct FFTLoopBody<float, c2c>;
template struct FFTLoopBody<double, r2c>;
template struct FFTLoopBody<double, c2r>;
template struct FFTLoopBody<double, c2c>;
template struct FFTLoopBody_StrideOne<float, r2c>;
template struct FFTLoopBody_StrideOne<float, c2r>;
template struct FFTLoopBody_StrideOne<float, c2c>;
template struct FFTLoopBody_StrideOne<double, r2c>;
template struct FFTLoopBody_StrideOne<double, c2r>;
template struct FFTLoopBody_StrideOne<double, c2c>;

}  // namespace tessel_fft
