#pragma once

// Failure injection for the library's allocations. The test executable defines scalable_malloc,
// scalable_free and fftw_malloc itself, so the library's calls land here: blocks come from malloc (so
// the sanitizers see them), live blocks are counted, and a armed countdown makes chosen calls fail.

#include <cstdint>

namespace tessel_test {

// Number of blocks obtained through scalable_malloc and not yet freed.
long liveScratchBlocks();
// Number of scalable_malloc calls so far, failed ones included.
long scratchAllocationCalls();

// While alive, lets `skip` allocations through, then fails the next `failCount` (negative: all).
// Counts scalable_malloc and fftw_malloc calls together, from any thread.
class FailAllocations {
 public:
  FailAllocations(long skip, long failCount);
  ~FailAllocations();
  FailAllocations(const FailAllocations&) = delete;
  FailAllocations& operator=(const FailAllocations&) = delete;
  // How many allocations were refused.
  long failures() const;
};

}  // namespace tessel_test
