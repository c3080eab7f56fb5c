// The half-length road of the cosine/sine kinds: the twiddles, and the steps around the complex FFT.
#include "dcst/half_length.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <mutex>
#include <new>

#include "backend/errors.hpp"
#include "buffering/variants.hpp"
#include "dcst/makhoul_twiddles.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {
namespace {

// Recent lengths kept: a host transforming many dimensions of different lengths doesn't recompute them on
// every call, and one calling lengths without end doesn't grow the process without end.
constexpr std::size_t kKeptTwiddles = 16;

using Unit = std::complex<long double>;

template <typename R>
void append(std::vector<R>& pairs, Unit value) {
  pairs.push_back(static_cast<R>(value.real()));
  pairs.push_back(static_cast<R>(value.imag()));
}

template <typename R>
HalfLengthTwiddles<R> computeTwiddles(std::uint64_t n, bool quarterWave) {
  HalfLengthTwiddles<R> twiddles;
  const std::uint64_t half = n / 2;
  if (quarterWave) {
    for (std::uint64_t m = 0; m < half; ++m) {
      append(twiddles.before, makhoulTwiddle(4 * m + 1, 2 * n));
      append(twiddles.after, 2.0L * makhoulTwiddle(2 * m, n));
    }
    return twiddles;
  }
  const Unit i(0, 1);
  const auto quarter = [n](std::uint64_t k) { return makhoulTwiddle(k, n); };
  const auto full = [n](std::uint64_t k) { return makhoulTwiddle(4 * k, n); };
  for (std::uint64_t k = 0; k <= half; ++k) {
    append(twiddles.quarter, quarter(k));
    append(twiddles.quarterMirror, quarter(half - k));
    append(twiddles.full, full(k));
    append(twiddles.splitOwn, quarter(k) * (1.0L - i * full(k)));
    append(twiddles.splitMirror, quarter(half - k) * (1.0L + i * full(half - k)));
  }
  return twiddles;
}

template <typename R>
struct TwiddleShelf {
  struct Entry {
    std::uint64_t n;
    bool quarterWave;
    std::shared_ptr<const HalfLengthTwiddles<R>> twiddles;
  };
  std::mutex lock;
  std::vector<Entry> entries;  // most recent last
};

// The road's three steps on `count` vectors n apart: before(x, z) from each input vector to its complex
// view in `out`, the FFT of those into `in`, after(spectrum, y) from each spectrum back into `out`.
template <typename R, typename Before, typename After>
void aroundFft(fftwPlan<R> plan, R* in, R* out, std::size_t n, std::size_t count, const Before& before,
               const After& after) {
  for (std::size_t v = 0; v < count; ++v) before(in + v * n, out + v * n);
  fftwApi::getInstance().execute(plan, reinterpret_cast<fftwComplex<R>*>(out),
                                 reinterpret_cast<fftwComplex<R>*>(in));
  for (std::size_t v = 0; v < count; ++v) after(in + v * n, out + v * n);
}

// DCT-II (or with `Sine` DST-II: odd inputs negated, the output reversed): Makhoul's order, the FFT, and
// the split of the real vector's spectrum with its twiddle.
template <typename R, bool Sine>
void runKindTwo(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                std::size_t count) {
  const std::size_t half = n / 2;
  const R oddSign = Sine ? R(-1) : R(1);
  const auto place = [n](std::size_t k) { return Sine ? n - 1 - k : k; };
  const auto reorder = [&](const R* x, R* z) {
    for (std::size_t m = 0; m < half; ++m) {
      z[m] = x[2 * m];
      z[n - 1 - m] = oddSign * x[2 * m + 1];
    }
  };
  // Output k is the real part of u_k = q_k (1 - i f_k) Z[k] + q_k (1 + i f_k) conj(Z[n/2-k]), output n-k
  // minus its imaginary part: each output pair takes the first term from its own Z, then the second from
  // the mirror's, in two forward passes.
  const auto split = [&](const R* spectrum, R* y) {
    const R* own = twiddles.splitOwn.data();
    const R* mirror = twiddles.splitMirror.data();
    // Z[0] and Z[n/2], which is Z[0] again, pair with themselves.
    const R z0 = spectrum[0], z1 = spectrum[1];
    y[place(0)] = 2 * (z0 + z1);
    y[place(half)] = own[2 * half] * z0 - own[2 * half + 1] * z1 + mirror[0] * z0 + mirror[1] * z1;
    for (std::size_t k = 1; k < half; ++k) {
      const R ar = spectrum[2 * k], ai = spectrum[2 * k + 1];
      const R tr = own[2 * k], ti = own[2 * k + 1];
      y[place(k)] = tr * ar - ti * ai;
      y[place(n - k)] = -(tr * ai + ti * ar);
    }
    for (std::size_t j = 1; j < half; ++j) {
      const R br = spectrum[2 * j], bi = -spectrum[2 * j + 1];
      const R tr = mirror[2 * j], ti = mirror[2 * j + 1];
      y[place(half - j)] += tr * br - ti * bi;
      y[place(half + j)] -= tr * bi + ti * br;
    }
  };
  aroundFft(plan, in, out, n, count, reorder, split);
}

// DCT-III (or with `Sine` DST-III: the input reversed, odd outputs negated), the steps of kind II backwards.
template <typename R, bool Sine>
void runKindThree(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                  std::size_t count) {
  const std::size_t half = n / 2;
  const R oddSign = Sine ? R(-1) : R(1);
  const auto join = [&](const R* spectrum, R* z) {
    const R* w = twiddles.quarter.data();
    const R* wMirror = twiddles.quarterMirror.data();
    const R* s = twiddles.full.data();
    const auto at = [spectrum, n](std::size_t k) { return Sine ? spectrum[n - 1 - k] : spectrum[k]; };
    // V = conj(w_k) (X[k] - i X[n-k]); its mirror conj(V[n/2-k]) = w_(n/2-k) (X[n/2-k] + i X[n/2+k]).
    const auto joinAt = [&](std::size_t k, R xb) {
      const R xa = at(k), xc = at(half - k), xd = at(half + k);
      const R wr = w[2 * k], wi = w[2 * k + 1];
      const R mr = wMirror[2 * k], mi = wMirror[2 * k + 1];
      const R vr = wr * xa - wi * xb, vi = -(wr * xb + wi * xa);
      const R cr = mr * xc - mi * xd, ci = mr * xd + mi * xc;
      const R dr = vr - cr, di = vi - ci;
      // Z = (V + mirror) + i conj(s_k) (V - mirror).
      const R sr = s[2 * k], si = s[2 * k + 1];
      z[2 * k] = vr + cr - (sr * di - si * dr);
      z[2 * k + 1] = vi + ci + sr * dr + si * di;
    };
    joinAt(0, R(0));  // X[n] is 0
    for (std::size_t k = 1; k < half; ++k) joinAt(k, at(n - k));
  };
  const auto reorder = [&](const R* z, R* y) {
    for (std::size_t m = 0; m < half; ++m) {
      y[2 * m] = z[m];
      y[2 * m + 1] = oddSign * z[n - 1 - m];
    }
  };
  aroundFft(plan, in, out, n, count, join, reorder);
}

// DCT-IV (or with `Sine` DST-IV: the input reversed, odd outputs negated) through the twiddled complex FFT
// of the even elements paired with the odd ones reversed.
template <typename R, bool Sine>
void runKindFour(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                 std::size_t count) {
  const std::size_t half = n / 2;
  const R oddSign = Sine ? R(1) : R(-1);
  const R* before = twiddles.before.data();
  const R* after = twiddles.after.data();
  const auto pair = [&](const R* x, R* c) {
    for (std::size_t m = 0; m < half; ++m) {
      const R re = Sine ? x[n - 1 - 2 * m] : x[2 * m];
      const R im = Sine ? x[2 * m] : x[n - 1 - 2 * m];
      const R pr = before[2 * m], pi = before[2 * m + 1];
      c[2 * m] = re * pr - im * pi;
      c[2 * m + 1] = re * pi + im * pr;
    }
  };
  const auto unpair = [&](const R* spectrum, R* y) {
    for (std::size_t m = 0; m < half; ++m) {
      const R cr = spectrum[2 * m], ci = spectrum[2 * m + 1];
      const R qr = after[2 * m], qi = after[2 * m + 1];
      y[2 * m] = cr * qr - ci * qi;
      y[n - 1 - 2 * m] = oddSign * (cr * qi + ci * qr);
    }
  };
  aroundFft(plan, in, out, n, count, pair, unpair);
}

}  // namespace

