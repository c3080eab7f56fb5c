// Moving transform output out of chunk scratch, completing one-sided r2c spectra on the way.
#include "buffering/output_reconstruction.hpp"

#include <tbb/parallel_invoke.h>

#include <algorithm>

#include "backend/precision.hpp"
#include "buffering/copy.hpp"
#include "buffering/element_functors.hpp"
#include "buffering/hermitian.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"

namespace tessel_fft {
namespace {

using buffering::elementsInBudget;
using buffering::noop;

template <typename E>
constexpr std::size_t kStridedConcurrentAt = elementsInBudget<E>(kStridedHalvesConcurrentBytes);
template <typename E>
constexpr std::size_t kUnitConcurrentAt = elementsInBudget<E>(kUnitHalvesConcurrentBytes);
// Up to this h a unit-stride completion copies in a plain loop and mirrors on the calling thread: a tiny
// transform pays for neither a kernel call per vector nor the scheduler.
constexpr std::size_t kShortVectorMax = 8;

// The two halves are independent: they write disjoint parts of the destination and only read the source.
// parallel_invoke spawns its first callable and runs the last one on the calling thread.
template <typename First, typename Second>
void runHalves(bool concurrently, const First& first, const Second& second) {
  if (concurrently) {
    tbb::parallel_invoke(first, second);
  } else {
    first();
    second();
  }
}

}  // namespace

template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, E* dst, r2cTag) {
  const std::size_t h = oneSidedLength(n);
  const auto pitch = static_cast<std::ptrdiff_t>(n);
  const buffering::Spectra<E> full{dst, pitch, 1};
  const buffering::SpectraShape shape{n, numVectors};

  if (src == dst) {
    // Spread from pitch h to pitch n. The last vector moves first and each vector last element first, so no
    // element is overwritten before it has been moved; vector 0 is in place already.
    for (std::size_t j = numVectors; j-- > 1;) {
      std::copy_backward(dst + j * h, dst + j * h + h, dst + j * n + h);
    }
    buffering::completeSpectra(full, {dst, pitch, 1}, shape, true);
    return;
  }

  const buffering::Spectra<const E> oneSided{src, static_cast<std::ptrdiff_t>(h), 1};
  if (h <= kShortVectorMax) {
    for (std::size_t j = 0; j < numVectors; ++j) std::copy(src + j * h, src + j * h + h, dst + j * n);
    buffering::completeSpectra(full, oneSided, shape, false);
    return;
  }

  const bool concurrently = h >= kUnitConcurrentAt<E>;
  runHalves(
      concurrently,
      [=] {
        if (numVectors == 1) {
          buffering::contiguous::copy(dst, src, h);
        } else {
          buffering::contiguous::submatrix(dst, n, src, h, h, numVectors, false);
        }
      },
      [=] { buffering::completeSpectra(full, oneSided, shape, true); });
}

template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, StridedOutput<E> destination,
                          r2cTag) {
  E* const dst = destination.first;
  if (n == 1) {
    std::copy(src, src + numVectors, dst);
    return;
  }
  const std::size_t h = oneSidedLength(n);
  const auto dstStride = static_cast<std::ptrdiff_t>(destination.stride);
  const bool concurrently = h >= kStridedConcurrentAt<E>;
  runHalves(
      concurrently,
      [=] {
        if (numVectors == 1) {
          buffering::strided::copy<E, noop>(dst, dstStride, src, h);
        } else {
          buffering::strided::transpose<E, noop>(dst, dstStride, src, static_cast<std::ptrdiff_t>(h),
                                                 numVectors, h);
        }
      },
      [=] {
        buffering::completeSpectra<E>({dst, 1, dstStride}, {src, static_cast<std::ptrdiff_t>(h), 1},
                                      {n, numVectors}, true);
      });
}

template <typename E>
void copyFromOutputBuffer(const E* src, std::size_t n, std::size_t numVectors, StridedOutput<E> destination) {
  const auto dstStride = static_cast<std::ptrdiff_t>(destination.stride);
  if (numVectors == 1) {
    buffering::strided::copy<E, noop>(destination.first, dstStride, src, n);
  } else {
    buffering::strided::transpose<E, noop>(destination.first, dstStride, src, static_cast<std::ptrdiff_t>(n),
                                           numVectors, n);
  }
}

}  // namespace tessel_fft

#define TESSEL_OUTPUT_RECONSTRUCTION_COMPLETING(E)                                          \
  template void tessel_fft::copyFromOutputBuffer<E>(const E*, std::size_t, std::size_t, E*, \
                                                    tessel_fft::r2cTag);                    \
  template void tessel_fft::copyFromOutputBuffer<E>(const E*, std::size_t, std::size_t,     \
                                                    tessel_fft::StridedOutput<E>, tessel_fft::r2cTag);

#define TESSEL_OUTPUT_RECONSTRUCTION_PLAIN(E)                                           \
  template void tessel_fft::copyFromOutputBuffer<E>(const E*, std::size_t, std::size_t, \
                                                    tessel_fft::StridedOutput<E>);

TESSEL_FOR_EACH_COMPLEX_ELEMENT(TESSEL_OUTPUT_RECONSTRUCTION_COMPLETING)
TESSEL_FOR_EACH_ELEMENT(TESSEL_OUTPUT_RECONSTRUCTION_PLAIN)
