// The cosine/sine entries.
#include <cstdint>

#include "dcst/dcst_batch.hpp"
#include "tessel_fft/dcst.hpp"

namespace tessel_fft {

template <typename T, int Kind>
void quillDCST1D(fftwContext context, dcstPlanCacheInterface<T, Kind>* cache, const T* in, T* out,
                 std::uint64_t stride, std::uint64_t n, std::uint64_t inputLength, std::uint64_t numVectors,
                 int direction, bool isComplex) {
  if (n == 0) return;
  runDCSTBatch<T, Kind>(context, cache, in, out, {stride, n, inputLength, numVectors}, direction, isComplex,
                        DCSTPass<T>{nullptr, false});
}

#define TESSEL_QUILL_DCST(T, Kind) \
  template TESSEL_FFT_API decltype(quillDCST1D<T, Kind>) quillDCST1D<T, Kind>;
TESSEL_FOR_EACH_DCST_TYPE(TESSEL_QUILL_DCST)

}  // namespace tessel_fft
