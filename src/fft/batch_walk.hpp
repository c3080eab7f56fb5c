#pragma once

#include <cstddef>

namespace tessel_fft {

// Walks vectors [begin, end) of a batch stored as blocks of `stride` vectors side by side. Within each
// block it calls chunkStep(block, column) for every run of `chunk` adjacent columns and then
// tailStep(block, column) for each column left over; a range may start and end inside a block. Every
// block ends with its own tail steps, so a stride that isn't a multiple of the chunk leaves a tail in
// every block.
template <typename ChunkStep, typename TailStep>
void walkBatchRange(std::size_t begin, std::size_t end, std::size_t stride, std::size_t chunk,
                    ChunkStep&& chunkStep, TailStep&& tailStep) {
  // An empty range may come with a stride of 0 (an array with an empty leading extent).
  if (begin >= end) return;
  const std::size_t firstBlock = begin / stride;
  const std::size_t firstColumn = begin % stride;
  const std::size_t lastColumns = end % stride;
  const std::size_t blockEnd = end / stride + (lastColumns != 0 ? 1 : 0);
  const std::size_t columnsInLastBlock = lastColumns != 0 ? lastColumns : stride;
  for (std::size_t block = firstBlock; block < blockEnd; ++block) {
    std::size_t column = block == firstBlock ? firstColumn : 0;
    const std::size_t columnEnd = block + 1 == blockEnd ? columnsInLastBlock : stride;
    for (; column + chunk <= columnEnd; column += chunk) chunkStep(block, column);
    for (; column < columnEnd; ++column) tailStep(block, column);
  }
}

// The same walk at stride 1, where the vectors form one sequence and chunks run across what would be
// block borders: chunkStep(first) for each full chunk, then tailStep(vector) for each vector left.
template <typename ChunkStep, typename TailStep>
void walkContiguousRange(std::size_t begin, std::size_t end, std::size_t chunk, ChunkStep&& chunkStep,
                         TailStep&& tailStep) {
  std::size_t vector = begin;
  for (; vector + chunk <= end; vector += chunk) chunkStep(vector);
  for (; vector < end; ++vector) tailStep(vector);
}

}  // namespace tessel_fft
