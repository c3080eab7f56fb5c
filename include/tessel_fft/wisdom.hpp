#pragma once

#include <string>

#include "tessel_fft/export.hpp"

namespace tessel_fft {

// FFTW's wisdom: the plans its planner has measured, kept in memory for the life of the process. A plan
// measured once and saved as wisdom costs milliseconds in every later process on the same machine, and
// FFTW's estimating planner uses wisdom too when it has some for the problem at hand. Where the file
// lives is the host's choice: the library reads no file and no environment variable unless it is asked
// to, here.
//
// Every function below first initialises FFTW's threads (as any transform does), so it may be the
// host's first call, and then works under the library's planner lock, so it is safe while other threads
// plan and transform. A failed import leaves the wisdom in memory as it was. Failures are reported by
// the result; `error`, if not null, then receives one line saying what failed.
//
// The text and the file hold both precisions: a first line "tessel_fft wisdom 1 <FFTW version>", then
// "double <bytes>" and that many bytes of FFTW's double-precision wisdom, then "float <bytes>" and the
// single-precision wisdom. Only the FFTW version that wrote it can read it back.

// All wisdom of both precisions in the form above.
TESSEL_FFT_API std::string exportWisdom();

// Writes exportWisdom() to `path`, through a temporary file beside it that is renamed over `path` at
// the end, so `path` is either the complete new file or as it was. False if the directory or file
// cannot be written.
TESSEL_FFT_API bool exportWisdomToFile(const std::string& path, std::string* error = nullptr);

// Adds the wisdom of a text made by exportWisdom (or read from such a file) to what is in memory. False,
// with nothing imported, for anything else: a text that is not in that form, truncated, from another
// FFTW version, or that FFTW refuses.
TESSEL_FFT_API bool importWisdom(const std::string& text, std::string* error = nullptr);

// importWisdom of a file's contents; false also when the file cannot be opened or read.
TESSEL_FFT_API bool importWisdomFromFile(const std::string& path, std::string* error = nullptr);

// FFTW's system-wide wisdom (on Unix /etc/fftw/wisdom and /etc/fftw/wisdomf). True if that of at least
// one precision was read; a precision whose file is missing or bad keeps its wisdom as it was.
TESSEL_FFT_API bool importSystemWisdom(std::string* error = nullptr);

// Drops all wisdom of both precisions. Plans already made, and those in the host's caches, stay valid.
TESSEL_FFT_API void forgetWisdom();

}  // namespace tessel_fft
