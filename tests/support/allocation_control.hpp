#pragma once

// Failure injection for the library's allocations, through the executable's own allocators
// (allocation_overrides.cpp).

#include <stdexcept>
#include <string>

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

// The text of the std::runtime_error that `call` throws, or "" if it returns normally.
template <typename Call>
std::string errorText(Call call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

}  // namespace tessel_test
