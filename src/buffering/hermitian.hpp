// Completion of one-sided r2c spectra into full ones, in every layout the library writes them: element k
// of a full spectrum of length n, for h = oneSidedLength(n) <= k < n, is the conjugate of element n-k, as
// `conjugate` writes it (the imaginary part's sign bit flipped, +0 becomes -0, NaN payloads kept). The
// elements below h, DC and Nyquist among them, are the caller's: FFTW wrote them, or the caller copies them.
#pragma once

#include <cstddef>

namespace tessel_fft::buffering {

// Spectra in memory: element k of spectrum j at first[j * spectrumStep + k * elementStep].
template <typename C>
struct Spectra {
  C* first;
  std::ptrdiff_t spectrumStep;
  std::ptrdiff_t elementStep;
};

// `count` spectra of `length` elements. Where `mirrored`, spectrum j takes its upper half from spectrum
// (count - j) mod count, as the rows of a two-dimensional spectrum along its second dimension do.
struct SpectraShape {
  std::size_t length;
  std::size_t count;
  bool mirrored = false;
};

// Writes elements h .. n-1 of the spectra of `full` as the conjugates of elements n-h .. 1 of those of
// `oneSided`. Three layouts: elements adjacent on both sides (rows `spectrumStep` apart: vectors of a
// batch, rows of a two-dimensional spectrum); spectra adjacent in `full` and elements adjacent in
// `oneSided` (columns side by side in a strided array, from scratch); spectra adjacent on both sides
// (columns side by side, in place). `mirrored` only with the first. `oneSided` may describe the same
// memory as `full`, whose elements read are never among those written; otherwise the two don't overlap.
// With `threaded` a large completion runs over tasks, also from inside a parallel section; without, on
// the calling thread. C is std::complex<float> or std::complex<double>.
template <typename C>
void completeSpectra(Spectra<C> full, Spectra<const C> oneSided, const SpectraShape& shape, bool threaded);

}  // namespace tessel_fft::buffering
