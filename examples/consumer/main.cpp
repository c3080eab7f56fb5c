#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <tessel_fft/tessel_fft.hpp>
#include <vector>

int main() {
  // The library that was loaded must be the one these headers describe.
  if (std::strcmp(tessel_fft::getLibraryVersion(), TESSEL_FFT_VERSION_STRING) != 0) {
    std::fprintf(stderr, "headers %s, library %s\n", TESSEL_FFT_VERSION_STRING,
                 tessel_fft::getLibraryVersion());
    return 1;
  }

  // A 10 x 256 x 3 complex array: FFT along its second dimension and back, with up to two threads.
  const std::uint64_t stride = 10, n = 256, blocks = 3;
  std::vector<std::complex<double>> data(stride * n * blocks), spectrum(data.size()), back(data.size());
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = {std::cos(0.1 * i), std::sin(0.3 * i)};

  const tessel_fft::fftwContext context(2, FFTW_MEASURE, tessel_fft::fftwContext::EMBED_COMPACT, false);
  tessel_fft::sharedFFTPlanCache<double, tessel_fft::c2c> cache;  // keeps the plans for later calls
  tessel_fft::quillFFT1D<double, tessel_fft::c2c>(context, &cache, data.data(), spectrum.data(), stride, n,
                                                  /*inputLength=*/n, /*numVectors=*/stride * blocks,
                                                  FFTW_FORWARD);
  tessel_fft::quillFFT1D<double, tessel_fft::c2c>(context, &cache, spectrum.data(), back.data(), stride, n, n,
                                                  stride * blocks, FFTW_BACKWARD);  // divides by n

  double error = 0;
  for (std::size_t i = 0; i < data.size(); ++i) error = std::max(error, std::abs(back[i] - data[i]));

  // FFTW has no plan for an in-place r2c of one point over two vectors: the library's failure arrives as
  // its own type, thrown inside the shared library and caught here.
  double cells[4] = {};
  try {
    tessel_fft::interleavedFFT1D<double, tessel_fft::r2c>(
        context, nullptr, cells, reinterpret_cast<fftw_complex*>(cells), 1, 2, FFTW_FORWARD, false);
    return 1;
  } catch (const tessel_fft::backend_failure&) {
  }
  std::printf("tessel_fft %s with %s: round trip error %.1e\n", tessel_fft::getLibraryVersion(), fftw_version,
              error);
  return error < 1e-12 ? 0 : 1;
}
