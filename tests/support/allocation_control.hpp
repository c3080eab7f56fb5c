#pragma once

// Failure injection for the library's allocations, through the executable's own scalable_malloc and
// fftw_malloc (allocation_overrides.cpp).

#include <stdexcept>
#include <string>

#include "tessel_fft/errors.hpp"

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

// The text of the library failure that `call` throws, or "" if it returns normally. Each text must come
// with its type; a plain std::runtime_error is marked "untyped".
template <typename Call>
std::string errorText(Call call) {
  try {
    call();
  } catch (const tessel_fft::out_of_memory& error) {
    return error.what() == std::string("FFTW:nomem") ? error.what() : "out_of_memory with another text";
  } catch (const tessel_fft::backend_failure& error) {
    return error.what() == std::string("FFTWAssertionFailure") ? error.what()
                                                               : "backend_failure with another text";
  } catch (const std::runtime_error& error) {
    return std::string("untyped ") + error.what();
  }
  return "";
}

}  // namespace tessel_test
