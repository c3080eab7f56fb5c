// Plans of the FFT family: batched 1-D through guru64, 2-D through plan_many.
#include "plans/fft_planner.hpp"

#include "backend/precision.hpp"
#include "plans/plan_acquisition.hpp"
#include "plans/plan_key.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

namespace {

// Length of a complex vector on the one-sided side of a real transform.
std::uint64_t embeddedLength(const fftwContext& context, std::uint64_t n) {
  return context.getEmbedStyle() != fftwContext::EMBED_COMPACT ? n : oneSidedLength(n);
}

// Per kind: distances between input and output vectors of length n, and bytes of one input vector.
template <typename T, int Kind>
struct KindGeometry {
  std::uint64_t inputDistance, outputDistance, inputElementBytes;
};

template <typename T, int Kind>
KindGeometry<T, Kind> geometryOf(const fftwContext& context, std::uint64_t n) {
  const std::uint64_t embedded = embeddedLength(context, n);
  if constexpr (Kind == r2c) return {n, embedded, sizeof(T)};
  if constexpr (Kind == c2r) return {embedded, n, 2 * sizeof(T)};
  if constexpr (Kind == c2c) return {n, n, 2 * sizeof(T)};
}

}  // namespace

template <typename T, int Kind>
bool FFTPlanner<T, Kind>::getPlan(std::uint64_t n, std::uint64_t howmany, In* in, Out* out, int sign,
                                  Plan& plan) const {
  const fftwPlanKey key = makePlanKey(FFTPlans::kKeyLayout, n, 1, howmany, sign, in, out, *this->context_);
  const auto geometry = geometryOf<T, Kind>(*this->context_, n);
  const fftw_iodim64 dims{static_cast<std::ptrdiff_t>(n), 1, 1};
  const fftw_iodim64 howmanyDims{static_cast<std::ptrdiff_t>(howmany),
                                 static_cast<std::ptrdiff_t>(geometry.inputDistance),
                                 static_cast<std::ptrdiff_t>(geometry.outputDistance)};
  const auto planOn = [&](In* input, unsigned flags) {
    return fftwApi::getInstance().plan(1, &dims, 1, &howmanyDims, input, out, sign, flags);
  };
  return acquirePlan<T>(*this->context_, this->cache_, key, n,
                        geometry.inputDistance * howmany * geometry.inputElementBytes, in, out, planOn, plan);
}

template <typename T, int Kind>
bool FFTPlanner<T, Kind>::getPlan2D(std::uint64_t n0, std::uint64_t n1, In* in, Out* out, int sign,
                                    Plan& plan) const {
  const fftwPlanKey key = makePlanKey(FFTPlans::kKeyLayout, n0, 2, n1, sign, in, out, *this->context_);
  const auto geometry = geometryOf<T, Kind>(*this->context_, n0);
  // plan_many takes int: the sizes are cut to 32 bits unchecked; the key keeps them whole.
  const int sizes[2] = {static_cast<int>(n1), static_cast<int>(n0)};
  const int inembed[2] = {static_cast<int>(n1), static_cast<int>(geometry.inputDistance)};
  const int onembed[2] = {static_cast<int>(n1), static_cast<int>(geometry.outputDistance)};
  const int distance = static_cast<int>(n0 * n1);
  const auto planOn = [&](In* input, unsigned flags) {
    return fftwApi::getInstance().planMany(2, sizes, 1, input, inembed, 1, distance, out, onembed, 1,
                                           distance, sign, flags);
  };
  return acquirePlan<T>(*this->context_, this->cache_, key, n0,
                        geometry.inputDistance * n1 * geometry.inputElementBytes, in, out, planOn, plan);
}

template <typename T, int Kind>
fftwPlan<T> FFTPlanner<T, Kind>::planOverArrays(const ArrayDims& dims, In* in, Out* out, int sign,
                                                unsigned flags) {
  return fftwApi::getInstance().plan(1, &dims.transform, dims.loopRank, dims.loops, in, out, sign, flags);
}

#define TESSEL_FFT_PLANNER(T, Kind) template class FFTPlanner<T, Kind>;
TESSEL_FOR_EACH_FFT_TYPE(TESSEL_FFT_PLANNER)

}  // namespace tessel_fft
