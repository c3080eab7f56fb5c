#include <complex>

#include "backend/precision.hpp"
#include "fft/hermitian_completion.hpp"
#include "plans/fft_planner.hpp"
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
  fftwPlan<T> plan = nullptr;
  const bool ownsPlan = acquire(plan);
  const fftwApi& api = fftwApi::getInstance();
  struct PlanRelease {
    const fftwApi& api;
    bool owns;
    fftwPlan<T>& plan;
    ~PlanRelease() {
      if (owns) api.destroyPlan(plan);
    }
  } release{api, ownsPlan, plan};
  if (planOnly) return;
  api.execute(plan, in, out);
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
      [&](std::complex<T>* spectrum) { completeHermitian1D(spectrum, n, howmany); });
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
      [&](std::complex<T>* spectrum) { completeHermitian2D(spectrum, n0, n1); });
}

template TESSEL_FFT_API void interleavedFFT1D<float, r2c>(const fftwContext&,
                                                          fftwPlanCacheInterface<float, r2c, fftwPlanKey>*,
                                                          float*, float (*)[2], std::uint64_t, std::uint64_t,
                                                          int, bool);
template TESSEL_FFT_API void interleavedFFT1D<float, c2r>(const fftwContext&,
                                                          fftwPlanCacheInterface<float, c2r, fftwPlanKey>*,
                                                          float (*)[2], float*, std::uint64_t, std::uint64_t,
                                                          int, bool);
template TESSEL_FFT_API void interleavedFFT1D<float, c2c>(const fftwContext&,
                                                          fftwPlanCacheInterface<float, c2c, fftwPlanKey>*,
                                                          float (*)[2], float (*)[2], std::uint64_t,
                                                          std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT1D<double, r2c>(const fftwContext&,
                                                           fftwPlanCacheInterface<double, r2c, fftwPlanKey>*,
                                                           double*, double (*)[2], std::uint64_t,
                                                           std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT1D<double, c2r>(const fftwContext&,
                                                           fftwPlanCacheInterface<double, c2r, fftwPlanKey>*,
                                                           double (*)[2], double*, std::uint64_t,
                                                           std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT1D<double, c2c>(const fftwContext&,
                                                           fftwPlanCacheInterface<double, c2c, fftwPlanKey>*,
                                                           double (*)[2], double (*)[2], std::uint64_t,
                                                           std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT2D<float, r2c>(const fftwContext&,
                                                          fftwPlanCacheInterface<float, r2c, fftwPlanKey>*,
                                                          float*, float (*)[2], std::uint64_t, std::uint64_t,
                                                          int, bool);
template TESSEL_FFT_API void interleavedFFT2D<float, c2r>(const fftwContext&,
                                                          fftwPlanCacheInterface<float, c2r, fftwPlanKey>*,
                                                          float (*)[2], float*, std::uint64_t, std::uint64_t,
                                                          int, bool);
template TESSEL_FFT_API void interleavedFFT2D<float, c2c>(const fftwContext&,
                                                          fftwPlanCacheInterface<float, c2c, fftwPlanKey>*,
                                                          float (*)[2], float (*)[2], std::uint64_t,
                                                          std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT2D<double, r2c>(const fftwContext&,
                                                           fftwPlanCacheInterface<double, r2c, fftwPlanKey>*,
                                                           double*, double (*)[2], std::uint64_t,
                                                           std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT2D<double, c2r>(const fftwContext&,
                                                           fftwPlanCacheInterface<double, c2r, fftwPlanKey>*,
                                                           double (*)[2], double*, std::uint64_t,
                                                           std::uint64_t, int, bool);
template TESSEL_FFT_API void interleavedFFT2D<double, c2c>(const fftwContext&,
                                                           fftwPlanCacheInterface<double, c2c, fftwPlanKey>*,
                                                           double (*)[2], double (*)[2], std::uint64_t,
                                                           std::uint64_t, int, bool);

}  // namespace tessel_fft
