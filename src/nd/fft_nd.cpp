// The N-D FFTs: one batched pass per transformed dimension, between the caller's arrays and scratch.
#include "tessel_fft/fft_nd.hpp"

#include <complex>
#include <cstdint>
#include <optional>

#include "backend/aligned_scratch.hpp"
#include "backend/precision.hpp"
#include "fft/fft_batch.hpp"
#include "nd/fft_passes.hpp"

namespace tessel_fft {

namespace {

// Where each array of the passes lies.
struct NDArrays {
  const void* input;
  void* output;
  void* first;
  void* second;

  void* operator[](NDArray array) const {
    switch (array) {
      case NDArray::input:
        return const_cast<void*>(input);
      case NDArray::output:
        return output;
      case NDArray::first:
        return first;
      case NDArray::second:
        return second;
    }
    return nullptr;
  }
};

// One pass of kind Kind under a fresh copy of the context, as quillFFT1D runs it.
template <typename T, int Kind>
void runPass(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
             const NDArrays& arrays, const NDPass& pass, const FFTPass& how) {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  fftwContext passContext = context;
  runFFTBatch<T, Kind>(passContext, cache, static_cast<const In*>(arrays[pass.source]),
                       static_cast<Out*>(arrays[pass.target]), pass.batch, how);
}

}  // namespace

template <typename T, int Kind>
void fftND(fftwContext context, const fftNDCaches<T>& caches, const typename fftElements<T, Kind>::In* in,
           typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign) {
  for (std::uint64_t d = 0; d < shape.ndims; ++d)
    if (shape.lengths[d] == 0) return;
  const NDPasses recipe =
      ndPassesOf(Kind, sizeof(T), shape.lengths, shape.inputExtents, shape.ndims, shape.axes, shape.naxes);
  std::optional<AlignedScratch> first, second;
  if (recipe.firstBytes != 0) first.emplace(recipe.firstBytes, 0);
  if (recipe.secondBytes != 0) second.emplace(recipe.secondBytes, 0);
  const NDArrays arrays{in, out, first ? first->get() : nullptr, second ? second->get() : nullptr};
  const bool divide = sign == FFTW_BACKWARD;
  // The c2c passes run FFTW's forward transform in a forward call and its backward one in an inverse.
  const int complexSign =
      Kind == c2r || (Kind == c2c && sign == FFTW_BACKWARD) ? FFTW_BACKWARD : FFTW_FORWARD;
  const std::size_t count = recipe.passes.size();
  for (std::size_t p = 0; p < count; ++p) {
    const NDPass& pass = recipe.passes[p];
    const bool readNext = p + 1 < count;
    if (pass.batch.numVectors == 0) continue;
    if (pass.kind == r2c) {
      runPass<T, r2c>(context, caches.realToComplex, arrays, pass, {sign, divide, true, readNext});
    } else if (pass.kind == c2r) {
      runPass<T, c2r>(context, caches.complexToReal, arrays, pass, {sign, divide, false, readNext});
    } else {
      runPass<T, c2c>(context, caches.complexToComplex, arrays, pass, {complexSign, divide, false, readNext});
    }
  }
}

#define TESSEL_FFT_ND(T, Kind) template TESSEL_FFT_API decltype(fftND<T, Kind>) fftND<T, Kind>;
TESSEL_FOR_EACH_FFT_TYPE(TESSEL_FFT_ND)

}  // namespace tessel_fft
