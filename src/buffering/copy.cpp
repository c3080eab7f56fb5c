// Copy kernels: contiguous, strided gather and scatter, each plain and parallel.
#include "buffering/copy.hpp"

#include <type_traits>

#include "buffering/blocks.hpp"
#include "buffering/variants.hpp"

namespace tessel_fft::buffering {
namespace {

using detail::forEachBlock;

// The loops of every kernel here are the chosen variants (see variants.hpp). Both the serial_ forms and
// the blocks of the tbb_ forms run exactly these, so the two forms produce the same bits.
template <typename T>
void copyRun(T* dst, const T* src, std::size_t n) {
  kernels<T>().copy(dst, src, n);
}

template <typename T, template <typename> class F>
void gatherRun(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  static_assert(std::is_same_v<F<T>, noop<T>>, "no gather conjugates");
  kernels<T>().gather(dst, src, srcStride, n);
}

template <typename T, template <typename> class F>
void scatterRun(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  if constexpr (std::is_same_v<F<T>, noop<T>>) {
    kernels<T>().scatter(dst, dstStride, src, n);
  } else {
    kernels<T>().conjugateScatter(dst, dstStride, src, n);
  }
}

}  // namespace

namespace contiguous {

template <typename T>
void serial_copy(T* dst, const T* src, std::size_t n) {
  copyRun(dst, src, n);
}

template <typename T>
void tbb_copy(T* dst, const T* src, std::size_t n) {
  forEachBlock(n, kContiguousBudget.step<T>(),
               [=](std::size_t b, std::size_t len) { copyRun(dst + b, src + b, len); });
}

template <typename T>
void copy(T* dst, const T* src, std::size_t n) {
  n >= kContiguousBudget.limit<T>() ? tbb_copy(dst, src, n) : copyRun(dst, src, n);
}

}  // namespace contiguous

namespace strided {

template <typename T, template <typename> class F>
void serial_copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  gatherRun<T, F>(dst, src, srcStride, n);
}

template <typename T, template <typename> class F>
void tbb_copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  forEachBlock(n, kGatherBudget.step<T>(), [=](std::size_t b, std::size_t len) {
    gatherRun<T, F>(dst + b, src + static_cast<std::ptrdiff_t>(b) * srcStride, srcStride, len);
  });
}

template <typename T, template <typename> class F>
void copy(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  n >= kGatherBudget.limit<T>() ? tbb_copy<T, F>(dst, src, srcStride, n)
                                : gatherRun<T, F>(dst, src, srcStride, n);
}

template <typename T, template <typename> class F>
void serial_copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  scatterRun<T, F>(dst, dstStride, src, n);
}

template <typename T, template <typename> class F>
void tbb_copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  forEachBlock(n, kScatterBudget.step<T>(), [=](std::size_t b, std::size_t len) {
    scatterRun<T, F>(dst + static_cast<std::ptrdiff_t>(b) * dstStride, dstStride, src + b, len);
  });
}

template <typename T, template <typename> class F>
void copy(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  n >= kScatterBudget.limit<T>() ? tbb_copy<T, F>(dst, dstStride, src, n)
                                 : scatterRun<T, F>(dst, dstStride, src, n);
}

}  // namespace strided

// Each kernel by name; the strided gathers and scatters share their names and are told apart by
// their signatures.
#define TESSEL_BUFFERING_CONTIGUOUS(T, name) template decltype(contiguous::name<T>) contiguous::name<T>;
#define TESSEL_BUFFERING_STRIDED(T, F, name)                                    \
  template void strided::name<T, F>(T*, const T*, std::ptrdiff_t, std::size_t); \
  template void strided::name<T, F>(T*, std::ptrdiff_t, const T*, std::size_t);

#define TESSEL_BUFFERING_COPIES(T)               \
  TESSEL_BUFFERING_CONTIGUOUS(T, serial_copy)    \
  TESSEL_BUFFERING_CONTIGUOUS(T, tbb_copy)       \
  TESSEL_BUFFERING_CONTIGUOUS(T, copy)           \
  TESSEL_BUFFERING_STRIDED(T, noop, serial_copy) \
  TESSEL_BUFFERING_STRIDED(T, noop, tbb_copy)    \
  TESSEL_BUFFERING_STRIDED(T, noop, copy)
#define TESSEL_BUFFERING_CONJUGATING_COPIES(C)                                                 \
  template void strided::serial_copy<C, conjugate>(C*, std::ptrdiff_t, const C*, std::size_t); \
  template void strided::tbb_copy<C, conjugate>(C*, std::ptrdiff_t, const C*, std::size_t);    \
  template void strided::copy<C, conjugate>(C*, std::ptrdiff_t, const C*, std::size_t);

TESSEL_FOR_EACH_ELEMENT(TESSEL_BUFFERING_COPIES)
TESSEL_FOR_EACH_COMPLEX_ELEMENT(TESSEL_BUFFERING_CONJUGATING_COPIES)

}  // namespace tessel_fft::buffering
