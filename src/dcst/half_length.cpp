// The half-length road of the cosine/sine kinds: the twiddles, and the steps around the complex FFT.
#include "dcst/half_length.hpp"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <new>
#include <utility>

#include "backend/errors.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {
namespace {

// Recent lengths kept: a host transforming many dimensions of different lengths doesn't recompute them on
// every call, and one calling lengths without end doesn't grow the process without end.
constexpr std::size_t kKeptTwiddles = 16;

const long double kPi = 3.141592653589793238462643383279502884L;

template <typename R>
void appendUnit(std::vector<R>& pairs, long double angle, long double magnitude = 1) {
  pairs.push_back(static_cast<R>(magnitude * std::cos(angle)));
  pairs.push_back(static_cast<R>(magnitude * std::sin(angle)));
}

template <typename R>
HalfLengthTwiddles<R> computeTwiddles(std::uint64_t n, bool quarterWave) {
  HalfLengthTwiddles<R> twiddles;
  const long double length = static_cast<long double>(n);
  const std::uint64_t half = n / 2;
  if (quarterWave) {
    for (std::uint64_t m = 0; m < half; ++m) {
      const auto place = static_cast<long double>(m);
      appendUnit(twiddles.first, -kPi * (4 * place + 1) / (4 * length));
      appendUnit(twiddles.second, -kPi * place / length, 2);
    }
    return twiddles;
  }
  for (std::uint64_t k = 0; k <= half; ++k) {
    const auto place = static_cast<long double>(k);
    appendUnit(twiddles.first, -kPi * place / (2 * length));
    appendUnit(twiddles.second, -2 * kPi * place / length);
    appendUnit(twiddles.third, -5 * kPi * place / (2 * length));
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
  const R* w = twiddles.first.data();
  const R* ws = twiddles.third.data();
  const auto place = [n](std::size_t k) { return Sine ? n - 1 - k : k; };
  const auto reorder = [&](const R* x, R* z) {
    for (std::size_t m = 0; m < half; ++m) {
      z[m] = x[2 * m];
      z[n - 1 - m] = oddSign * x[2 * m + 1];
    }
  };
  const auto split = [&](const R* spectrum, R* y) {
    // Z[0] and Z[n/2], which is Z[0] again, pair with themselves.
    const R z0 = spectrum[0], z1 = spectrum[1];
    y[place(0)] = 2 * (z0 + z1);
    y[place(half)] = 2 * (w[2 * half] * z0 + ws[2 * half] * z1);
    for (std::size_t k = 1; k < half; ++k) {
      const R ar = spectrum[2 * k], ai = spectrum[2 * k + 1];
      const R br = spectrum[2 * (half - k)], bi = -spectrum[2 * (half - k) + 1];
      // P = a + b, Q = -i (a - b); u = w P + ws Q.
      const R pr = ar + br, pi = ai + bi;
      const R qr = ai - bi, qi = br - ar;
      const R wr = w[2 * k], wi = w[2 * k + 1], sr = ws[2 * k], si = ws[2 * k + 1];
      y[place(k)] = wr * pr - wi * pi + sr * qr - si * qi;
      y[place(n - k)] = -(wr * pi + wi * pr + sr * qi + si * qr);
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
  const R* w = twiddles.first.data();
  const R* s = twiddles.second.data();
  const auto join = [&](const R* spectrum, R* z) {
    // X[n] is 0.
    const auto at = [spectrum, n](std::size_t k) {
      if (k == n) return R(0);
      return Sine ? spectrum[n - 1 - k] : spectrum[k];
    };
    for (std::size_t k = 0; k < half; ++k) {
      // V = conj(w_k) (X[k] - i X[n-k]); its mirror conj(V[n/2-k]) = w_(n/2-k) (X[n/2-k] + i X[n/2+k]).
      const R xa = at(k), xb = at(n - k), xc = at(half - k), xd = at(half + k);
      const R wr = w[2 * k], wi = w[2 * k + 1];
      const R mr = w[2 * (half - k)], mi = w[2 * (half - k) + 1];
      const R vr = wr * xa - wi * xb, vi = -(wr * xb + wi * xa);
      const R cr = mr * xc - mi * xd, ci = mr * xd + mi * xc;
      const R dr = vr - cr, di = vi - ci;
      // Z = (V + mirror) + i conj(s_k) (V - mirror).
      const R sr = s[2 * k], si = s[2 * k + 1];
      z[2 * k] = vr + cr - (sr * di - si * dr);
      z[2 * k + 1] = vi + ci + sr * dr + si * di;
    }
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
  const R* before = twiddles.first.data();
  const R* after = twiddles.second.data();
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

template <typename R, int Kind>
void runHalfLength(fftwPlan<R> plan, const HalfLengthTwiddles<R>& twiddles, R* in, R* out, std::size_t n,
                   std::size_t count) {
  static_assert(Kind % 4 != 0, "DCT-I and DST-I have no half-length road");
  constexpr bool sine = Kind >= 4;
  if constexpr (Kind % 4 == 1) runKindTwo<R, sine>(plan, twiddles, in, out, n, count);
  if constexpr (Kind % 4 == 2) runKindThree<R, sine>(plan, twiddles, in, out, n, count);
  if constexpr (Kind % 4 == 3) runKindFour<R, sine>(plan, twiddles, in, out, n, count);
}

template std::shared_ptr<const HalfLengthTwiddles<float>> halfLengthTwiddles<float>(std::uint64_t, bool);
template std::shared_ptr<const HalfLengthTwiddles<double>> halfLengthTwiddles<double>(std::uint64_t, bool);

#define TESSEL_HALF_LENGTH(T, Kind)                                                                    \
  template void runHalfLength<T, Kind>(fftwPlan<T>, const HalfLengthTwiddles<T>&, T*, T*, std::size_t, \
                                       std::size_t);
#define TESSEL_HALF_LENGTH_KINDS(T) \
  TESSEL_HALF_LENGTH(T, 1)          \
  TESSEL_HALF_LENGTH(T, 2)          \
  TESSEL_HALF_LENGTH(T, 3) TESSEL_HALF_LENGTH(T, 5) TESSEL_HALF_LENGTH(T, 6) TESSEL_HALF_LENGTH(T, 7)
TESSEL_HALF_LENGTH_KINDS(float)
TESSEL_HALF_LENGTH_KINDS(double)

}  // namespace tessel_fft
