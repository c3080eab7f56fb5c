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
// 16-byte alignment its plan was made for.
inline constexpr std::size_t kPairGroupBytes = 256 * 1024;
inline constexpr std::size_t kMaxPairsPerGroup = 16;

// Visits every element of a group's vectors: vector by vector, or row by row, where a row of the group
// is one run of memory or a few short ones.
template <typename Visit>
void visitGroup(bool vectorsContiguous, std::size_t count, std::uint64_t n, const Visit& visit) {
  if (vectorsContiguous) {
    for (std::size_t g = 0; g < count; ++g)
      for (std::uint64_t j = 0; j < n; ++j) visit(g, j);
  } else {
    for (std::uint64_t j = 0; j < n; ++j)
      for (std::size_t g = 0; g < count; ++g) visit(g, j);
  }
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
        group_(std::clamp<std::size_t>(kPairGroupBytes / (pitch_ * sizeof(C)), 1, kMaxPairsPerGroup)),
        twiddleBlock_(n * sizeof(C), 0),
        scratchBlock_(group_ * pitch_ * sizeof(C), 0) {
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
    auto* const scratch = reinterpret_cast<fftwComplex<R>*>(scratchBlock_.get());
    const fftw_iodim64 dim{static_cast<std::ptrdiff_t>(n_), 1, 1};
    const fftw_iodim64 loop{static_cast<std::ptrdiff_t>(howmany), static_cast<std::ptrdiff_t>(pitch_),
                            static_cast<std::ptrdiff_t>(pitch_)};
    return OwnedPlan<fftwPlan<R>>(
        fftwApi::getInstance().plan(1, &dim, 1, &loop, scratch, scratch,
                                    inverse_ ? FFTW_BACKWARD : FFTW_FORWARD, FFTW_ESTIMATE),
        true);
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
    v[0] = t[0] * first[0] - t[1] * second[0];
    v[1] = t[1] * first[0] + t[0] * second[0];
    for (std::ptrdiff_t k = 1; k < n; ++k) {
      const R x = first[k * rowStep], xMirror = first[(n - k) * rowStep];
      const R y = second[k * rowStep], yMirror = second[(n - k) * rowStep];
      // t (x - i xMirror) + i t (y - i yMirror), spelled out: std::complex's product guards NaNs.
      const R tr = t[2 * k], ti = t[2 * k + 1];
      v[2 * k] = tr * x + ti * xMirror - ti * y + tr * yMirror;
      v[2 * k + 1] = ti * x - tr * xMirror + tr * y + ti * yMirror;
    }
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
    first[0] = t[0] * 2 * v[0];
    second[0] = t[0] * 2 * v[1];
    for (std::ptrdiff_t k = 1; k < n; ++k) {
      const R sumRe = v[2 * k] + v[2 * (n - k)], sumIm = v[2 * k + 1] - v[2 * (n - k) + 1];
      const R differenceRe = v[2 * k] - v[2 * (n - k)], differenceIm = v[2 * k + 1] + v[2 * (n - k) + 1];
      const R tr = t[2 * k], ti = t[2 * k + 1];
      first[k * rowStep] = tr * sumRe - ti * sumIm;
      second[k * rowStep] = tr * differenceIm + ti * differenceRe;
    }
  }

  void runLayout(const R* src, R* out, const PairLayout& layout) {
    const fftwApi& api = fftwApi::getInstance();
    const std::uint64_t n = n_;
    const bool inverse = inverse_;
    const std::size_t pitch = pitch_, group = group_;
    const C* const twiddles = static_cast<const C*>(twiddleBlock_.get());
    C* const scratch = static_cast<C*>(scratchBlock_.get());
    auto* const fftwScratch = reinterpret_cast<fftwComplex<R>*>(scratch);
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
                  loadVector(from + at(g, 0), rowStep, partStep, reinterpret_cast<R*>(scratch + g * pitch),
                             twiddles);
              });
            } else if (!inverse) {
              visitGroup(false, count, n, [&](std::size_t g, std::uint64_t j) {
                const R* element = from + at(g, j);
                scratch[g * pitch + slot(j)] = C(element[0], element[partStep]);
              });
            } else {
              visitGroup(false, count, n, [&](std::size_t g, std::uint64_t k) {
                const R* element = from + at(g, k);
                // X[n] is 0: row 0 pairs with nothing.
                const R* mirror = k == 0 ? nullptr : from + at(g, n - k);
                const R x = element[0], xMirror = mirror != nullptr ? mirror[0] : R(0);
                const R y = element[partStep], yMirror = mirror != nullptr ? mirror[partStep] : R(0);
                // t (x - i xMirror) + i t (y - i yMirror), spelled out: std::complex's product guards NaNs.
                const R tr = twiddles[k].real(), ti = twiddles[k].imag();
                scratch[g * pitch + k] = C(tr * x + ti * xMirror - ti * y + tr * yMirror,
                                           ti * x - tr * xMirror + tr * y + ti * yMirror);
              });
            }
            if (count == group) {
              api.execute(groupPlan.get(), fftwScratch, fftwScratch);
            } else {
              for (std::size_t g = 0; g < count; ++g) {
                auto* const vector = fftwScratch + g * pitch;
                api.execute(singlePlan.get(), vector, vector);
              }
            }
            if (contiguous) {
              withRowStep(layout.rowStep, [&](auto rowStep) {
                for (std::size_t g = 0; g < count; ++g)
                  storeVector(reinterpret_cast<const R*>(scratch + g * pitch), to + at(g, 0), rowStep,
                              partStep, twiddles);
              });
            } else if (!inverse) {
              visitGroup(false, count, n, [&](std::size_t g, std::uint64_t k) {
                const C* spectrum = scratch + g * pitch;
                const C value = spectrum[k], reflected = std::conj(spectrum[k == 0 ? 0 : n - k]);
                R* element = to + at(g, k);
                const C sum = value + reflected, difference = value - reflected;
                const R tr = twiddles[k].real(), ti = twiddles[k].imag();
                element[0] = tr * sum.real() - ti * sum.imag();
                element[partStep] = tr * difference.imag() + ti * difference.real();
              });
            } else {
              visitGroup(false, count, n, [&](std::size_t g, std::uint64_t j) {
                const C value = scratch[g * pitch + slot(j)];
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