template <typename R>
std::shared_ptr<const HalfLengthTwiddles<R>> halfLengthTwiddles(std::uint64_t n, bool quarterWave) {
  static TwiddleShelf<R> shelf;
  try {
    {
      const std::lock_guard<std::mutex> hold(shelf.lock);
      for (auto entry = shelf.entries.begin(); entry != shelf.entries.end(); ++entry) {
        if (entry->n == n && entry->quarterWave == quarterWave) {
          std::shared_ptr<const HalfLengthTwiddles<R>> found = entry->twiddles;
          std::rotate(entry, entry + 1, shelf.entries.end());
          return found;
        }
      }
    }
    // Computed outside the lock: two threads may both compute a length, and both results are right.
    auto made = std::make_shared<const HalfLengthTwiddles<R>>(computeTwiddles<R>(n, quarterWave));
    const std::lock_guard<std::mutex> hold(shelf.lock);
    if (shelf.entries.size() == kKeptTwiddles) shelf.entries.erase(shelf.entries.begin());
    shelf.entries.push_back({n, quarterWave, made});
    return made;
  } catch (const std::bad_alloc&) {
    throwNoMemory();
  }
}

namespace {

template <typename R, int Kind>
using HalfLengthRun = void (*)(fftwPlan<R>, const HalfLengthTwiddles<R>&, R*, R*, std::size_t, std::size_t);

template <typename R, int Kind>
[[gnu::always_inline]] inline void halfLengthSteps(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles,
                                                   R* in, R* out, std::size_t n, std::size_t count) {
  static_assert(Kind % 4 != 0, "DCT-I and DST-I have no half-length road");
  constexpr bool sine = Kind >= 4;
  if constexpr (Kind % 4 == 1) runKindTwo<R, sine>(plan, twiddles, in, out, n, count);
  if constexpr (Kind % 4 == 2) runKindThree<R, sine>(plan, twiddles, in, out, n, count);
  if constexpr (Kind % 4 == 3) runKindFour<R, sine>(plan, twiddles, in, out, n, count);
}

template <typename R, int Kind>
void halfLengthBaseline(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                        std::size_t count) {
  halfLengthSteps<R, Kind>(plan, twiddles, in, out, n, count);
}

template <typename R, int Kind>
struct HalfLengthVariant {
  buffering::InstructionSet set;
  HalfLengthRun<R, Kind> run;
};

// The reorder, join and split loops take most of a cached batch's time besides the FFT, and the
// build's own x86-64 gives them two doubles to a register: 1024^2 DCT-II on 2 threads under a context
// went from 0.82 to 0.98 of ducc0's speed with the whole library built for the machine. Flattened, so
// that the lambdas of the steps are built for the set too.
#if defined(__x86_64__) && defined(__GNUC__)
#define TESSEL_HALF_LENGTH_VARIANT(name, set)                                                               \
  template <typename R, int Kind>                                                                           \
  __attribute__((target(set), flatten)) void halfLength##name(fftwPlan<R> plan,                             \
                                                              const HalfLengthTwiddles<R>& twiddles, R* in, \
                                                              R* out, std::size_t n, std::size_t count) {   \
    halfLengthSteps<R, Kind>(plan, twiddles, in, out, n, count);                                            \
  }
