// Cosine and sine kinds II, III and IV of even length through one complex FFT of half the length.
//
// FFTW computes its r2r kinds through real-to-halfcomplex codelets, which it doesn't vectorise; its
// complex codelets are. Makhoul's reordering makes DCT-II the real part of the FFT of the even elements
// followed by the odd ones reversed, times a twiddle; that FFT of a real vector is half as long again as
// a complex one, whose spectrum splits by Hermitian symmetry. DCT-III runs the same steps backwards, and
// DCT-IV is the complex FFT of n/2 points between a twiddle before and one after. The sine kinds are the
// cosine kinds of the input with every other element negated or with its order reversed. FFTW still does
// all the transform arithmetic; the reordering and twiddles are O(n) steps on vectors already in scratch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "backend/precision.hpp"

namespace tessel_fft {

// Shorter vectors stay with FFTW's r2r codelets, which are straight-line code at those lengths.
inline constexpr std::uint64_t kHalfLengthMinLength = 16;

// Whether Kind (0..3 DCT-I..IV, 4..7 DST-I..IV) of length n runs through a complex FFT of n/2 points. A
// pure function of the plan key's kind and length: the host's cache holds that plan under the same key.
template <int Kind>
constexpr bool halfLengthServes(std::uint64_t n) {
  return Kind % 4 != 0 && n % 2 == 0 && n >= kHalfLengthMinLength;
}

// The sign of the complex FFT of Kind's half-length road.
template <int Kind>
constexpr int halfLengthSign() {
  return Kind % 4 == 2 ? +1 : -1;
}

// The twiddles of one length n, as (real, imaginary) pairs, with q_k = e^(-i pi k / 2n) and
// f_k = e^(-2 pi i k / n). Kinds II and III, for k = 0..n/2: `quarter` q_k, `quarterMirror` q_(n/2-k),
// `full` f_k; `splitOwn` q_k (1 - i f_k), what Z[k] adds to outputs k and n-k of kind II, and
// `splitMirror` q_(n/2-k) (1 + i f_(n/2-k)), what conj(Z[k]) adds to outputs n/2-k and n/2+k. Each
// table is read forwards in its loop, which the compiler vectorises. Kind IV, for m < n/2: `before`
// e^(-i pi (4m+1) / 4n) before the FFT, `after` 2 e^(-i pi m / n) after it.
template <typename R>
struct HalfLengthTwiddles {
  std::vector<R> quarter, quarterMirror, full, splitOwn, splitMirror;
  std::vector<R> before, after;
};

// The twiddles of length n for kinds II and III (quarterWave false) or IV, computed in long double on first
// use and shared by every later call: a few recent lengths are kept. Thread-safe.
template <typename R>
std::shared_ptr<const HalfLengthTwiddles<R>> halfLengthTwiddles(std::uint64_t n, bool quarterWave);

// One unit of the road: `count` vectors of Kind, n points each, n apart in `in` and in `out` (arrays of
// the plan's residue). `plan` is the complex FFT of n/2 points over `count` vectors n/2 complex points
// apart, made out of place. `in` is used as scratch: it holds neither input nor output afterwards.
template <typename R, int Kind>
void runHalfLength(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                   std::size_t count);

}  // namespace tessel_fft
