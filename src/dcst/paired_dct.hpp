// One dimension of the N-D DCT without a host context: DCT-II (REDFT10) or DCT-III (REDFT01) of two
// real vectors at once through one complex FFT of the same length.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "backend/aligned_scratch.hpp"
#include "backend/planner_threads.hpp"
#include "backend/precision.hpp"
#include "batch/executor.hpp"
#include "batch/policy.hpp"
#include "dcst/makhoul_twiddles.hpp"
#include "plans/owned_plan.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {
namespace nd_detail {

// Makhoul's reordering puts a vector's even elements first and its odd ones reversed after them; then
// DCT-II is the real part of the FFT times a twiddle, and DCT-III the reverse. Two vectors go in as the
// real and imaginary parts of one complex vector, and come apart by Hermitian symmetry in the twiddle
// pass. FFTW still does all the transform arithmetic: its complex codelets, vectorised even in plans
// made by estimate, took a third of the time of its estimated REDFT10 plans (16384 vectors of 128
// doubles on a 2-core AMD EPYC: 2.2 ms against 6.9 ms), and the reordering and twiddles ride on the
// gather and the move out that a strided dimension makes anyway.
//
// Where the pairs of one dimension lie, in units of the real type: pair q of page p starts at
// offset + p * pageStep + q * pairStep, and its element j is the pair (a, b) at j * rowStep and partStep
// further. Interleaved complex data pair their own parts, real data two neighbouring columns, or at
// stride 1 two consecutive vectors. A real vector left over (the last column at an odd stride, the last
// vector of an odd count) pairs with itself: partStep 0, both results land on the same element.
struct PairLayout {
  std::size_t pages;
  std::size_t pairs;  // per page
  std::ptrdiff_t offset, pageStep, pairStep, rowStep, partStep;
};

// The pairs of dimension (stride, n) of an array of `total` elements, and the vectors left over
// (pairs 0 where there are none).
struct DimensionPairs {
  PairLayout paired;
  PairLayout leftOver;
};

inline DimensionPairs dimensionPairs(std::uint64_t total, std::uint64_t stride, std::uint64_t n,
                                     bool isComplex) {
  const auto s = static_cast<std::ptrdiff_t>(stride), length = static_cast<std::ptrdiff_t>(n);
  const std::uint64_t vectors = total / n;
  if (isComplex) {
    if (stride == 1) return {{1, vectors, 0, 0, 2 * length, 2, 1}, {}};
    return {{vectors / stride, stride, 0, 2 * s * length, 2, 2 * s, 1}, {}};
  }
  if (stride == 1) {
    return {{1, vectors / 2, 0, 0, 2 * length, 1, length},
            {1, vectors % 2, static_cast<std::ptrdiff_t>(vectors - 1) * length, 0, 0, 1, 0}};
  }
  return {{vectors / stride, stride / 2, 0, s * length, 2, s, 1},
          {vectors / stride, stride % 2, s - 1, s * length, 0, s, 0}};
}

// Scratch of the complex vectors of a group, each one `pitch` apart so that every vector keeps the
// 16-byte alignment its plan was made for: the reordered inputs, and apart from them the spectra. FFTW
// transforms a batch in place through a buffer of its own (n 1024, 16 vectors on a 2-core AMD EPYC:
// 32 us against 22 us out of place), so the group takes room for both.
inline constexpr std::size_t kPairGroupBytes = 256 * 1024;
inline constexpr std::size_t kMaxPairsPerGroup = 16;

// Visits every element of a group's vectors row by row, where a row of the group is one run of memory or
// a few short ones.
template <typename Visit>
void visitRows(std::size_t count, std::uint64_t n, const Visit& visit) {
  for (std::uint64_t j = 0; j < n; ++j)
    for (std::size_t g = 0; g < count; ++g) visit(g, j);
}

// DCT-II (REDFT10) or its inverse (REDFT01, divided by 2n), either orthonormal, along dimensions of
// extent n: the twiddles, scratch and plans of such a dimension, made once and run on any number of
// arrays. FFTW plans by estimate on one thread. One thread at a time.
template <typename R>
class PairedDctPass {
 public:
  PairedDctPass(std::uint64_t n, bool inverse, bool orthonormal)
      : n_(n),
        inverse_(inverse),
        pitch_(pitchOf(n)),
        group_(std::clamp<std::size_t>(kPairGroupBytes / (2 * pitch_ * sizeof(C)), 1, kMaxPairsPerGroup)),
        twiddleBlock_(n * sizeof(C), 0),
        scratchBlock_(2 * group_ * pitch_ * sizeof(C), 0) {
    // The scaling of the call is folded into the twiddles: after the transform for the forward one, on
    // the input for the inverse.
    C* const twiddles = static_cast<C*>(twiddleBlock_.get());
    for (std::uint64_t k = 0; k < n; ++k) {
      long double scale = 1;
      if (orthonormal) {
        scale = 1 / std::sqrt(static_cast<long double>(k != 0 ? 2 * n : inverse ? n : 4 * n));
      } else if (inverse) {
        scale = 1 / static_cast<long double>(2 * n);
      }
      const std::complex<long double> twiddle = scale * makhoulTwiddle(k, n);
      twiddles[k] =
          C(static_cast<R>(twiddle.real()), static_cast<R>(inverse ? -twiddle.imag() : twiddle.imag()));
    }
    planWithThreads<R>(static_cast<int>(kContextFreeThreads));
    groupPlan_ = planFor(group_);
    singlePlan_ = planFor(1);
  }

