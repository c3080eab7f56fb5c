#include "dcst/dcst_loop_body.hpp"

#include <algorithm>

#include "buffering/copy.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"
#include "fft/batch_walk.hpp"
#include "fft/copy_to_input.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

namespace {

// T per array element.
std::size_t elementWidth(bool isComplex) { return isComplex ? 2 : 1; }

std::ptrdiff_t signedSize(std::size_t size) { return static_cast<std::ptrdiff_t>(size); }

// Gathers one component of `count` adjacent columns (element i of column j at
// source[k * (i * stride + j)]) into dense vectors of n at `inBuf`, cut or zero padded.
template <typename T>
void gatherColumns(T* inBuf, const T* source, std::size_t stride, std::size_t n, std::size_t inputLength,
                   std::size_t count, bool isComplex) {
  if (isComplex && count > 1) {
    const std::size_t usedLength = std::min(inputLength, n);
    buffering::interleaved::transpose(inBuf, signedSize(n), source, signedSize(stride), usedLength, count,
                                      true);
    zeroPadVectors(inBuf, n, usedLength, count);
    return;
  }
  // One complex column is real data at twice the stride, so the real gather serves it unchanged.
  copyToInputBuffer(source, elementWidth(isComplex) * stride, inputLength, count, n, inBuf);
}

// The reverse of gatherColumns for n output elements per column, no padding.
template <typename T>
void scatterColumns(T* destination, std::size_t stride, const T* outBuf, std::size_t n, std::size_t count,
                    bool isComplex) {
  if (isComplex && count > 1) {
    buffering::interleaved::transpose(destination, signedSize(stride), outBuf, signedSize(n), count, n,
                                      false);
    return;
  }
  copyFromOutputBuffer(outBuf, elementWidth(isComplex) * stride, n, count, destination);
}

// Loads one component of `count` consecutive interleaved vectors into dense vectors of n.
template <typename T>
void loadInterleavedVectors(T* inBuf, const T* source, std::size_t n, std::size_t inputLength,
                            std::size_t count) {
  if (count == 1) {
    copyToInputBuffer(source, 2, inputLength, 1, n, inBuf);
  } else if (inputLength != n) {
    buffering::interleaved::submatrix(inBuf, n, source, inputLength, std::min(inputLength, n), count);
  } else {
    // Without padding a whole chunk is one run of array elements.
    buffering::strided::copy(inBuf, source, 2, n * count);
  }
}

}  // namespace

template <typename T>
void runStridedDCSTRange(const T* in, T* out, std::size_t stride, std::size_t n, std::size_t inputLength,
                         fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, T* inBuf, T* outBuf,
                         std::size_t begin, std::size_t end, std::size_t chunk, bool isComplex) {
  const fftwApi& api = fftwApi::getInstance();
  const std::size_t width = elementWidth(isComplex);
  const auto step = [&](std::size_t block, std::size_t column, std::size_t count, fftwPlan<T> plan) {
    const T* source = in + width * (block * stride * inputLength + column);
    T* destination = out + width * (block * stride * n + column);
    // The parts run one after the other through the same scratch.
    for (std::size_t part = 0; part < width; ++part) {
      gatherColumns(inBuf, source + part, stride, n, inputLength, count, isComplex);
      api.execute(plan, inBuf, outBuf);
      scatterColumns(destination + part, stride, outBuf, n, count, isComplex);
    }
  };
  walkBatchRange(
      begin, end, stride, chunk,
      [&](std::size_t block, std::size_t column) { step(block, column, chunk, chunkPlan); },
      [&](std::size_t block, std::size_t column) { step(block, column, 1, singlePlan); });
}

template <typename T>
void runContiguousDCSTRange(const T* in, T* out, std::size_t n, std::size_t inputLength,
                            fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, T* inBuf, T* outBuf,
                            std::size_t begin, std::size_t end, std::size_t chunk, bool isComplex) {
  const fftwApi& api = fftwApi::getInstance();
  const std::size_t width = elementWidth(isComplex);
  const auto step = [&](std::size_t first, std::size_t count, fftwPlan<T> plan) {
    const T* source = in + width * inputLength * first;
    T* destination = out + width * n * first;
    if (!isComplex) {
      copyToInputBuffer(source, inputLength, count, n, inBuf);
      api.execute(plan, inBuf, outBuf);
      if (outBuf != destination) buffering::contiguous::copy(destination, outBuf, n * count);
      return;
    }
    for (std::size_t part = 0; part < width; ++part) {
      loadInterleavedVectors(inBuf, source + part, n, inputLength, count);
      api.execute(plan, inBuf, outBuf);
      buffering::strided::copy(destination + part, 2, outBuf, n * count);
    }
  };
  walkContiguousRange(
      begin, end, chunk, [&](std::size_t first) { step(first, chunk, chunkPlan); },
      [&](std::size_t vector) { step(vector, 1, singlePlan); });
}

template void runStridedDCSTRange<float>(const float*, float*, std::size_t, std::size_t, std::size_t,
                                         fftwf_plan, fftwf_plan, float*, float*, std::size_t, std::size_t,
                                         std::size_t, bool);
template void runStridedDCSTRange<double>(const double*, double*, std::size_t, std::size_t, std::size_t,
                                          fftw_plan, fftw_plan, double*, double*, std::size_t, std::size_t,
                                          std::size_t, bool);
template void runContiguousDCSTRange<float>(const float*, float*, std::size_t, std::size_t, fftwf_plan,
                                            fftwf_plan, float*, float*, std::size_t, std::size_t, std::size_t,
                                            bool);
template void runContiguousDCSTRange<double>(const double*, double*, std::size_t, std::size_t, fftw_plan,
                                             fftw_plan, double*, double*, std::size_t, std::size_t,
                                             std::size_t, bool);

}  // namespace tessel_fft
