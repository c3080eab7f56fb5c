// Submatrix kernels: copy the leading `rows` elements of each of `cols` columns between two pitches, the
// way a batch of unit-stride vectors is padded, truncated or spread. Column c of a matrix starts at
// base + c*pitch.
//
// Each kernel chooses its column copy once per call (parallel when `rows` reaches the copy limit) and goes
// parallel over blocks of columns when maxLd * cols exceeds the matrix limit, blocks being
// max(1, blockBudget / maxLd) columns, maxLd = max(dstLd, srcLd). The copy limit, matrix limit and
// block budget are those of kContiguousBudget for the contiguous kernels, of kGatherBudget for the
// interleaved one.
// Each column is written by one task; its zero fill follows its copy. Source and destination must not
// overlap. Any thread may call, also from inside a parallel section.
#pragma once

#include <complex>
#include <cstddef>

#include "buffering/element_functors.hpp"

namespace tessel_fft::buffering {

namespace contiguous {

// dst[c*dstLd + i] = src[c*srcLd + i] for i < rows, c < cols; with zeroFill, also
// dst[c*dstLd + i] = 0 for rows <= i < dstLd. Without it the gap keeps its contents. Needs rows <= dstLd
// when zeroFill is set.
template <typename T>
void submatrix(T* dst, std::size_t dstLd, const T* src, std::size_t srcLd, std::size_t rows, std::size_t cols,
               bool zeroFill);

}  // namespace contiguous

namespace interleaved {

// Lifts one component out of interleaved complex data: dst[c*dstLd + i] = src[2*(c*srcLd + i)] for
// i < rows, and dst[c*dstLd + i] = 0 for rows <= i < dstLd; srcLd counts complex elements, dstLd real
// ones. Pass `src` advanced by one T for the imaginary part. Needs rows <= dstLd.
template <typename T>
void submatrix(T* dst, std::size_t dstLd, const T* src, std::size_t srcLd, std::size_t rows,
               std::size_t cols);

}  // namespace interleaved

}  // namespace tessel_fft::buffering
