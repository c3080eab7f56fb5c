// The two failure reports of the library, thrown from one place each.
#pragma once

namespace tessel_fft {

// The library's two failure reports, each thrown from one place so the words cannot drift.
// tessel_fft::out_of_memory, a std::runtime_error("FFTW:nomem"): any allocation failure.
[[noreturn]] void throwNoMemory();
// tessel_fft::backend_failure, a std::runtime_error("FFTWAssertionFailure"): FFTW's internal
// assertion hook fired, or FFTW answered a planning request with no plan where one has to run: FFTW
// itself failed either way.
[[noreturn]] void throwAssertionFailure();

}  // namespace tessel_fft
