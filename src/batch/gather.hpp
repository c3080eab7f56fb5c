// The gather of every batched loop: vectors of the caller's array into dense scratch, cut or padded.
#pragma once

#include <algorithm>
#include <cstddef>

#include "buffering/copy.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"

namespace tessel_fft {

// How a gather reads vectors and lays them out. Element k of the j-th vector of a run is read at
// source[k * stride + j] (adjacent columns of a block); at stride 1 the vectors lie one after another,
// inputLength apart. In scratch every vector has `logicalLength` places: the first
// min(inputLength, logicalLength) are copied, the rest are zero.
struct GatherLayout {
  std::size_t stride;
  std::size_t inputLength;
  std::size_t logicalLength;
};

// Zeroes places usedLength .. logicalLength-1 of `count` dense vectors at pitch logicalLength.
template <typename E>
void zeroPadVectors(E* vectors, std::size_t logicalLength, std::size_t usedLength, std::size_t count) {
  if (usedLength >= logicalLength) return;
  for (std::size_t vector = 0; vector < count; ++vector) {
    E* first = vectors + vector * logicalLength;
    std::fill(first + usedLength, first + logicalLength, E{});
  }
}

// Gathers `count` vectors from `source` into `scratch` by `layout`. A strided run of several columns
// is one transposing copy, which reads `count` adjacent elements per row of the block; one column is a
// strided copy. Contiguous vectors without padding or cutting are one copy of the whole run.
template <typename E>
void copyToInputBuffer(E* scratch, const E* source, const GatherLayout& layout, std::size_t count) {
  const std::size_t logical = layout.logicalLength;
  const std::size_t used = std::min(layout.inputLength, logical);
  if (layout.stride != 1) {
    const auto sourceStride = static_cast<std::ptrdiff_t>(layout.stride);
    if (count == 1) {
      buffering::strided::copy(scratch, source, sourceStride, used);
    } else {
      buffering::strided::transpose(scratch, static_cast<std::ptrdiff_t>(logical), source, sourceStride, used,
                                    count);
    }
  } else if (layout.inputLength == logical) {
    buffering::contiguous::copy(scratch, source, logical * count);
    return;
  } else if (count == 1) {
    buffering::contiguous::copy(scratch, source, used);
  } else {
    buffering::contiguous::submatrix(scratch, logical, source, layout.inputLength, used, count, true);
    return;
  }
  zeroPadVectors(scratch, logical, used, count);
}

}  // namespace tessel_fft
