// What an FFT adds to the shared batch skeleton: its plan lengths, its spectra and its division.
#pragma once

#include <cstddef>
#include <type_traits>

#include "backend/precision.hpp"
#include "batch/batch_run.hpp"
#include "families.hpp"
#include "plans/fft_planner.hpp"
#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// How one FFT batch runs. `sign` reaches the plan key, and FFTW for c2c; `divide` divides the output by the
// transform length; `halfSpectrum` leaves an r2c output one-sided, n/2+1 elements per vector, where the
// default completes it to the full Hermitian spectrum; `outputReadNext` says another pass reads the output
// at once (see BatchSides).
struct FFTPass {
  int sign;
  bool divide;
  bool halfSpectrum;
  bool outputReadNext;
};

// The move out of an r2c batch completes its one-sided spectra.
struct SpectrumCompletion : NoHooks {
  static constexpr bool completesSpectra = true;
};

// Runs an FFT batch of kind Kind and transform length `shape.length` (a half spectrum's output holds
// oneSidedLength of it) above 0, under the caller's `context`.
template <typename T, int Kind>
void runFFTBatch(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                 const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                 BatchShape shape, const FFTPass& pass) {
  const std::size_t n = shape.length;
  // The plans read n points, or the n/2+1 of a c2r spectrum, and write n points, or the n/2+1 of an r2c
  // spectrum, which the move out completes unless the caller wants the half.
  BatchSides sides{};
  sides.parts = 1;
  sides.transformLength = n;
  sides.planInputLength = Kind == c2r ? oneSidedLength(n) : n;
  sides.planOutputLength = Kind == r2c ? oneSidedLength(n) : n;
  // c2r plans overwrite their input.
  sides.plansKeepInput = Kind != c2r;
  sides.outputReadNext = pass.outputReadNext;
  sides.divisor = pass.divide ? FFT1DEntries::divisor(n) : 1;
  sides.arrayPlanLength = Kind == c2c ? kArrayPlanLength : shape.stride > 1 ? kRealArrayPlanLength : 0;
  if constexpr (Kind == r2c) {
    if (!pass.halfSpectrum) {
      runBatch<FFTPlanner<T, Kind>, SpectrumCompletion>(context, cache, shape, pass.sign, in, out, sides);
      return;
    }
    shape.length = sides.planOutputLength;
  }
  runBatch<FFTPlanner<T, Kind>>(context, cache, shape, pass.sign, in, out, sides);
}

}  // namespace tessel_fft
