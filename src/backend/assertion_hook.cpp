// FFTW's assertion handlers, defined here so that FFTW's internal failures become exceptions.
#include "backend/errors.hpp"
#include "tessel_fft/export.hpp"

// Debian's FFTW has no fftw_set_assertion_failed_fcn, but both of its libraries reach their assertion
// handler through the PLT, so a definition here comes first in the lookup order of any program that
// links this library normally and turns the abort into an exception. The exception unwinds through
// FFTW's frames (x86-64 code always carries unwind tables) and releases the planner lock on the way.
// A host that loaded FFTW with RTLD_GLOBAL before this library keeps FFTW's own handler, which aborts.
extern "C" {

TESSEL_FFT_API void fftw_assertion_failed(const char*, int, const char*) {
  tessel_fft::throwAssertionFailure();
}

TESSEL_FFT_API void fftwf_assertion_failed(const char*, int, const char*) {
  tessel_fft::throwAssertionFailure();
}

}  // extern "C"
