#pragma once

#include <algorithm>
#include <cstddef>

#include "buffering/copy.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"

namespace tessel_fft {

// Starts reading `bytes` bytes from `first` into the cache, one prefetch per 64-byte line, so that the
// memory latency of the next gather overlaps the work done before it.
inline void prefetchForRead(const void* first, std::size_t bytes) {
  const char* line = static_cast<const char*>(first);
  for (std::size_t offset = 0; offset < bytes; offset += 64) __builtin_prefetch(line + offset, 0, 3);
}

// Zeroes places usedLength .. logicalLength-1 of `count` dense vectors at pitch logicalLength.
template <typename E>
void zeroPadVectors(E* vectors, std::size_t logicalLength, std::size_t usedLength, std::size_t count) {
  if (usedLength >= logicalLength) return;
  for (std::size_t vector = 0; vector < count; ++vector) {
    E* first = vectors + vector * logicalLength;
    std::fill(first + usedLength, first + logicalLength, E{});
  }
}

// The gather of every batch loop, strided form: `count` adjacent columns of a block (element k of
// column j at source[k * stride + j]) become dense vectors of `logicalLength` at `destination`, cut
// to the input length or zero padded. One column is a strided copy; several are one transposing copy,
// which reads `count` adjacent elements per row of the block.
template <typename E>
void copyToInputBuffer(const E* source, std::size_t stride, std::size_t inputLength, std::size_t count,
                       std::size_t logicalLength, E* destination) {
  const std::size_t usedLength = std::min(inputLength, logicalLength);
  const auto sourceStride = static_cast<std::ptrdiff_t>(stride);
  if (count == 1) {
    buffering::strided::copy(destination, source, sourceStride, usedLength);
  } else {
    buffering::strided::transpose(destination, static_cast<std::ptrdiff_t>(logicalLength), source,
                                  sourceStride, usedLength, count);
  }
  zeroPadVectors(destination, logicalLength, usedLength, count);
}

// Contiguous form: `count` vectors of `inputLength` lying one after another. Without padding or
// cutting the whole chunk is one contiguous copy.
template <typename E>
void copyToInputBuffer(const E* source, std::size_t inputLength, std::size_t count, std::size_t logicalLength,
                       E* destination) {
  if (inputLength == logicalLength) {
    buffering::contiguous::copy(destination, source, inputLength * count);
    return;
  }
  const std::size_t usedLength = std::min(inputLength, logicalLength);
  if (count == 1) {
    buffering::contiguous::copy(destination, source, usedLength);
    zeroPadVectors(destination, logicalLength, usedLength, 1);
    return;
  }
  buffering::contiguous::submatrix(destination, logicalLength, source, inputLength, usedLength, count, true);
}

}  // namespace tessel_fft
