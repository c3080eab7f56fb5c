#pragma once

#include <cstddef>
#include <cstdint>

#include "fft/batch_plans.hpp"
#include "plans/fft_planner.hpp"
#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fftw_context.hpp"

namespace tessel_fft {

// The record of one batched FFT call: context, cache, sizes, sign and the two plans (see BatchPlans),
// plus the four ways to run the batch. Each driver takes the input array, the output array and the
// input length, allocates its scratch, makes the plans on it, runs the batch and frees the scratch, also
// when an exception passes; owned plans stay until releasePlans or the destructor. Direct drivers run one
// loop over all vectors on the calling thread; pooled drivers spread the vectors over tasks that draw
// scratch pairs from a pool. The no-copy drivers need stride 1 and an output array whose vectors are all
// 16-byte aligned: FFTW writes straight into it, and planning may overwrite its former contents.
// Local to one call on one thread, never copied.
template <typename T, int Kind>
class FFTBatchRunner : public BatchPlans<FFTPlanner<T, Kind>> {
 public:
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  using Cache = typename BatchPlans<FFTPlanner<T, Kind>>::Cache;

  // `context` must outlive the runner; `cache` may be null.
  FFTBatchRunner(fftwContext* context, Cache* cache, std::uint64_t fftLength, std::uint64_t stride,
                 std::uint64_t numVectors, int sign)
      : BatchPlans<FFTPlanner<T, Kind>>(context, cache, fftLength, stride, numVectors, sign) {}

  // Throws "FFTW:nomem" if the scratch pair can't be had; planning errors pass through.
  void runDirect(const In* in, Out* out, std::uint64_t inputLength);
  void runDirectNoCopy(const In* in, Out* out, std::uint64_t inputLength);
  // Throws "FFTW:nomem" only if the first pair can't be had; later shortage costs parallelism. An
  // exception of a task reaches the caller once, with all scratch freed.
  void runPooled(const In* in, Out* out, std::uint64_t inputLength);
  void runPooledNoCopy(const In* in, Out* out, std::uint64_t inputLength);

 private:
  // Vectors per scratch block, and the blocks' sizes in bytes.
  std::size_t scratchVectors() const;
  std::size_t inputBlockBytes() const;
  std::size_t outputBlockBytes() const;
};

extern template class FFTBatchRunner<float, r2c>;
extern template class FFTBatchRunner<float, c2r>;
extern template class FFTBatchRunner<float, c2c>;
extern template class FFTBatchRunner<double, r2c>;
extern template class FFTBatchRunner<double, c2r>;
extern template class FFTBatchRunner<double, c2c>;

}  // namespace tessel_fft
