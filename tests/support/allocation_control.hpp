#pragma once

// Failure injection for the library's allocations, through the executable's own scalable_malloc and
// fftw_malloc (allocation_overrides.cpp).

#include <stdexcept>
#include <string>

namespace tessel_test {

long liveScratchBlocks();       // blocks from scalable_malloc not yet freed
long scratchAllocationCalls();  // scalable_malloc calls so far, failed ones included

// While alive, lets `skip` allocations (scalable_malloc and fftw_malloc, any thread) through, then fails
// the next `failCount` (negative: all).
struct FailAllocations {
  FailAllocations(long skip, long failCount);
  ~FailAllocations();
  FailAllocations(const FailAllocations&) = delete;
  FailAllocations& operator=(const FailAllocations&) = delete;
  long failures() const;  // how many were refused
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
