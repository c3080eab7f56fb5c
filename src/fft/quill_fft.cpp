// The batched FFT entries.
#include <cstdint>

#include "fft/fft_batch.hpp"
#include "tessel_fft/fft.hpp"

namespace tessel_fft {

template <typename T, int Kind>
void quillFFT1D(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                std::uint64_t numVectors, int sign) {
  if (fftLength == 0) return;
  runFFTBatch<T, Kind>(context, cache, in, out, {stride, fftLength, inputLength, numVectors},
                       {sign, sign == FFTW_BACKWARD, false, false});
}

// The copying entry already lets FFTW write straight into an output that qualifies (contiguous, with
// every vector on a 16-byte border) wherever that is the faster way, and otherwise goes through scratch,
// with cache-bypassing stores for large outputs: the two entries differ in nothing a host can observe.
template <typename T, int Kind>
void quillFFT1DNoCopy(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                      const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                      std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                      std::uint64_t numVectors, int sign) {
  quillFFT1D<T, Kind>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign);
}

template <typename T>
void quillRFFT1D(fftwContext context, fftwPlanCacheInterface<T, r2c, fftwPlanKey>* cache, const T* in,
                 std::complex<T>* out, std::uint64_t stride, std::uint64_t fftLength,
                 std::uint64_t inputLength, std::uint64_t numVectors, int sign) {
  if (fftLength == 0) return;
  runFFTBatch<T, r2c>(context, cache, in, out, {stride, fftLength, inputLength, numVectors},
                      {sign, sign == FFTW_BACKWARD, true, false});
}

#define TESSEL_QUILL_FFT(T, Kind)                                            \
  template TESSEL_FFT_API decltype(quillFFT1D<T, Kind>) quillFFT1D<T, Kind>; \
  template TESSEL_FFT_API decltype(quillFFT1DNoCopy<T, Kind>) quillFFT1DNoCopy<T, Kind>;
TESSEL_FOR_EACH_FFT_TYPE(TESSEL_QUILL_FFT)

#define TESSEL_QUILL_RFFT(T) template TESSEL_FFT_API decltype(quillRFFT1D<T>) quillRFFT1D<T>;
TESSEL_FOR_EACH_REAL(TESSEL_QUILL_RFFT)

}  // namespace tessel_fft
