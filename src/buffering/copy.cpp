// Copy kernels: contiguous, reversing-conjugating, strided gather and scatter, each plain and parallel.
#include "buffering/copy.hpp"

#include <emmintrin.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "buffering/blocks.hpp"
#include "buffering/move_loops.hpp"
#include "buffering/variants.hpp"

namespace tessel_fft::buffering {
namespace {

using detail::forEachBlock;

// The loops of every kernel here: the chosen variant of the element moves (see variants.hpp), the
// baseline loops of the conjugating ones. Both the serial_ forms and the blocks of the tbb_ forms run
// exactly these, so the two forms produce the same bits.
template <typename T>
void copyRun(T* dst, const T* src, std::size_t n) {
  moveKernels<T>().copy(dst, src, n);
}

template <typename T, template <typename> class F>
void gatherRun(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  if constexpr (std::is_same_v<F<T>, noop<T>>) {
    moveKernels<T>().gather(dst, src, srcStride, n);
  } else {
    detail::gatherLoop<T, F>(dst, src, srcStride, n);
  }
}

template <typename T, template <typename> class F>
void scatterRun(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  if constexpr (std::is_same_v<F<T>, noop<T>>) {
    moveKernels<T>().scatter(dst, dstStride, src, n);
  } else {
    detail::scatterLoop<T, F>(dst, dstStride, src, n);
  }
}

// The sign bits of the imaginary parts in a 16-byte register of complex values: flipping them with an
// exclusive or is exactly what `conjugate` does, also to zeros and NaN payloads.
inline __m128i imaginarySigns(std::complex<double>*) { return _mm_set_epi64x(INT64_MIN, 0); }
inline __m128i imaginarySigns(std::complex<float>*) { return _mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0); }

// The reversing conjugate copy, 16 bytes at a time: one complex<double>, or two complex<float> whose
// order within the register is swapped.
template <typename C>
void conjugateCopyRun(C* dst, const C* src, std::size_t n) {
  const __m128i signs = imaginarySigns(dst);
  constexpr std::size_t kPerRegister = 16 / sizeof(C);
  const auto count = static_cast<std::ptrdiff_t>(n);
  std::ptrdiff_t i = 0;
  for (; i + static_cast<std::ptrdiff_t>(kPerRegister) <= count; i += kPerRegister) {
    __m128i values = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src - i - (kPerRegister - 1)));
    if constexpr (kPerRegister == 2) values = _mm_shuffle_epi32(values, _MM_SHUFFLE(1, 0, 3, 2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_xor_si128(values, signs));
  }
  const conjugate<C> f;
  for (; i < count; ++i) f(dst[i], src[-i]);
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

template <typename C>
void serial_conjugate_copy(C* dst, const C* src, std::size_t n) {
  conjugateCopyRun(dst, src, n);
}

template <typename C>
void tbb_conjugate_copy(C* dst, const C* src, std::size_t n) {
  forEachBlock(n, kContiguousBudget.step<C>(),
               [=](std::size_t b, std::size_t len) { conjugateCopyRun(dst + b, src - b, len); });
}

template <typename C>
void conjugate_copy(C* dst, const C* src, std::size_t n) {
  n >= kContiguousBudget.limit<C>() ? tbb_conjugate_copy(dst, src, n) : conjugateCopyRun(dst, src, n);
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
  TESSEL_BUFFERING_CONTIGUOUS(C, serial_conjugate_copy)                                        \
  TESSEL_BUFFERING_CONTIGUOUS(C, tbb_conjugate_copy)                                           \
  TESSEL_BUFFERING_CONTIGUOUS(C, conjugate_copy)                                               \
  template void strided::serial_copy<C, conjugate>(C*, std::ptrdiff_t, const C*, std::size_t); \
  template void strided::tbb_copy<C, conjugate>(C*, std::ptrdiff_t, const C*, std::size_t);    \
  template void strided::copy<C, conjugate>(C*, std::ptrdiff_t, const C*, std::size_t);

TESSEL_FOR_EACH_ELEMENT(TESSEL_BUFFERING_COPIES)
TESSEL_FOR_EACH_COMPLEX_ELEMENT(TESSEL_BUFFERING_CONJUGATING_COPIES)

}  // namespace tessel_fft::buffering