TESSEL_HALF_LENGTH_VARIANT(Avx2, "avx2")
TESSEL_HALF_LENGTH_VARIANT(Avx512, "avx512f")
#endif

template <typename R, int Kind>
constexpr HalfLengthVariant<R, Kind> kHalfLengthVariants[] = {
#if defined(__x86_64__) && defined(__GNUC__)
    {buffering::InstructionSet::avx512f, &halfLengthAvx512<R, Kind>},
    {buffering::InstructionSet::avx2, &halfLengthAvx2<R, Kind>},
#endif
    {buffering::InstructionSet::baseline, &halfLengthBaseline<R, Kind>},
};

}  // namespace

template <typename R, int Kind>
void runHalfLength(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                   std::size_t count) {
  static const HalfLengthRun<R, Kind> chosen =
      buffering::bestVariant(kHalfLengthVariants<R, Kind>, [](const auto& row) { return row.run; });
  chosen(plan, twiddles, in, out, n, count);
}

#define TESSEL_HALF_LENGTH_TWIDDLES(R) template decltype(halfLengthTwiddles<R>) halfLengthTwiddles<R>;
TESSEL_FOR_EACH_REAL(TESSEL_HALF_LENGTH_TWIDDLES)

#define TESSEL_HALF_LENGTH(R, Kind) template decltype(runHalfLength<R, Kind>) runHalfLength<R, Kind>;
TESSEL_FOR_EACH_HALF_LENGTH_TYPE(TESSEL_HALF_LENGTH)

}  // namespace tessel_fft
