// The plain loops behind the hot movement kernels, written for no instruction set beyond x86-64's
// baseline: the variants every machine runs (see variants.hpp).
#pragma once

#include <emmintrin.h>
#include <xmmintrin.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "buffering/element_functors.hpp"
#include "buffering/prefetch.hpp"

namespace tessel_fft::buffering::detail {
// Internal to each file that includes this: every file compiles and inlines its own copies.
namespace {

template <typename T>
void copyLoop(T* dst, const T* src, std::size_t n) {
  if (n != 0) std::memcpy(static_cast<void*>(dst), static_cast<const void*>(src), n * sizeof(T));
}

// A walk whose stride spans a cache line touches a new line with every element.
template <typename T>
bool spansCacheLines(std::ptrdiff_t stride) {
  return static_cast<std::size_t>(stride < 0 ? -stride : stride) * sizeof(T) >= kCacheLineBytes;
}

// Calls move(i) for i in [0, n), where `far` walks the strided side of the move: ahead of the walk its
// lines are prefetched where each step touches a new one.
template <typename T, typename Move>
void walkStrided(const T* far, std::ptrdiff_t stride, std::size_t n, const Move& move) {
  const auto count = static_cast<std::ptrdiff_t>(n);
  std::ptrdiff_t i = 0;
  if (spansCacheLines<T>(stride)) {
    for (; i + kPrefetchAheadSteps < count; ++i) {
      prefetchForRead(far + (i + kPrefetchAheadSteps) * stride);
      move(i);
    }
  }
  for (; i < count; ++i) move(i);
}

template <typename T, template <typename> class F>
void gatherLoop(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n) {
  const F<T> f;
  walkStrided(src, srcStride, n, [&](std::ptrdiff_t i) { f(dst[i], src[i * srcStride]); });
}

template <typename T, template <typename> class F>
void scatterLoop(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n) {
  const F<T> f;
  walkStrided<T>(dst, dstStride, n, [&](std::ptrdiff_t i) { f(dst[i * dstStride], src[i]); });
}

// How much of a far run the walks below prefetch: its start, after which the hardware follows it.
constexpr std::size_t kPrefetchRunBytes = 4 * kCacheLineBytes;

// The edge of the tiles the walks below cut: one cache line of elements.
template <typename T>
constexpr std::ptrdiff_t kTileEdge = sizeof(T) < kCacheLineBytes ? kCacheLineBytes / sizeof(T) : 1;

// Square blocks of dst(r, c) = f(src(c, r)) that move through SSE registers: 4 x 4 floats, and 2 x 2 of
// 8-byte elements (doubles, or complex floats, whose conjugates flip the sign bit of each imaginary part
// as conjugate does). Element by element, each element costs a load and a store of its own, which bounded
// the gathers of single-precision real data and the completion of their spectra. 0: no blocks.
template <typename T, template <typename> class F>
constexpr std::ptrdiff_t kTransposeBlock = std::is_same_v<T, float>&& std::is_same_v<F<T>, noop<T>> ? 4
                                           : sizeof(T) == 8                                         ? 2
                                                                                                    : 0;

template <typename T, template <typename> class F, typename DstRow, typename SrcRow>
void transposeBlock(const DstRow& dstRow, const SrcRow& srcRow, std::ptrdiff_t c, std::ptrdiff_t r) {
  if constexpr (kTransposeBlock<T, F> == 4) {
    __m128 a = _mm_loadu_ps(srcRow(c) + r), b = _mm_loadu_ps(srcRow(c + 1) + r);
    __m128 d = _mm_loadu_ps(srcRow(c + 2) + r), e = _mm_loadu_ps(srcRow(c + 3) + r);
    _MM_TRANSPOSE4_PS(a, b, d, e);
    _mm_storeu_ps(dstRow(r) + c, a);
    _mm_storeu_ps(dstRow(r + 1) + c, b);
    _mm_storeu_ps(dstRow(r + 2) + c, d);
    _mm_storeu_ps(dstRow(r + 3) + c, e);
  } else if constexpr (kTransposeBlock<T, F> == 2) {
    const auto at = [](auto* element) { return reinterpret_cast<const double*>(element); };
    const __m128d a = _mm_loadu_pd(at(srcRow(c) + r)), b = _mm_loadu_pd(at(srcRow(c + 1) + r));
    __m128d first = _mm_unpacklo_pd(a, b), second = _mm_unpackhi_pd(a, b);
    if constexpr (!std::is_same_v<F<T>, noop<T>>) {
      const __m128d imaginarySigns = _mm_castsi128_pd(_mm_set1_epi64x(INT64_MIN));
      first = _mm_xor_pd(first, imaginarySigns);
      second = _mm_xor_pd(second, imaginarySigns);
    }
    _mm_storeu_pd(reinterpret_cast<double*>(dstRow(r) + c), first);
    _mm_storeu_pd(reinterpret_cast<double*>(dstRow(r + 1) + c), second);
  }
}

// Every transposing move: dst(r, c) = f(src(c, r)), where row r of the destination starts at dstRow(r)
// and row c of the source at srcRow(c). The outer indices are the columns c in [first, end) when
// ColumnsOuter, else the rows r; the inner ones run over [0, inner).
//
// The walk cuts the outer indices into tiles of a line's worth; within a tile it takes every inner index,
// and for each of those the tile's outer indices. The tile's elements on the side where outer indices are
// adjacent then form one line, written or read at once, while the far runs of the other side are walked
// side by side along their unit stride. Walking one outer index at a time instead touches one element of
// each of `inner` lines, and where their distance is a multiple of 4 KiB those lines compete for the same
// cache set. Where the type has square blocks, the tile moves block by block, the remainder element by
// element. prefetch(outer) starts the far run of an outer index ahead of the walk, for outer indices of
// this call's range only, so that no address outside the arrays is formed.
template <typename T, template <typename> class F, bool ColumnsOuter, typename DstRow, typename SrcRow,
          typename Prefetch>
void walkTranspose(std::size_t first, std::size_t end, std::size_t inner, const DstRow& dstRow,
                   const SrcRow& srcRow, const Prefetch& prefetch) {
  const F<T> f;
  const auto move = [&](std::ptrdiff_t outer, std::ptrdiff_t in) {
    const std::ptrdiff_t c = ColumnsOuter ? outer : in, r = ColumnsOuter ? in : outer;
    f(dstRow(r)[c], srcRow(c)[r]);
  };
  const auto block = [&](std::ptrdiff_t outer, std::ptrdiff_t in) {
    if constexpr (kTransposeBlock<T, F> == 0) {
      move(outer, in);
    } else if constexpr (ColumnsOuter) {
      transposeBlock<T, F>(dstRow, srcRow, outer, in);
    } else {
      transposeBlock<T, F>(dstRow, srcRow, in, outer);
    }
  };
  constexpr std::ptrdiff_t kStep = std::max<std::ptrdiff_t>(kTransposeBlock<T, F>, 1);
  const auto last = static_cast<std::ptrdiff_t>(end);
  const auto innerEnd = static_cast<std::ptrdiff_t>(inner);
  if (innerEnd == 0) return;
  for (auto tile = static_cast<std::ptrdiff_t>(first); tile < last; tile += kTileEdge<T>) {
    const std::ptrdiff_t tileEnd = std::min(tile + kTileEdge<T>, last);
    const std::ptrdiff_t prefetchEnd = std::min(tileEnd + kPrefetchAheadSteps, last);
    for (std::ptrdiff_t o = tile + kPrefetchAheadSteps; o < prefetchEnd; ++o) prefetch(o);
    std::ptrdiff_t i = 0;
    for (; i + kStep <= innerEnd; i += kStep) {
      std::ptrdiff_t o = tile;
      for (; o + kStep <= tileEnd; o += kStep) block(o, i);
      for (; o < tileEnd; ++o)
        for (std::ptrdiff_t k = i; k < i + kStep; ++k) move(o, k);
    }
    for (; i < innerEnd; ++i)
      for (std::ptrdiff_t o = tile; o < tileEnd; ++o) move(o, i);
  }
}

template <typename T>
void gatherRowsLoop(T* const* rows, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                    std::size_t rowCount) {
  walkTranspose<T, noop, true>(
      0, cols, rowCount, [&](std::ptrdiff_t r) { return rows[r]; },
      [&](std::ptrdiff_t c) { return src + c * srcStride; },
      [&](std::ptrdiff_t c) {
        prefetchForRead(src + c * srcStride, std::min(rowCount * sizeof(T), kPrefetchRunBytes));
      });
}

template <typename T, template <typename> class F = noop>
void scatterColumnsLoop(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                        std::size_t rows) {
  walkTranspose<T, F, false>(
      0, rows, cols, [&](std::ptrdiff_t r) { return dst + r * dstStride; },
      [&](std::ptrdiff_t c) { return columns[c]; },
      [&](std::ptrdiff_t r) {
        prefetchForRead(dst + r * dstStride, std::min(cols * sizeof(T), kPrefetchRunBytes));
      });
}

// The sign bits of the imaginary parts in a 16-byte register of complex values: flipping them with an
// exclusive or is exactly what `conjugate` does, also to zeros and NaN payloads.
inline __m128i imaginarySigns(std::complex<double>*) { return _mm_set_epi64x(INT64_MIN, 0); }
inline __m128i imaginarySigns(std::complex<float>*) { return _mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0); }

// dst[i] = conj(src[i * Direction]) for i < n, Direction 1 or -1, 16 bytes at a time: one
// complex<double>, or two complex<float>, whose order within the register a reversed walk swaps.
template <typename C, int Direction>
void conjugateLoop(C* dst, const C* src, std::size_t n) {
  const __m128i signs = imaginarySigns(dst);
  constexpr std::ptrdiff_t kPerRegister = 16 / sizeof(C);
  const auto count = static_cast<std::ptrdiff_t>(n);
  const auto move = [&](std::ptrdiff_t at) {
    const C* lowest = Direction > 0 ? src + at : src - at - (kPerRegister - 1);
    __m128i values = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lowest));
    if constexpr (Direction < 0 && kPerRegister == 2)
      values = _mm_shuffle_epi32(values, _MM_SHUFFLE(1, 0, 3, 2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + at), _mm_xor_si128(values, signs));
  };
  // Two registers a step: with one, short runs of complex floats trailed the loop GCC makes of std::conj.
  std::ptrdiff_t i = 0;
  for (; i + 2 * kPerRegister <= count; i += 2 * kPerRegister) {
    move(i);
    move(i + kPerRegister);
  }
  if (i + kPerRegister <= count) {
    move(i);
    i += kPerRegister;
  }
  const conjugate<C> f;
  for (; i < count; ++i) f(dst[i], src[i * Direction]);
}

