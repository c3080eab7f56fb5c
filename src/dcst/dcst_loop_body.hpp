#pragma once

#include <cstddef>

#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// The walks behind both DCST loop bodies. Nothing in them depends on the kind, which lives in the
// plans, so each precision has one copy shared by all eight kinds.
//
// Vector v of the batch lies in block v / stride at column v % stride; its element i is at
// in[k * ((v / stride) * stride * inputLength + v % stride + i * stride)] on input and at the same
// place with n for inputLength on output, k being 2 for interleaved complex data and 1 for real data.
// Each vector is gathered into dense scratch (cut to n or zero padded), transformed by an r2r plan and
// written back; a complex vector goes through the same plan twice, real parts first. Chunks of `chunk`
// adjacent columns run `chunkPlan`, the columns a block leaves over run `singlePlan` one at a time.
//
// `inBuf` and `outBuf`: distinct 16-byte aligned scratch of at least chunk * n T each (n for a range
// that holds no chunk). Writes the output vectors of [begin, end) only. Re-entrant: concurrent calls
// on disjoint ranges with their own scratch may share the plans. `in` may equal `out` when inputLength
// equals n. Exceptions of the data-movement kernels pass through; nothing is allocated.
template <typename T>
void runStridedDCSTRange(const T* in, T* out, std::size_t stride, std::size_t n, std::size_t inputLength,
                         fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, T* inBuf, T* outBuf,
                         std::size_t begin, std::size_t end, std::size_t chunk, bool isComplex);

// The same at stride 1, where the vectors lie one after another and chunks run across what would be
// block borders.
template <typename T>
void runContiguousDCSTRange(const T* in, T* out, std::size_t n, std::size_t inputLength,
                            fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, T* inBuf, T* outBuf,
                            std::size_t begin, std::size_t end, std::size_t chunk, bool isComplex);

extern template void runStridedDCSTRange<float>(const float*, float*, std::size_t, std::size_t, std::size_t,
                                                fftwf_plan, fftwf_plan, float*, float*, std::size_t,
                                                std::size_t, std::size_t, bool);
extern template void runStridedDCSTRange<double>(const double*, double*, std::size_t, std::size_t,
                                                 std::size_t, fftw_plan, fftw_plan, double*, double*,
                                                 std::size_t, std::size_t, std::size_t, bool);
extern template void runContiguousDCSTRange<float>(const float*, float*, std::size_t, std::size_t, fftwf_plan,
                                                   fftwf_plan, float*, float*, std::size_t, std::size_t,
                                                   std::size_t, bool);
extern template void runContiguousDCSTRange<double>(const double*, double*, std::size_t, std::size_t,
                                                    fftw_plan, fftw_plan, double*, double*, std::size_t,
                                                    std::size_t, std::size_t, bool);

// Loop body for any stride other than 1; see runStridedDCSTRange for the contract.
template <typename T, int Kind>
struct DCSTLoopBody {
  void operator()(const T* in, T* out, std::size_t stride, std::size_t n, std::size_t inputLength,
                  fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, T* inBuf, T* outBuf, std::size_t begin,
                  std::size_t end, std::size_t chunk, bool isComplex) const {
    runStridedDCSTRange<T>(in, out, stride, n, inputLength, singlePlan, chunkPlan, inBuf, outBuf, begin, end,
                           chunk, isComplex);
  }
};

// Loop body for stride 1, which it doesn't read; see runContiguousDCSTRange for the contract.
template <typename T, int Kind>
struct DCSTLoopBody_StrideOne {
  void operator()(const T* in, T* out, std::size_t /*stride*/, std::size_t n, std::size_t inputLength,
                  fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, T* inBuf, T* outBuf, std::size_t begin,
                  std::size_t end, std::size_t chunk, bool isComplex) const {
    runContiguousDCSTRange<T>(in, out, n, inputLength, singlePlan, chunkPlan, inBuf, outBuf, begin, end,
                              chunk, isComplex);
  }
};

}  // namespace tessel_fft
