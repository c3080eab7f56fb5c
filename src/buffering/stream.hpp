// Moves into the caller's output that bypass the caches, for outputs too large to stay in them.
#pragma once

#include <cstddef>

namespace tessel_fft::buffering {

// Each kernel writes the whole cache lines of its destination with non-temporal stores, which skip the
// read a cached store makes of a line it is about to overwrite, and the partial lines at the ends of a
// contiguous run with ordinary stores, so that neighbours writing the rest of such a line concurrently
// stay correct. Any alignment. The stores are not ordered with other threads' reads until streamFence():
// a caller runs it once after its last streaming move, before the data is handed on. Serial: callers spread
// them over tasks. T is float, double, std::complex<float> or std::complex<double>.

// Orders every streaming store this thread made before all its later stores, so that a thread that sees
// the later ones (the end of a task, say) sees the streamed data too.
void streamFence();

namespace contiguous {

// dst[i] = src[i] for i in [0, n). Source and destination do not overlap.
template <typename T>
void stream_copy(T* dst, const T* src, std::size_t n);

}  // namespace contiguous

namespace strided {

// dst[r * dstStride + c] = columns[c][r] for r < rows, c < cols: each row of the destination is a
// contiguous run of `cols` elements, as in the scatter of a group of adjacent columns, whose vectors may
// lie at any distances from each other.
template <typename T>
void stream_scatter_columns(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                            std::size_t rows);

}  // namespace strided

}  // namespace tessel_fft::buffering