  // The dimension at `stride` of an array of `total` elements, from `src` to `out` (which may be the
  // same array).
  void run(const R* src, R* out, std::uint64_t total, std::uint64_t stride, bool isComplex) {
    const DimensionPairs pairs = dimensionPairs(total, stride, n_, isComplex);
    runLayout(src, out, pairs.paired);
    runLayout(src, out, pairs.leftOver);
  }

 private:
  using C = std::complex<R>;

  static std::size_t pitchOf(std::uint64_t n) {
    const std::size_t alignedPitch = 16 / sizeof(C);  // vectors per 16 bytes: 1 for double, 2 for float
    const std::size_t pitch = (n + alignedPitch - 1) / alignedPitch * alignedPitch;
    return setSpreadPitchBytes(pitch * sizeof(C)) / sizeof(C);
  }

  OwnedPlan<fftwPlan<R>> planFor(std::size_t howmany) {
    auto* const inputs = reinterpret_cast<fftwComplex<R>*>(scratchBlock_.get());
    const fftw_iodim64 dim{static_cast<std::ptrdiff_t>(n_), 1, 1};
    const fftw_iodim64 loop{static_cast<std::ptrdiff_t>(howmany), static_cast<std::ptrdiff_t>(pitch_),
                            static_cast<std::ptrdiff_t>(pitch_)};
    return OwnedPlan<fftwPlan<R>>(
        fftwApi::getInstance().plan(1, &dim, 1, &loop, inputs, inputs + group_ * pitch_,
                                    inverse_ ? FFTW_BACKWARD : FFTW_FORWARD, FFTW_ESTIMATE),
        true);
  }

  // The inverse's twiddle on the input: element k of the complex vector from elements k and n-k of the
  // pair (x, y), with twiddle `t` (real, imaginary): t (x - i xMirror) + i t (y - i yMirror), spelled out,
  // since std::complex's product guards NaNs.
  static void twiddleIn(R x, R xMirror, R y, R yMirror, const R* t, R* v) {
    v[0] = t[0] * x + t[1] * xMirror - t[1] * y + t[0] * yMirror;
    v[1] = t[1] * x - t[0] * xMirror + t[0] * y + t[1] * yMirror;
  }

  // The forward's twiddle on the output: elements k of the pair from element `value` of the transformed
  // vector and its mirror n-k (both as real, imaginary), split by Hermitian symmetry.
  static void twiddleOut(const R* value, const R* mirror, const R* t, R& first, R& second) {
    const R sumRe = value[0] + mirror[0], sumIm = value[1] - mirror[1];
    const R differenceRe = value[0] - mirror[0], differenceIm = value[1] + mirror[1];
    first = t[0] * sumRe - t[1] * sumIm;
    second = t[0] * differenceIm + t[1] * differenceRe;
  }

