// Completion of one-sided r2c spectra, for the interleaved entries, the walk's move out and the array road.
#include "buffering/hermitian.hpp"

#include <algorithm>
#include <complex>
#include <cstdlib>

#include "backend/precision.hpp"
#include "buffering/blocks.hpp"
#include "buffering/copy.hpp"
#include "buffering/element_functors.hpp"
#include "buffering/transpose.hpp"
#include "buffering/variants.hpp"

namespace tessel_fft::buffering {
namespace {

// Calls move(first, count) for blocks covering the runs [0, runs), each run moving `runBytes`: once on
// the calling thread, or, where threaded and there is as much to move as a parallel contiguous copy
// needs, over tasks of a contiguous copy's step. Runs are independent: each writes only its own elements.
template <typename Runs>
void forEachRun(std::size_t runs, std::size_t runBytes, bool threaded, const Runs& move) {
  const Budget& budget = kContiguousBudget;
  if (!threaded || runs < 2 || runs * runBytes < budget.limitBytes) {
    move(std::size_t{0}, runs);
    return;
  }
  detail::forEachBlock(runs, std::max<std::size_t>(1, budget.stepBytes / std::max<std::size_t>(runBytes, 1)),
                       move);
}

// Elements adjacent on both sides: each spectrum's upper half is its source's lower half read backwards.
// A single spectrum is cut into runs of a contiguous copy's step, so that it too can spread over tasks.
template <typename C>
void mirrorAlongRows(C* to, std::ptrdiff_t toPitch, const C* from, std::ptrdiff_t fromPitch, std::size_t m,
                     const SpectraShape& shape, bool threaded) {
  const auto mirror = kernels<C>().mirror;
  if (shape.count == 1) {
    const std::size_t step = kContiguousBudget.step<C>();
    forEachRun((m + step - 1) / step, step * sizeof(C), threaded, [=](std::size_t first, std::size_t count) {
      const std::size_t begin = first * step, end = std::min(m, (first + count) * step);
      mirror(to + begin, from - static_cast<std::ptrdiff_t>(begin), end - begin);
    });
    return;
  }
  // A spectrum's task is sized by its pitch, which its lines span, rather than by the m elements written.
  const std::size_t pitch = std::max<std::size_t>(m, std::max(std::abs(toPitch), std::abs(fromPitch)));
  forEachRun(shape.count, pitch * sizeof(C), threaded, [=](std::size_t first, std::size_t count) {
    for (std::size_t j = first; j < first + count; ++j) {
      const std::size_t source = shape.mirrored && j != 0 ? shape.count - j : j;
      mirror(to + static_cast<std::ptrdiff_t>(j) * toPitch,
             from + static_cast<std::ptrdiff_t>(source) * fromPitch, m);
    }
  });
}

// Spectra adjacent on both sides: row h+i of the columns is the conjugate of row m-i, run for run.
template <typename C>
void mirrorAcrossRows(C* to, std::ptrdiff_t toStep, const C* from, std::ptrdiff_t fromStep, std::size_t m,
                      std::size_t columns, bool threaded) {
  const auto conjugateCopy = kernels<C>().conjugateCopy;
  forEachRun(m, columns * sizeof(C), threaded, [=](std::size_t first, std::size_t count) {
    for (auto i = static_cast<std::ptrdiff_t>(first); i < static_cast<std::ptrdiff_t>(first + count); ++i)
      conjugateCopy(to + i * toStep, from - i * fromStep, columns);
  });
}

}  // namespace

template <typename C>
void completeSpectra(Spectra<C> full, Spectra<const C> oneSided, const SpectraShape& shape, bool threaded) {
  const std::size_t n = shape.length, h = oneSidedLength(n), m = n - h;
  if (m == 0 || shape.count == 0) return;
  const auto at = [](auto spectra, std::size_t k) {
    return spectra.first + static_cast<std::ptrdiff_t>(k) * spectra.elementStep;
  };
  if (full.elementStep == 1) {
    mirrorAlongRows(at(full, h), full.spectrumStep, at(oneSided, m), oneSided.spectrumStep, m, shape,
                    threaded);
  } else if (oneSided.elementStep != 1) {
    mirrorAcrossRows(at(full, h), full.elementStep, at(oneSided, m), oneSided.elementStep, m, shape.count,
                     threaded);
  } else {
    // Element n-1-r of the destination takes the conjugate of element 1+r: the source is read upward.
    C* const last = at(full, n - 1);
    const C* const second = at(oneSided, 1);
    const std::ptrdiff_t down = -full.elementStep;
    if (shape.count == 1) {
      if (threaded) {
        strided::copy<C, conjugate>(last, down, second, m);
      } else {
        strided::serial_copy<C, conjugate>(last, down, second, m);
      }
    } else if (threaded) {
      strided::transpose<C, conjugate>(last, down, second, oneSided.spectrumStep, shape.count, m);
    } else {
      strided::serial_transpose<C, conjugate>(last, down, second, oneSided.spectrumStep, shape.count, m);
    }
  }
}

#define TESSEL_COMPLETE_SPECTRA(C) template decltype(completeSpectra<C>) completeSpectra<C>;
TESSEL_FOR_EACH_COMPLEX_ELEMENT(TESSEL_COMPLETE_SPECTRA)

}  // namespace tessel_fft::buffering
