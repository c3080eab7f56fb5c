// Moving transform output out of chunk scratch, completing one-sided r2c spectra on the way.
#include "buffering/output_reconstruction.hpp"

#include <tbb/parallel_invoke.h>

#include <algorithm>

#include "backend/precision.hpp"
#include "buffering/copy.hpp"
#include "buffering/element_functors.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"

namespace tessel_fft {
namespace {

using buffering::conjugate;
using buffering::elementsInBudget;
using buffering::noop;

template <typename E>
constexpr std::size_t kStridedConcurrentAt = elementsInBudget<E>(kStridedHalvesConcurrentBytes);
template <typename E>
constexpr std::size_t kUnitConcurrentAt = elementsInBudget<E>(kUnitHalvesConcurrentBytes);
// Up to this h a unit-stride completion is one plain loop: a tiny transform pays for neither a kernel
// dispatch nor the scheduler.
constexpr std::size_t kShortVectorMax = 8;

// dst[i] = conj(src[-i]) for i < count, for the short vectors.
template <typename E>
void mirrorShort(E* dst, const E* src, std::size_t count) {
  const conjugate<E> f;
  for (std::size_t i = 0; i < count; ++i) f(dst[i], *(src - i));
}

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
  const std::size_t m = n - h;

  if (src == dst) {
    // Spread from pitch h to pitch n. The last vector moves first and each vector last element first, so no
    // element is overwritten before it has been moved; vector 0 is in place already.
    for (std::size_t j = numVectors; j-- > 1;) {
      std::copy_backward(dst + j * h, dst + j * h + h, dst + j * n + h);
    }
    // The mirror reads 1 .. m and writes h .. n-1 of the same vector, and m < h.
    if (h > kShortVectorMax) {
      buffering::contiguous::conjugate_submatrix(dst + h, n, dst + m, n, m, numVectors);
    } else {
      for (std::size_t j = 0; j < numVectors; ++j) mirrorShort(dst + j * n + h, dst + j * n + m, m);
    }
    return;
  }

  if (h <= kShortVectorMax) {
    // Each vector is finished, copy then mirror, before the next one.
    for (std::size_t j = 0; j < numVectors; ++j, dst += n, src += h) {
      std::copy(src, src + h, dst);
      mirrorShort(dst + h, src + m, m);
    }
    return;
  }

  const bool concurrently = h >= kUnitConcurrentAt<E>;
  if (numVectors == 1) {
    runHalves(
        concurrently, [=] { buffering::contiguous::copy(dst, src, h); },
        [=] { buffering::contiguous::conjugate_copy(dst + h, src + m, m); });
  } else {
    runHalves(
        concurrently, [=] { buffering::contiguous::submatrix(dst, n, src, h, h, numVectors, false); },
        [=] { buffering::contiguous::conjugate_submatrix(dst + h, n, src + m, h, m, numVectors); });
  }
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
  const std::size_t m = n - h;
  const auto dstStride = static_cast<std::ptrdiff_t>(destination.stride);
  // The mirror walks the source upward from element 1 and the destination downward from element n-1.
  E* const last = dst + static_cast<std::ptrdiff_t>(n - 1) * dstStride;

  const bool concurrently = h >= kStridedConcurrentAt<E>;
  if (numVectors == 1) {
    runHalves(
        concurrently, [=] { buffering::strided::copy<E, noop>(dst, dstStride, src, h); },
        [=] { buffering::strided::copy<E, conjugate>(last, -dstStride, src + 1, m); });
  } else {
    const auto pitch = static_cast<std::ptrdiff_t>(h);
    runHalves(
        concurrently,
        [=] { buffering::strided::transpose<E, noop>(dst, dstStride, src, pitch, numVectors, h); },
        [=] {
          buffering::strided::transpose<E, conjugate>(last, -dstStride, src + 1, pitch, numVectors, m);
        });
  }
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