  // Calls f with the element step of a contiguous pair: 1 (two real vectors side by side, which the
  // compiler then vectorises) as a constant, any other as a value.
  template <typename F>
  static void withRowStep(std::ptrdiff_t rowStep, const F& f) {
    if (rowStep == 1) {
      f(std::integral_constant<std::ptrdiff_t, 1>());
    } else {
      f(rowStep);
    }
  }

  // One pair of a contiguous layout into its complex vector `v` (real and imaginary parts interleaved):
  // forward, reordered, its even elements first and its odd ones reversed after them; inverse, twiddled
  // with its mirror. Element j of the pair's first vector is first[j * rowStep], of its second
  // first[j * rowStep + partStep].
  template <typename Step>
  void loadVector(const R* first, Step rowStep, std::ptrdiff_t partStep, R* v, const C* twiddles) const {
    const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(n_);
    const R* const second = first + partStep;
    if (!inverse_) {
      for (std::ptrdiff_t k = 0; k < (n + 1) / 2; ++k) {
        v[2 * k] = first[2 * k * rowStep];
        v[2 * k + 1] = second[2 * k * rowStep];
      }
      for (std::ptrdiff_t k = 0; k < n / 2; ++k) {
        v[2 * (n - 1 - k)] = first[(2 * k + 1) * rowStep];
        v[2 * (n - 1 - k) + 1] = second[(2 * k + 1) * rowStep];
      }
      return;
    }
    const R* const t = reinterpret_cast<const R*>(twiddles);
    // X[n] is 0: row 0 pairs with nothing.
    twiddleIn(first[0], R(0), second[0], R(0), t, v);
    for (std::ptrdiff_t k = 1; k < n; ++k)
      twiddleIn(first[k * rowStep], first[(n - k) * rowStep], second[k * rowStep], second[(n - k) * rowStep],
                t + 2 * k, v + 2 * k);
  }

  // The transformed complex vector `v` back to its pair, the reverse of loadVector: forward, twiddled and
  // split by Hermitian symmetry; inverse, its reordering undone.
  template <typename Step>
  void storeVector(const R* v, R* first, Step rowStep, std::ptrdiff_t partStep, const C* twiddles) const {
    const std::ptrdiff_t n = static_cast<std::ptrdiff_t>(n_);
    R* const second = first + partStep;
    if (inverse_) {
      for (std::ptrdiff_t k = 0; k < (n + 1) / 2; ++k) {
        first[2 * k * rowStep] = v[2 * k];
        second[2 * k * rowStep] = v[2 * k + 1];
      }
      for (std::ptrdiff_t k = 0; k < n / 2; ++k) {
        first[(2 * k + 1) * rowStep] = v[2 * (n - 1 - k)];
        second[(2 * k + 1) * rowStep] = v[2 * (n - 1 - k) + 1];
      }
      return;
    }
    const R* const t = reinterpret_cast<const R*>(twiddles);
    // Element 0 reflects onto itself.
    twiddleOut(v, v, t, first[0], second[0]);
    for (std::ptrdiff_t k = 1; k < n; ++k)
      twiddleOut(v + 2 * k, v + 2 * (n - k), t + 2 * k, first[k * rowStep], second[k * rowStep]);
  }

