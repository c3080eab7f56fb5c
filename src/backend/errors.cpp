// The two failure reports of the library.
#include "backend/errors.hpp"

#include "tessel_fft/errors.hpp"

namespace tessel_fft {

out_of_memory::out_of_memory() : std::runtime_error("FFTW:nomem") {}
out_of_memory::~out_of_memory() = default;

backend_failure::backend_failure() : std::runtime_error("FFTWAssertionFailure") {}
backend_failure::~backend_failure() = default;

void throwNoMemory() { throw out_of_memory(); }

void throwAssertionFailure() { throw backend_failure(); }

}  // namespace tessel_fft
