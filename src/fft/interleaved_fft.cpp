// The FFT entries on FFTW's own interleaved layout: plan, execute, complete an r2c spectrum.
#include <complex>

#include "backend/errors.hpp"
#include "backend/precision.hpp"
#include "buffering/hermitian.hpp"
#include "plans/fft_planner.hpp"
#include "plans/owned_plan.hpp"
#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/interleaved.hpp"

namespace tessel_fft {

namespace {

// Get a plan by `acquire`, run it on the caller's buffers, complete an r2c spectrum, drop the plan if it
// is ours. The completion belongs to execution, so planOnly skips it too.
template <typename T, int Kind, typename Acquire, typename Complete>
void runInterleaved(typename interleavedElements<T, Kind>::In* in,
                    typename interleavedElements<T, Kind>::Out* out, bool planOnly, Acquire acquire,
                    Complete complete) {
  OwnedPlan<fftwPlan<T>> plan;
  plan.acquire(acquire);
  if (planOnly) return;
  // FFTW answers some in-place layouts with no plan (r2c and c2r of one point with more than one
  // vector); executing that would crash.
  if (plan.get() == nullptr) throwAssertionFailure();
  fftwApi::getInstance().execute(plan.get(), in, out);
  if constexpr (Kind == r2c) complete(reinterpret_cast<std::complex<T>*>(out));
}

}  // namespace

template <typename T, int Kind>
void interleavedFFT1D(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                      typename interleavedElements<T, Kind>::In* in,
                      typename interleavedElements<T, Kind>::Out* out, std::uint64_t n, std::uint64_t howmany,
                      int sign, bool planOnly) {
  if (n == 0 || howmany == 0) return;
  const FFTPlanner<T, Kind> planner(&context, cache);
  runInterleaved<T, Kind>(
      in, out, planOnly, [&](fftwPlan<T>& plan) { return planner.getPlan(n, howmany, in, out, sign, plan); },
      [&](std::complex<T>* spectrum) {
        const auto pitch = static_cast<std::ptrdiff_t>(n);
        buffering::completeSpectra<std::complex<T>>({spectrum, pitch, 1}, {spectrum, pitch, 1}, {n, howmany},
                                                    context.getNumThreads() > 1);
      });
}

template <typename T, int Kind>
void interleavedFFT2D(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                      typename interleavedElements<T, Kind>::In* in,
                      typename interleavedElements<T, Kind>::Out* out, std::uint64_t n0, std::uint64_t n1,
                      int sign, bool planOnly) {
  if (n0 == 0 || n1 == 0) return;
  const FFTPlanner<T, Kind> planner(&context, cache);
  runInterleaved<T, Kind>(
      in, out, planOnly, [&](fftwPlan<T>& plan) { return planner.getPlan2D(n0, n1, in, out, sign, plan); },
      [&](std::complex<T>* spectrum) {
        // Row j of the n1 rows of n0 takes its upper half from row (n1 - j) mod n1.
        const auto pitch = static_cast<std::ptrdiff_t>(n0);
        buffering::completeSpectra<std::complex<T>>({spectrum, pitch, 1}, {spectrum, pitch, 1},
                                                    {n0, n1, true}, context.getNumThreads() > 1);
      });
}

#define TESSEL_INTERLEAVED_FFT(T, Kind)                                                  \
  template TESSEL_FFT_API decltype(interleavedFFT1D<T, Kind>) interleavedFFT1D<T, Kind>; \
  template TESSEL_FFT_API decltype(interleavedFFT2D<T, Kind>) interleavedFFT2D<T, Kind>;

TESSEL_FOR_EACH_FFT_TYPE(TESSEL_INTERLEAVED_FFT)

}  // namespace tessel_fft
