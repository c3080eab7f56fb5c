#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <cstddef>
#include <cstdint>

#include "dcst/dcst_batch_runner.hpp"
#include "dcst/dcst_kinds.hpp"
#include "fft/batch_path.hpp"
#include "tessel_fft/dcst.hpp"

namespace tessel_fft {

namespace {

// Divides data[b..e) in place by the integer divisor. The divisor is converted for every element and
// the operation is a true division, never a product with a reciprocal, so results are those of
// x / T(divisor) whatever the partition.
template <typename T>
struct ParDivBody {
  T* data;
  std::uint64_t divisor;

  void operator()(std::size_t begin, std::size_t end) const {
    for (std::size_t i = begin; i < end; ++i) data[i] = data[i] / static_cast<T>(divisor);
  }
  void operator()(const tbb::blocked_range<std::size_t>& range) const { (*this)(range.begin(), range.end()); }
};

// The end step of an inverse call: `count` T of `data` divided by `divisor`. Only a call that was
// given threads spreads the division, and only past 8192 values, below which tasks cost more than
// the work.
template <typename T>
void scaleInverseDCST(T* data, std::uint64_t divisor, std::uint64_t count, bool threaded) {
  constexpr std::uint64_t kParallelAbove = 8192;
  const ParDivBody<T> body{data, divisor};
  if (count > kParallelAbove && threaded) {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count, 1), body, tbb::auto_partitioner());
  } else {
    body(0, count);
  }
}

}  // namespace

template <typename T, int Kind>
void quillDCST1D(fftwContext context, dcstPlanCacheInterface<T, Kind>* cache, const T* in, T* out,
                 std::uint64_t stride, std::uint64_t n, std::uint64_t inputLength, std::uint64_t numVectors,
                 int direction, bool isComplex) {
  if (n == 0) return;
  const bool wasThreaded = context.getNumThreads() > 1;
  const BatchPath path = configureBatchContext(context, numVectors, n);

  DCSTBatchRunner<T, Kind> runner(&context, cache, n, stride, numVectors, direction);
  if (path.pooled) {
    runner.runPooled(in, out, inputLength, isComplex);
  } else {
    runner.runDirect(in, out, inputLength, isComplex);
  }
  runner.releasePlans();

  if (direction == 1) {
    const std::uint64_t count = n * numVectors * (isComplex ? 2 : 1);
    scaleInverseDCST(out, dcstDivisor<Kind>(n), count, wasThreaded);
  }
}

template TESSEL_FFT_API void quillDCST1D<float, 0>(fftwContext, dcstPlanCacheInterface<float, 0>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 1>(fftwContext, dcstPlanCacheInterface<float, 1>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 2>(fftwContext, dcstPlanCacheInterface<float, 2>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 3>(fftwContext, dcstPlanCacheInterface<float, 3>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 4>(fftwContext, dcstPlanCacheInterface<float, 4>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 5>(fftwContext, dcstPlanCacheInterface<float, 5>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 6>(fftwContext, dcstPlanCacheInterface<float, 6>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<float, 7>(fftwContext, dcstPlanCacheInterface<float, 7>*,
                                                   const float*, float*, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 0>(fftwContext, dcstPlanCacheInterface<double, 0>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 1>(fftwContext, dcstPlanCacheInterface<double, 1>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 2>(fftwContext, dcstPlanCacheInterface<double, 2>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 3>(fftwContext, dcstPlanCacheInterface<double, 3>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 4>(fftwContext, dcstPlanCacheInterface<double, 4>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 5>(fftwContext, dcstPlanCacheInterface<double, 5>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 6>(fftwContext, dcstPlanCacheInterface<double, 6>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);
template TESSEL_FFT_API void quillDCST1D<double, 7>(fftwContext, dcstPlanCacheInterface<double, 7>*,
                                                    const double*, double*, std::uint64_t, std::uint64_t,
                                                    std::uint64_t, std::uint64_t, int, bool);

}  // namespace tessel_fft
