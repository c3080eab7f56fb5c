#pragma once

#include <cstddef>

#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// The vector length an FFT plan of the kind reads: n, or n/2+1 on the complex input of c2r.
template <int Kind>
constexpr std::size_t logicalLengthOf(std::size_t n) {
  return Kind == c2r ? n / 2 + 1 : n;
}

// Transforms vectors [begin, end) of a column-major batch whose vectors lie in blocks of `stride`
// side by side (vector v in block v / stride, column v % stride, element k a further k * stride on).
// Input vectors hold `inputLength` elements, cut or zero padded to the length the plan reads; output
// vectors hold n elements (a full Hermitian spectrum for r2c). Each run of `chunk` adjacent columns of
// a block is gathered by one transposing copy into `inBuf`, transformed by `chunkPlan` into `outBuf` and
// scattered; columns left in a block go one by one through `singlePlan`. `inBuf` holds `chunk` vectors
// of the plan's input length, `outBuf` `chunk` vectors at the plan's output pitch (n/2+1 for r2c, n
// otherwise); both 16-byte aligned and private to the caller. A plan that the range cannot need may be
// null. Stateless and re-entrant: concurrent calls on disjoint ranges with their own scratch may share
// the plans. Allocates nothing; exceptions of the kernels pass through.
template <typename T, int Kind>
struct FFTLoopBody {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;

  void operator()(const In* in, Out* out, std::size_t stride, std::size_t n, std::size_t inputLength,
                  fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, In* inBuf, Out* outBuf, std::size_t begin,
                  std::size_t end, std::size_t chunk) const;
};

// The same for stride 1, where vectors lie one after another and chunks run across the whole range.
// `stride` is ignored. When `outBuf` is `out` itself, the plans write straight into the output array
// (vector v at out + v * n) and nothing is copied afterwards except the in-place completion of r2c
// spectra; plans for that mode must have been made on the output array's alignment.
template <typename T, int Kind>
struct FFTLoopBody_StrideOne {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;

  void operator()(const In* in, Out* out, std::size_t stride, std::size_t n, std::size_t inputLength,
                  fftwPlan<T> singlePlan, fftwPlan<T> chunkPlan, In* inBuf, Out* outBuf, std::size_t begin,
                  std::size_t end, std::size_t chunk) const;
};

extern template struct FFTLoopBody<float, r2c>;
extern template struct FFTLoopBody<float, c2r>;
extern template struct FFTLoopBody<float, c2c>;
extern template struct FFTLoopBody<double, r2c>;
extern template struct FFTLoopBody<double, c2r>;
extern template struct FFTLoopBody<double, c2c>;
extern template struct FFTLoopBody_StrideOne<float, r2c>;
extern template struct FFTLoopBody_StrideOne<float, c2r>;
extern template struct FFTLoopBody_StrideOne<float, c2c>;
extern template struct FFTLoopBody_StrideOne<double, r2c>;
extern template struct FFTLoopBody_StrideOne<double, c2r>;
extern template struct FFTLoopBody_StrideOne<double, c2c>;

}  // namespace tessel_fft
