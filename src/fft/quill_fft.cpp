// The batched FFT entries: what an FFT adds to the shared batch skeleton.
#include <complex>
#include <cstdint>
#include <type_traits>

#include "backend/precision.hpp"
#include "batch/batch_run.hpp"
#include "plans/fft_planner.hpp"
#include "tessel_fft/fft.hpp"

namespace tessel_fft {

namespace {

// Vector lengths on the two sides of a batched plan in scratch: the plan reads n points, or the n/2+1 of a
// c2r spectrum, and writes n points, or the n/2+1 of an r2c spectrum, which the move out completes.
template <int Kind>
std::size_t planInputLength(std::size_t n) {
  return Kind == c2r ? oneSidedLength(n) : n;
}
template <int Kind>
std::size_t planOutputLength(std::size_t n) {
  return Kind == r2c ? oneSidedLength(n) : n;
}

// The move out of an r2c batch completes its one-sided spectra.
struct SpectrumCompletion : NoHooks {
  static constexpr bool completesSpectra = true;
};

}  // namespace

template <typename T, int Kind>
void quillFFT1D(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                std::uint64_t numVectors, int sign) {
  if (fftLength == 0) return;
  // One part per element; c2r plans overwrite their input; the output stays for no further pass.
  BatchSides sides{};
  sides.parts = 1;
  sides.planInputLength = planInputLength<Kind>(fftLength);
  sides.planOutputLength = planOutputLength<Kind>(fftLength);
  sides.plansKeepInput = Kind != c2r;
  sides.divisor = sign == FFTW_BACKWARD ? fftLength : 1;
  sides.arrayPlanLength = Kind == c2c ? kArrayPlanLength : stride > 1 ? kRealArrayPlanLength : 0;
  runBatch<FFTPlanner<T, Kind>, std::conditional_t<Kind == r2c, SpectrumCompletion, NoHooks>>(
      context, cache, {stride, fftLength, inputLength, numVectors}, sign, in, out, sides);
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

#define TESSEL_QUILL_FFT(T, Kind)                                            \
  template TESSEL_FFT_API decltype(quillFFT1D<T, Kind>) quillFFT1D<T, Kind>; \
  template TESSEL_FFT_API decltype(quillFFT1DNoCopy<T, Kind>) quillFFT1DNoCopy<T, Kind>;

TESSEL_FOR_EACH_FFT_TYPE(TESSEL_QUILL_FFT)

}  // namespace tessel_fft
