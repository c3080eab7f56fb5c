#include "buffering/copy.hpp"

#include <cstring>

#include "buffering/blocks.hpp"

namespace tessel_fft::buffering {
namespace {

using detail::forEachBlock;

template <typename T>
constexpr std::size_t kContiguousLimit = elementsInBudget<T>(1 * kMiB);
template <typename T>
constexpr std::size_t kContiguousStep = elementsInBudget<T>(256 * kKiB);
// Reads spread over memory turn parallel later and in larger blocks than writes spread over memory.
template <typename T>
constexpr std::size_t kGatherLimit = elementsInBudget<T>(128 * kKiB);
template <typename T>
constexpr std::size_t kGatherStep = elementsInBudget<T>(16 * kKiB);
template <typename T>
constexpr std::size_t kScatterLimit = elementsInBudget<T>(64 * kKiB);
template <typename T>
constexpr std::size_t kScatterStep = elementsInBudget<T>(4 * kKiB);

// The plain loops. Both the serial_ forms and the blocks of the tbb_ forms run exactly these, so the two
// forms produce the same bits.
template <typename T>
void copyRun(T* dst, const T* src, std::size_t n) {
  if (n != 0) std::memcpy(static_cast<void*>(dst), static_cast<const void*>(src), n * sizeof(T));
}

template <typename C>
void conjugateCopyRun(C* dst, const C* src, std::size_t n) {
  const conjugate<C> f;
  const auto count = static_cast<std::ptrdiff_t>(n);
  for (std::ptrdiff_t i = 0; i < count; ++i) f(dst[i], src[-i]);
}

// A walk whose stride spans a cache line touches a new line with every element, at a distance the
// hardware prefetchers do not follow far enough ahead; such walks prefetch their strided side this many
// elements ahead, within the run only, so that no address outside the array is formed. A read prefetch
// also for lines about to be written: x86-64 without PRFCHW drops a write prefetch silently.
constexpr std::ptrdiff_t kStridedPrefetchAhead = 32;

template <typename T>
bool spansCacheLines(std::ptrdiff_t stride) {
  return static_cast<std::size_t>(stride < 0 ? -stride : stride) * sizeof(T) >= 64;
}

template <typename T, template <typename> class F>
void gatherRun(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  const F<T> f;
  const auto count = static_cast<std::ptrdiff_t>(n);
  std::ptrdiff_t i = 0;
  if (spansCacheLines<T>(srcStride)) {
    for (; i + kStridedPrefetchAhead < count; ++i) {
      __builtin_prefetch(src + (i + kStridedPrefetchAhead) * srcStride, 0, 3);
      f(dst[i], src[i * srcStride]);
    }
  }
  for (; i < count; ++i) f(dst[i], src[i * srcStride]);
}

template <typename T, template <typename> class F>
void scatterRun(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  const F<T> f;
  const auto count = static_cast<std::ptrdiff_t>(n);
  std::ptrdiff_t i = 0;
  if (spansCacheLines<T>(dstStride)) {
    for (; i + kStridedPrefetchAhead < count; ++i) {
      __builtin_prefetch(dst + (i + kStridedPrefetchAhead) * dstStride, 0, 3);
      f(dst[i * dstStride], src[i]);
    }
  }
  for (; i < count; ++i) f(dst[i * dstStride], src[i]);
}

}  // namespace

namespace contiguous {

template <typename T>
void serial_copy(T* dst, const T* src, std::size_t n) {
  copyRun(dst, src, n);
}

template <typename T>
void tbb_copy(T* dst, const T* src, std::size_t n) {
  forEachBlock(n, kContiguousStep<T>,
               [=](std::size_t b, std::size_t len) { copyRun(dst + b, src + b, len); });
}

template <typename T>
void copy(T* dst, const T* src, std::size_t n) {
  if (n >= kContiguousLimit<T>) {
    tbb_copy(dst, src, n);
  } else {
    copyRun(dst, src, n);
  }
}

template <typename C>
void serial_conjugate_copy(C* dst, const C* src, std::size_t n) {
  conjugateCopyRun(dst, src, n);
}

template <typename C>
void tbb_conjugate_copy(C* dst, const C* src, std::size_t n) {
  forEachBlock(n, kContiguousStep<C>,
               [=](std::size_t b, std::size_t len) { conjugateCopyRun(dst + b, src - b, len); });
}

template <typename C>
void conjugate_copy(C* dst, const C* src, std::size_t n) {
  if (n >= kContiguousLimit<C>) {
    tbb_conjugate_copy(dst, src, n);
  } else {
    conjugateCopyRun(dst, src, n);
  }
}

}  // namespace contiguous

namespace strided {

template <typename T, template <typename> class F>
void serial_copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  gatherRun<T, F>(dst, src, srcStride, n);
}

template <typename T, template <typename> class F>
void tbb_copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  forEachBlock(n, kGatherStep<T>, [=](std::size_t b, std::size_t len) {
    gatherRun<T, F>(dst + b, src + static_cast<std::ptrdiff_t>(b) * srcStride, srcStride, len);
  });
}

template <typename T, template <typename> class F>
void copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  if (n >= kGatherLimit<T>) {
    tbb_copy<T, F>(dst, src, srcStride, n);
  } else {
    gatherRun<T, F>(dst, src, srcStride, n);
  }
}

template <typename T, template <typename> class F>
void serial_copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  scatterRun<T, F>(dst, dstStride, src, n);
}

template <typename T, template <typename> class F>
void tbb_copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  forEachBlock(n, kScatterStep<T>, [=](std::size_t b, std::size_t len) {
    scatterRun<T, F>(dst + static_cast<std::ptrdiff_t>(b) * dstStride, dstStride, src + b, len);
  });
}

template <typename T, template <typename> class F>
void copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  if (n >= kScatterLimit<T>) {
    tbb_copy<T, F>(dst, dstStride, src, n);
  } else {
    scatterRun<T, F>(dst, dstStride, src, n);
  }
}

}  // namespace strided
}  // namespace tessel_fft::buffering

TESSEL_BUFFERING_COPY_INSTANCES(template)