  void runLayout(const R* src, R* out, const PairLayout& layout) {
    const fftwApi& api = fftwApi::getInstance();
    const std::uint64_t n = n_;
    const bool inverse = inverse_;
    const std::size_t pitch = pitch_, group = group_;
    const C* const twiddles = static_cast<const C*>(twiddleBlock_.get());
    C* const inputs = static_cast<C*>(scratchBlock_.get());
    C* const spectra = inputs + group * pitch;
    auto* const fftwInputs = reinterpret_cast<fftwComplex<R>*>(inputs);
    auto* const fftwSpectra = reinterpret_cast<fftwComplex<R>*>(spectra);
    const OwnedPlan<fftwPlan<R>>& groupPlan = groupPlan_;
    const OwnedPlan<fftwPlan<R>>& singlePlan = singlePlan_;
    // Element j of a vector sits at this place of its reordered vector.
    const auto slot = [n](std::uint64_t j) { return j % 2 == 0 ? j / 2 : n - 1 - j / 2; };
    const std::ptrdiff_t partStep = layout.partStep;
    // Contiguous vectors of a page or more are visited one by one: row by row, the group's vectors would
    // be as many streams a multiple of 4 KiB apart.
    const bool contiguous = layout.rowStep <= 2 && n * sizeof(R) * 2 >= kSetSpanBytes;
    // Element j of pair g of the group, from the group's start.
    const auto at = [&layout](std::size_t g, std::uint64_t j) {
      return static_cast<std::ptrdiff_t>(g) * layout.pairStep +
             static_cast<std::ptrdiff_t>(j) * layout.rowStep;
    };
    // A step is one group of pairs of one page.
    const std::size_t groupsPerPage = (layout.pairs + group - 1) / group;
    runSteps(
        {false, 1, false}, layout.pages * groupsPerPage, [&](std::size_t firstStep, std::size_t lastStep) {
          for (std::size_t step = firstStep; step < lastStep; ++step) {
            const std::size_t page = step / groupsPerPage, first = step % groupsPerPage * group;
            const std::size_t count = std::min(group, layout.pairs - first);
            const std::ptrdiff_t base = layout.offset + static_cast<std::ptrdiff_t>(page) * layout.pageStep +
                                        static_cast<std::ptrdiff_t>(first) * layout.pairStep;
            const R* const from = src + base;
            R* const to = out + base;
            if (contiguous) {
              withRowStep(layout.rowStep, [&](auto rowStep) {
                for (std::size_t g = 0; g < count; ++g)
                  loadVector(from + at(g, 0), rowStep, partStep, reinterpret_cast<R*>(inputs + g * pitch),
                             twiddles);
              });
            } else if (!inverse) {
              visitRows(count, n, [&](std::size_t g, std::uint64_t j) {
                const R* element = from + at(g, j);
                inputs[g * pitch + slot(j)] = C(element[0], element[partStep]);
              });
            } else {
              visitRows(count, n, [&](std::size_t g, std::uint64_t k) {
                const R* element = from + at(g, k);
                // X[n] is 0: row 0 pairs with nothing.
                const R* mirror = k == 0 ? nullptr : from + at(g, n - k);
                twiddleIn(element[0], mirror != nullptr ? mirror[0] : R(0), element[partStep],
                          mirror != nullptr ? mirror[partStep] : R(0),
                          reinterpret_cast<const R*>(twiddles + k),
                          reinterpret_cast<R*>(inputs + g * pitch + k));
              });
            }
            if (count == group) {
              api.execute(groupPlan.get(), fftwInputs, fftwSpectra);
            } else {
              for (std::size_t g = 0; g < count; ++g)
                api.execute(singlePlan.get(), fftwInputs + g * pitch, fftwSpectra + g * pitch);
            }
            if (contiguous) {
              withRowStep(layout.rowStep, [&](auto rowStep) {
                for (std::size_t g = 0; g < count; ++g)
                  storeVector(reinterpret_cast<const R*>(spectra + g * pitch), to + at(g, 0), rowStep,
                              partStep, twiddles);
              });
            } else if (!inverse) {
              visitRows(count, n, [&](std::size_t g, std::uint64_t k) {
                const R* spectrum = reinterpret_cast<const R*>(spectra + g * pitch);
                R* element = to + at(g, k);
                twiddleOut(spectrum + 2 * k, spectrum + 2 * (k == 0 ? 0 : n - k),
                           reinterpret_cast<const R*>(twiddles + k), element[0], element[partStep]);
              });
            } else {
              visitRows(count, n, [&](std::size_t g, std::uint64_t j) {
                const C value = spectra[g * pitch + slot(j)];
                R* element = to + at(g, j);
                element[0] = value.real();
                element[partStep] = value.imag();
              });
            }
          }
        });
  }

  std::uint64_t n_;
  bool inverse_;
  std::size_t pitch_;
  std::size_t group_;
  AlignedScratch twiddleBlock_;
  AlignedScratch scratchBlock_;
  OwnedPlan<fftwPlan<R>> groupPlan_;
  OwnedPlan<fftwPlan<R>> singlePlan_;
};

}  // namespace nd_detail
}  // namespace tessel_fft
