#include <complex>
#include <cstdint>

#include "fft/batch_path.hpp"
#include "fft/fft_batch_runner.hpp"
#include "fft/scale_inverse_fft.hpp"
#include "tessel_fft/fft.hpp"

namespace tessel_fft {

namespace {

// Everything after the entries' own tests: the path, the plans and the run, then the scaling of an
// inverse transform. `context` is the entry's copy and is changed here.
template <typename T, int Kind, bool NoCopy>
void runBatchedFFT(fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                   const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                   std::uint64_t stride, std::uint64_t n, std::uint64_t inputLength, std::uint64_t numVectors,
                   int sign) {
  // Taken before the thread count is narrowed: a batch that runs serially because it is small may
  // still be scaled in parallel.
  const bool threaded = context.getNumThreads() > 1;
  const BatchPath path = configureBatchContext(context, numVectors, n);

  FFTBatchRunner<T, Kind> runner(&context, cache, n, stride, numVectors, sign);
  if (path.pooled) {
    if constexpr (NoCopy) {
      runner.runPooledNoCopy(in, out, inputLength);
    } else {
      runner.runPooled(in, out, inputLength);
    }
  } else {
    if constexpr (NoCopy) {
      runner.runDirectNoCopy(in, out, inputLength);
    } else {
      runner.runDirect(in, out, inputLength);
    }
  }
  runner.releasePlans();
  if (sign == FFTW_BACKWARD) scaleInverseFFT(out, n, n * numVectors, threaded);
}

}  // namespace

template <typename T, int Kind>
void quillFFT1D(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                std::uint64_t numVectors, int sign) {
  if (fftLength == 0) return;
  runBatchedFFT<T, Kind, false>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign);
}

template <typename T, int Kind>
void quillFFT1DNoCopy(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                      const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                      std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                      std::uint64_t numVectors, int sign) {
  using Out = typename fftElements<T, Kind>::Out;
  // Plans carry the output's alignment in their key, so every output vector must share the first one's.
  const bool aligned = (reinterpret_cast<std::uintptr_t>(out) & 15u) == 0;
  const bool vectorsAligned = numVectors <= 1 || (fftLength * sizeof(Out)) % 16 == 0;
  if (stride != 1 || !aligned || !vectorsAligned) {
    quillFFT1D<T, Kind>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign);
    return;
  }
  if (fftLength == 0) return;
  runBatchedFFT<T, Kind, true>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign);
}

#define TESSEL_QUILL_FFT_INSTANCES(T)                                                                        \
  template TESSEL_FFT_API void quillFFT1D<T, r2c>(fftwContext, fftwPlanCacheInterface<T, r2c, fftwPlanKey>*, \
                                                  const T*, std::complex<T>*, std::uint64_t, std::uint64_t,  \
                                                  std::uint64_t, std::uint64_t, int);                        \
  template TESSEL_FFT_API void quillFFT1D<T, c2r>(fftwContext, fftwPlanCacheInterface<T, c2r, fftwPlanKey>*, \
                                                  const std::complex<T>*, T*, std::uint64_t, std::uint64_t,  \
                                                  std::uint64_t, std::uint64_t, int);                        \
  template TESSEL_FFT_API void quillFFT1D<T, c2c>(fftwContext, fftwPlanCacheInterface<T, c2c, fftwPlanKey>*, \
                                                  const std::complex<T>*, std::complex<T>*, std::uint64_t,   \
                                                  std::uint64_t, std::uint64_t, std::uint64_t, int);         \
  template TESSEL_FFT_API void quillFFT1DNoCopy<T, r2c>(                                                     \
      fftwContext, fftwPlanCacheInterface<T, r2c, fftwPlanKey>*, const T*, std::complex<T>*, std::uint64_t,  \
      std::uint64_t, std::uint64_t, std::uint64_t, int);                                                     \
  template TESSEL_FFT_API void quillFFT1DNoCopy<T, c2r>(                                                     \
      fftwContext, fftwPlanCacheInterface<T, c2r, fftwPlanKey>*, const std::complex<T>*, T*, std::uint64_t,  \
      std::uint64_t, std::uint64_t, std::uint64_t, int);                                                     \
  template TESSEL_FFT_API void quillFFT1DNoCopy<T, c2c>(                                                     \
      fftwContext, fftwPlanCacheInterface<T, c2c, fftwPlanKey>*, const std::complex<T>*, std::complex<T>*,   \
      std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, int);

TESSEL_QUILL_FFT_INSTANCES(float)
TESSEL_QUILL_FFT_INSTANCES(double)

}  // namespace tessel_fft
