// The plain loops behind the hot movement kernels, written for no instruction set beyond x86-64's
// baseline: the variant every machine runs (see variants.hpp) and the loops of the conjugating forms.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

// Walks outer indices [first, end) in tiles of a line's worth; within a tile every inner index, and for
// each of those the tile's outer indices: move(outer, inner). The tile's elements on the side where outer
// indices are adjacent then form one line, written or read at once, while the far runs of the other side
// are walked side by side along their unit stride. Walking one outer index at a time instead touches one
// element of each of `inner` lines, and where their distance is a multiple of 4 KiB those lines compete
// for the same cache set. prefetch(outer) starts the far run of an outer index ahead of the walk, for
// outer indices of this call's range only, so that no address outside the arrays is formed.
template <typename T, typename Move, typename Prefetch>
void walkTiles(std::size_t first, std::size_t end, std::size_t innerCount, const Move& move,
               const Prefetch& prefetch) {
  const auto last = static_cast<std::ptrdiff_t>(end);
  const auto inner = static_cast<std::ptrdiff_t>(innerCount);
  if (inner == 0) return;
  for (auto tile = static_cast<std::ptrdiff_t>(first); tile < last; tile += kTileEdge<T>) {
    const std::ptrdiff_t tileEnd = std::min(tile + kTileEdge<T>, last);
    const std::ptrdiff_t prefetchEnd = std::min(tileEnd + kPrefetchAheadSteps, last);
    for (std::ptrdiff_t o = tile + kPrefetchAheadSteps; o < prefetchEnd; ++o) prefetch(o);
    for (std::ptrdiff_t i = 0; i < inner; ++i) {
      for (std::ptrdiff_t o = tile; o < tileEnd; ++o) move(o, i);
    }
  }
}

template <typename T>
void gatherRowsLoop(T* const* rows, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                    std::size_t rowCount) {
  const noop<T> f;
  walkTiles<T>(
      0, cols, rowCount, [&](std::ptrdiff_t c, std::ptrdiff_t r) { f(rows[r][c], src[c * srcStride + r]); },
      [&](std::ptrdiff_t c) {
        prefetchForRead(src + c * srcStride, std::min(rowCount * sizeof(T), kPrefetchRunBytes));
      });
}

template <typename T>
void scatterColumnsLoop(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                        std::size_t rows) {
  const noop<T> f;
  walkTiles<T>(
      0, rows, cols, [&](std::ptrdiff_t r, std::ptrdiff_t c) { f(dst[r * dstStride + c], columns[c][r]); },
      [&](std::ptrdiff_t r) {
        prefetchForRead(dst + r * dstStride, std::min(cols * sizeof(T), kPrefetchRunBytes));
      });
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

}  // namespace
}  // namespace tessel_fft::buffering::detail
