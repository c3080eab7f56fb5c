// The transform families: what each one is, and the one list of what is instantiated.
//
// Two families of plans, the FFTs and the cosine/sine transforms, serve five families of entries. A
// family is described by its element types, its kinds, how its plan keys pack their flags, what an
// inverse call divides by, what its output holds and which cache interface a host implements for it.
// The lists below are the only lists of precisions and kinds: every explicit instantiation in
// src/, the Python module's dispatch and the export test expand them, so that a precision or a kind is
// added here and nowhere else.
#pragma once

#include <fftw3.h>

#include <complex>
#include <cstdint>

#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/plan_cache.hpp"

// The lists. Each expands X once per instance, X(T) for an element type and X(T, Kind) for a precision
// and a kind, and all of them are built on the one list of precisions, TESSEL_PRECISIONS.
#define TESSEL_PRECISIONS(EACH, X) EACH(X, float) EACH(X, double)
#define TESSEL_REAL_OF(X, T) X(T)
#define TESSEL_COMPLEX_OF(X, T) X(std::complex<T>)
#define TESSEL_FFT_KINDS_OF(X, T) X(T, r2c) X(T, c2r) X(T, c2c)
// Kinds II to IV of the cosines and of the sines: those with a half-length road (dcst/half_length.hpp).
#define TESSEL_HALF_LENGTH_KINDS_OF(X, T) X(T, 1) X(T, 2) X(T, 3) X(T, 5) X(T, 6) X(T, 7)
#define TESSEL_DCST_KINDS_OF(X, T) X(T, 0) X(T, 4) TESSEL_HALF_LENGTH_KINDS_OF(X, T)

#define TESSEL_FOR_EACH_REAL(X) TESSEL_PRECISIONS(TESSEL_REAL_OF, X)
#define TESSEL_FOR_EACH_COMPLEX_ELEMENT(X) TESSEL_PRECISIONS(TESSEL_COMPLEX_OF, X)
#define TESSEL_FOR_EACH_ELEMENT(X) TESSEL_FOR_EACH_REAL(X) TESSEL_FOR_EACH_COMPLEX_ELEMENT(X)
#define TESSEL_FOR_EACH_FFT_TYPE(X) TESSEL_PRECISIONS(TESSEL_FFT_KINDS_OF, X)
#define TESSEL_FOR_EACH_DCST_TYPE(X) TESSEL_PRECISIONS(TESSEL_DCST_KINDS_OF, X)
#define TESSEL_FOR_EACH_HALF_LENGTH_TYPE(X) TESSEL_PRECISIONS(TESSEL_HALF_LENGTH_KINDS_OF, X)

// Counts the kinds of a list: they run 0, 1, 2... up to the count, and code may walk them so.
#define TESSEL_PLUS_ONE(T, Kind) +1

namespace tessel_fft {

// Bit positions of the packed `flags` word of a plan key. The two plan families pack the same facts at
// different positions; a host cache may hold keys of both.
struct PlanKeyLayout {
  unsigned inputResidue;   // 4 bits: input address modulo 16
  unsigned outputResidue;  // 4 bits: output address modulo 16
  unsigned inverse;        // sign or direction equals 1
  unsigned fullEmbed;      // embed style equals EMBED_FULL_LENGTH
  unsigned inPlace;        // input address equals output address
  unsigned threaded;       // more than one planner thread
};

// What an r2c output vector of n points holds.
enum class SpectrumOutput {
  full,              // all n values: the half FFTW writes, completed on the move out
  completedInPlace,  // all n values: FFTW's half, completed in the caller's array afterwards
  oneSided,          // the oneSidedLength(n) values FFTW writes
};

// The FFT plans: kinds r2c, c2r and c2c of fft_kinds.hpp, made by FFTPlanner.
struct FFTPlans {
  template <typename T, int Kind>
  using Cache = fftwPlanCacheInterface<T, Kind, fftwPlanKey>;
  static constexpr int kKinds = 0 TESSEL_FFT_KINDS_OF(TESSEL_PLUS_ONE, );
  static constexpr PlanKeyLayout kKeyLayout{0, 8, 16, 20, 24, 28};
};

// The cosine/sine plans: Kind 0..3 DCT-I..IV, 4..7 DST-I..IV, made by DCSTPlanner.
struct DCSTPlans {
  template <typename T, int Kind>
  using Cache = dcstPlanCacheInterface<T, Kind>;
  static constexpr int kKinds = 0 TESSEL_DCST_KINDS_OF(TESSEL_PLUS_ONE, );
  static constexpr PlanKeyLayout kKeyLayout{0, 4, 8, 12, 16, 28};