// Copies `bytes` bytes: whole destination lines with non-temporal stores, the partial lines at either end
// with memcpy. No fence: callers fence once at their end.
inline void streamBytesLoop(char* dst, const char* src, std::size_t bytes) {
  const std::size_t misalignment = reinterpret_cast<std::uintptr_t>(dst) % kCacheLineBytes;
  const std::size_t head = std::min(bytes, misalignment == 0 ? 0 : kCacheLineBytes - misalignment);
  std::memcpy(dst, src, head);
  dst += head;
  src += head;
  bytes -= head;
  for (; bytes >= kCacheLineBytes; bytes -= kCacheLineBytes, dst += kCacheLineBytes, src += kCacheLineBytes) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 32));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 48));
    _mm_stream_si128(reinterpret_cast<__m128i*>(dst), a);
    _mm_stream_si128(reinterpret_cast<__m128i*>(dst + 16), b);
    _mm_stream_si128(reinterpret_cast<__m128i*>(dst + 32), c);
    _mm_stream_si128(reinterpret_cast<__m128i*>(dst + 48), d);
  }
  std::memcpy(dst, src, bytes);
}

template <typename T>
void streamLoop(T* dst, const T* src, std::size_t n) {
  streamBytesLoop(reinterpret_cast<char*>(dst), reinterpret_cast<const char*>(src), n * sizeof(T));
}

}  // namespace
}  // namespace tessel_fft::buffering::detail
