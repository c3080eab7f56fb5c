// Plans of the cosine/sine family: guru64 r2r plans through the shared sequence of attempts.
#include "dcst/dcst_planner.hpp"

#include <cstddef>

#include "dcst/even_extension.hpp"
#include "dcst/half_length.hpp"
#include "families.hpp"
#include "plans/plan_acquisition.hpp"
#include "plans/plan_key.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

template <typename T, int Kind>
bool DCSTPlanner<T, Kind>::getPlan(std::uint64_t n, std::uint64_t howmany, T* in, T* out, int direction,
                                   Plan& plan) const {
  const fftwPlanKey key =
      makePlanKey(DCSTPlans::kKeyLayout, n, 1, howmany, direction, in, out, *this->context_);
  if (halfLengthServes<Kind>(n)) {
    // The complex FFT of the half-length road, n/2 complex points per vector in the same places.
    const auto half = static_cast<std::ptrdiff_t>(n / 2);
    const fftw_iodim64 dims{half, 1, 1};
    const fftw_iodim64 howmanyDims{static_cast<std::ptrdiff_t>(howmany), half, half};
    auto* const complexOut = reinterpret_cast<fftwComplex<T>*>(out);
    const auto planOn = [&](T* input, unsigned flags) {
      return fftwApi::getInstance().plan(1, &dims, 1, &howmanyDims, reinterpret_cast<fftwComplex<T>*>(input),
                                         complexOut, halfLengthSign<Kind>(), flags);
    };
    return acquirePlan<T>(*this->context_, this->cache_, key, n, n * howmany * sizeof(T), in, out, planOn,
                          plan);
  }
  if (extensionServes<Kind>(n)) {
    // The r2c of the extension road, from vectors extensionPitch apart to spectra as far apart.
    const auto pitch = static_cast<std::ptrdiff_t>(extensionPitch<Kind>(n));
    const fftw_iodim64 dims{static_cast<std::ptrdiff_t>(extensionLength<Kind>(n)), 1, 1};
    const fftw_iodim64 howmanyDims{static_cast<std::ptrdiff_t>(howmany), pitch, pitch / 2};
    auto* const spectra = reinterpret_cast<fftwComplex<T>*>(out);
    const auto planOn = [&](T* input, unsigned flags) {
      return fftwApi::getInstance().plan(1, &dims, 1, &howmanyDims, input, spectra, FFTW_FORWARD, flags);
    };
    return acquirePlan<T>(*this->context_, this->cache_, key, n, pitch * howmany * sizeof(T), in, out, planOn,
                          plan);
  }
  // Both sides of an r2r transform have n points per vector, so the distances are n for every kind.
  const fftw_iodim64 dims{static_cast<std::ptrdiff_t>(n), 1, 1};
  const fftw_iodim64 howmanyDims{static_cast<std::ptrdiff_t>(howmany), static_cast<std::ptrdiff_t>(n),
                                 static_cast<std::ptrdiff_t>(n)};
  // The planner takes one kind per transformed dimension.
  const fftw_r2r_kind kind[1] = {DCSTPlans::fftwKind<Kind>()};
  const auto planOn = [&](T* input, unsigned flags) {
    return fftwApi::getInstance().plan(1, &dims, 1, &howmanyDims, input, out, kind, flags);
  };
  return acquirePlan<T>(*this->context_, this->cache_, key, n, n * howmany * sizeof(T), in, out, planOn,
                        plan);
}

template <typename T, int Kind>
fftwPlan<T> DCSTPlanner<T, Kind>::planOverArrays(const ArrayDims& dims, T* in, T* out, int /*direction*/,
                                                 unsigned flags) {
  const fftw_r2r_kind kind[1] = {DCSTPlans::fftwKind<Kind>()};
  return fftwApi::getInstance().plan(1, &dims.transform, dims.loopRank, dims.loops, in, out, kind, flags);
}

#define TESSEL_DCST_PLANNER(T, Kind) template class DCSTPlanner<T, Kind>;
TESSEL_FOR_EACH_DCST_TYPE(TESSEL_DCST_PLANNER)

}  // namespace tessel_fft