  // FFTW's r2r kind of a Kind. The II/III order of the Kinds is the library's own, so the FFTW values
  // run 3, 5, 4, 6 and 7, 9, 8, 10.
  template <int Kind>
  static constexpr fftw_r2r_kind fftwKind() {
    static_assert(Kind >= 0 && Kind < kKinds, "DCST Kind is 0..7");
    constexpr fftw_r2r_kind kinds[kKinds] = {FFTW_REDFT00, FFTW_REDFT10, FFTW_REDFT01, FFTW_REDFT11,
                                             FFTW_RODFT00, FFTW_RODFT10, FFTW_RODFT01, FFTW_RODFT11};
    return kinds[Kind];
  }

  // The logical size N of a Kind of length n: the kind followed by its inverse kind multiplies by N.
  // Unsigned arithmetic with no guard, so DCT-I of length 1 gives 0.
  template <int Kind>
  static constexpr std::uint64_t divisor(std::uint64_t n) {
    if constexpr (Kind == 0) return 2 * n - 2;
    if constexpr (Kind == 4) return 2 * n + 2;
    return 2 * n;
  }
};

// quillFFT1D, quillFFT1DNoCopy (TESSEL_FOR_EACH_FFT_TYPE) and quillRFFT1D (TESSEL_FOR_EACH_REAL): a
// batch along one dimension of a column-major array. FFTW_BACKWARD divides by the transform length.
struct FFT1DEntries {
  using Plans = FFTPlans;
  template <typename T, int Kind>
  using Elements = fftElements<T, Kind>;
  static constexpr SpectrumOutput kR2COutput = SpectrumOutput::full;  // quillRFFT1D's is oneSided
  static constexpr std::uint64_t divisor(std::uint64_t n) { return n; }
};

// interleavedFFT1D and interleavedFFT2D (TESSEL_FOR_EACH_FFT_TYPE): the caller's arrays on FFTW's own
// layout, unnormalised.
struct InterleavedEntries {
  using Plans = FFTPlans;
  template <typename T, int Kind>
  using Elements = interleavedElements<T, Kind>;
  static constexpr SpectrumOutput kR2COutput = SpectrumOutput::completedInPlace;
  static constexpr bool kDivides = false;
};

// fftND (TESSEL_FOR_EACH_FFT_TYPE): one batched pass per transformed dimension, each with the cache of
// its kind (fftNDCaches); FFTW_BACKWARD divides by the product of the transformed lengths.
struct FFTNDEntries {
  using Plans = FFTPlans;
  template <typename T, int Kind>
  using Elements = fftElements<T, Kind>;
  static constexpr SpectrumOutput kR2COutput = SpectrumOutput::oneSided;  // along axes[0]
};

// quillDCST1D (TESSEL_FOR_EACH_DCST_TYPE): reals, or complex values whose parts are transformed alike;
// n values in, n out. Direction 1 divides by the kind's logical size, DCSTPlans::divisor.
struct DCST1DEntries {
  using Plans = DCSTPlans;
};

// dctIIND and idctIIND (TESSEL_FOR_EACH_ELEMENT): DCT-II forward and DCT-III inverse over every
// dimension, of reals or complex values; with a host context, through the cosine/sine batch of the real
// type. The unnormalised inverse divides by 2n per dimension, the orthonormal pair scales both ways.
struct DCTNDEntries {
  using Plans = DCSTPlans;
  static constexpr int kForwardKind = 1;
  static constexpr int kInverseKind = 2;
};

}  // namespace tessel_fft
