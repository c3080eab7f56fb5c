// The two failure reports of the library.
#include "backend/errors.hpp"

#include <stdexcept>

namespace tessel_fft {

void throwNoMemory() { throw std::runtime_error("FFTW:nomem"); }

void throwAssertionFailure() { throw std::runtime_error("FFTWAssertionFailure"); }

}  // namespace tessel_fft
