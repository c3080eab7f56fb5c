// Cache-bypassing copies into the caller's output.
#include "buffering/stream.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>

#include "buffering/element_functors.hpp"
#include "buffering/prefetch.hpp"
#include "buffering/variants.hpp"

namespace tessel_fft::buffering {
namespace {

// Rows are gathered into a tile of this much stack before they stream out.
constexpr std::size_t kTileBytes = 4096;

}  // namespace

void streamFence() { _mm_sfence(); }

namespace contiguous {

template <typename T>
void stream_copy(T* dst, const T* src, std::size_t n) {
  kernels<T>().stream(dst, src, n);
}

}  // namespace contiguous

namespace strided {

namespace {

// Rows whose elements lie on their natural alignment: each 16-byte piece of a whole line of the row is
// assembled in a register from the columns and leaves with one non-temporal store; the elements before
// the first and after the last whole line of a row go with ordinary stores.
template <typename T>
void scatterRowsByPiece(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                        std::size_t rows) {
  constexpr std::size_t kPerPiece = 16 / sizeof(T);
  constexpr std::size_t kPerLine = kCacheLineBytes / sizeof(T);
  for (std::size_t r = 0; r < rows; ++r) {
    T* row = dst + static_cast<std::ptrdiff_t>(r) * dstStride;
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(row) % kCacheLineBytes / sizeof(T);
    const std::size_t head = std::min(cols, misaligned == 0 ? 0 : kPerLine - misaligned);
    const std::size_t bodyEnd = head + (cols - head) / kPerLine * kPerLine;
    std::size_t c = 0;
    for (; c < head; ++c) std::memcpy(row + c, columns[c] + r, sizeof(T));
    for (; c < bodyEnd; c += kPerPiece) {
      alignas(16) T piece[kPerPiece];
      for (std::size_t k = 0; k < kPerPiece; ++k) std::memcpy(&piece[k], columns[c + k] + r, sizeof(T));
      _mm_stream_si128(reinterpret_cast<__m128i*>(row + c),
                       _mm_load_si128(reinterpret_cast<const __m128i*>(piece)));
    }
    for (; c < cols; ++c) std::memcpy(row + c, columns[c] + r, sizeof(T));
  }
}

// Any other destination: rows are gathered into a tile on the stack, a line's worth of rows at a time so
// that each source column gives one line to it, and each row leaves through the streaming kernel.
template <typename T>
void scatterRowsThroughTile(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                            std::size_t rows) {
  constexpr std::size_t kTileRows = sizeof(T) < kCacheLineBytes ? kCacheLineBytes / sizeof(T) : 1;
  constexpr std::size_t kTileColumns = kTileBytes / (kTileRows * sizeof(T));
  alignas(kCacheLineBytes) T tile[kTileRows * kTileColumns];
  for (std::size_t firstColumn = 0; firstColumn < cols; firstColumn += kTileColumns) {
    const std::size_t tileColumns = std::min(kTileColumns, cols - firstColumn);
    T* destination = dst + static_cast<std::ptrdiff_t>(firstColumn);
    for (std::size_t firstRow = 0; firstRow < rows; firstRow += kTileRows) {
      const std::size_t tileRows = std::min(kTileRows, rows - firstRow);
      for (std::size_t c = 0; c < tileColumns; ++c) {
        const T* column = columns[firstColumn + c] + firstRow;
        for (std::size_t r = 0; r < tileRows; ++r)
          std::memcpy(&tile[r * tileColumns + c], &column[r], sizeof(T));
      }
      for (std::size_t r = 0; r < tileRows; ++r) {
        kernels<T>().stream(destination + static_cast<std::ptrdiff_t>(firstRow + r) * dstStride,
                            tile + r * tileColumns, tileColumns);
      }
    }
  }
}

}  // namespace

template <typename T>
void stream_scatter_columns(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                            std::size_t rows) {
  // Complex elements only need their parts' alignment; a piece then straddles elements.
  if (reinterpret_cast<std::uintptr_t>(dst) % sizeof(T) == 0) {
    scatterRowsByPiece(dst, dstStride, columns, cols, rows);
  } else {
    scatterRowsThroughTile(dst, dstStride, columns, cols, rows);
  }
}

}  // namespace strided

#define TESSEL_STREAM(T)                                                    \
  template decltype(contiguous::stream_copy<T>) contiguous::stream_copy<T>; \
  template decltype(strided::stream_scatter_columns<T>) strided::stream_scatter_columns<T>;
TESSEL_FOR_EACH_ELEMENT(TESSEL_STREAM)

}  // namespace tessel_fft::buffering
