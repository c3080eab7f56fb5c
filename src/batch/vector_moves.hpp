// The moves of every batched loop: vectors of the caller's array into dense scratch, cut or padded,
// and back out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include "buffering/copy.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/stream.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"

namespace tessel_fft {

// How a gather reads vectors and lays them out. Element k of the j-th vector of a group is read at
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

// Gathers `count` vectors from `source` into `scratch` by `layout`. A strided group of several columns
// is one transposing copy, which reads `count` adjacent elements per row of the block; one column is a
// strided copy. Contiguous vectors without padding or cutting are one copy of the whole group.
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

// Interleaved complex data are real data at twice the stride, and a complex vector runs through a real
// plan twice, real parts first, both parts through the same scratch one after the other. `source` and
// `destination` point at the part in the first vector.
//
// Gathers one part of `count` interleaved vectors into dense real vectors of layout.logicalLength. Where
// a group is a single stretch of array elements (one vector, or whole contiguous vectors without padding)
// the real gather at doubled stride serves unchanged.
template <typename R>
void loadPart(R* scratch, const R* source, const GatherLayout& layout, std::size_t count) {
  const std::size_t n = layout.logicalLength;
  const std::size_t used = std::min(layout.inputLength, n);
  if (count == 1) {
    copyToInputBuffer(scratch, source, {2 * layout.stride, layout.inputLength, n}, 1);
  } else if (layout.stride != 1) {
    buffering::interleaved::transpose(scratch, static_cast<std::ptrdiff_t>(n), source,
                                      static_cast<std::ptrdiff_t>(layout.stride), used, count, true);
    zeroPadVectors(scratch, n, used, count);
  } else if (layout.inputLength != n) {
    buffering::interleaved::submatrix(scratch, n, source, layout.inputLength, used, count);
  } else {
    buffering::strided::copy(scratch, source, 2, n * count);
  }
}

// The reverse of loadPart for `count` transformed vectors of n elements.
template <typename R>
void storePart(R* destination, const R* scratch, std::size_t stride, std::size_t n, std::size_t count) {
  if (stride != 1 && count > 1) {
    buffering::interleaved::transpose(destination, static_cast<std::ptrdiff_t>(stride), scratch,
                                      static_cast<std::ptrdiff_t>(n), count, n, false);
  } else {
    // One vector, or whole contiguous vectors: a single stretch of array elements.
    buffering::strided::copy(destination, static_cast<std::ptrdiff_t>(2 * stride), scratch, n * count);
  }
}

// Gathers one part (`parts` is 2 for interleaved complex vectors through a real plan, else 1) of `count`
// vectors into dense vectors of layout.logicalLength.
template <typename E>
void loadVectors(E* scratch, const E* source, const GatherLayout& layout, std::size_t parts,
                 std::size_t count) {
  if constexpr (std::is_floating_point_v<E>) {
    if (parts == 2) return loadPart(scratch, source, layout, count);
  }
  copyToInputBuffer(scratch, source, layout, count);
}

// The reverse for one part of `count` transformed vectors of n elements, dense in `scratch`; with
// `streamOut` contiguous vectors bypass the caches. Where the plans wrote into the array already
// (`scratch` is `destination`) nothing moves.
template <typename E>
void storeVectors(E* destination, const E* scratch, std::size_t stride, std::size_t n, std::size_t parts,
                  std::size_t count, bool streamOut) {
  if constexpr (std::is_floating_point_v<E>) {
    if (parts == 2) return storePart(destination, scratch, stride, n, count);
  }
  if (stride != 1) {
    copyFromOutputBuffer(scratch, n, count, StridedOutput<E>{destination, stride});
  } else if (scratch == destination) {
    return;
  } else if (streamOut) {
    buffering::contiguous::stream_copy(destination, scratch, n * count);
  } else {
    buffering::contiguous::copy(destination, scratch, n * count);
  }
}

}  // namespace tessel_fft
