// Runs a described call of any entry family on fresh, guarded arrays and checks it against the
// long-double references.

#include "support/calls.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <sstream>

#include "families.hpp"
#include "support/allocation_control.hpp"
#include "support/counting_cache.hpp"
#include "support/reference.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace tessel_test {

namespace {

using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::r2c;

// Scalars around each array whose bits must survive the call.
constexpr std::uint64_t kGuard = 4;
// Above this many terms of a dense naive sum, inputs become a few impulses per vector.
constexpr std::uint64_t kDenseTerms = std::uint64_t{1} << 22;

// Where a call's data lie: elements of inWidth and outWidth scalars; for the families that transform
// vectors one by one, vector v's element i at inAt(v, i) and outAt(v, k).
struct Geometry {
  const Call& c;
  bool batched, fft;
  std::uint64_t inWidth, outWidth, inElements, outElements, inPitch, used;

  explicit Geometry(const Call& call)
      : c(call),
        batched(c.family == Family::Quill || c.family == Family::NoCopy || c.family == Family::DCST),
        fft(c.family != Family::DCST && c.family != Family::ND) {
    const std::uint64_t dataWidth = (c.flags & kComplex) ? 2 : 1;
    inWidth = fft ? (c.kind == r2c ? 1 : 2) : dataWidth;
    outWidth = fft ? (c.kind == c2r ? 1 : 2) : dataWidth;
    // c2r plans read the one-sided half; interleaved c2r rows lie that far apart unless full length.
    const std::uint64_t logical = fft && c.kind == c2r ? c.n / 2 + 1 : c.n;
    inPitch = c.kind == c2r && !(c.flags & kFullEmbed) ? logical : c.n;
    used = batched ? std::min(c.inputLength, logical) : logical;
    const std::uint64_t blocks = c.stride == 0 ? 0 : (c.numVectors + c.stride - 1) / c.stride;
    const std::uint64_t total =
        std::accumulate(c.dims.begin(), c.dims.end(), std::uint64_t{1}, std::multiplies<>());
    inElements = batched                  ? blocks * c.stride * c.inputLength
                 : c.family == Family::ND ? total
                                          : inPitch * c.numVectors;
    outElements = batched ? blocks * c.stride * c.n : c.family == Family::ND ? total : c.n * c.numVectors;
  }
  std::uint64_t inAt(std::uint64_t v, std::uint64_t i) const {
    return batched ? v / c.stride * c.stride * c.inputLength + v % c.stride + i * c.stride : v * inPitch + i;
  }
  std::uint64_t outAt(std::uint64_t v, std::uint64_t k) const {
    return batched ? v / c.stride * c.stride * c.n + v % c.stride + k * c.stride : v * c.n + k;
  }
};

// One vector's transform by the definitions: x holds the elements the plan reads, zero padded to n.
std::vector<LongComplex> referenceVector(const Geometry& g, const std::vector<LongComplex>& x) {
  const Call& c = g.c;
  const std::uint64_t n = c.n;
  std::vector<LongComplex> y(n);
  if (c.family == Family::DCST) {
    std::vector<long double> re(n), im(n);
    for (std::uint64_t i = 0; i < n; ++i) re[i] = x[i].real(), im[i] = x[i].imag();
    re = naiveR2R(re, c.kind), im = naiveR2R(im, c.kind);
    const long double divisor = c.sign == 1 ? static_cast<long double>(r2rLogicalSize(c.kind, n)) : 1;
    for (std::uint64_t k = 0; k < n; ++k) y[k] = LongComplex(re[k], im[k]) / divisor;
    return y;
  }
  if (c.kind == c2r) {
    // The Hermitian vector of the given half; FFTW ignores the imaginary parts of DC and Nyquist.
    y[0] = x[0].real();
    for (std::uint64_t k = 1; k < n / 2 + 1; ++k) {
      y[k] = 2 * k == n ? LongComplex(x[k].real()) : x[k];
      if (2 * k != n) y[n - k] = std::conj(x[k]);
    }
  }
  y = naiveDFT(c.kind == c2r ? y : x, c.kind == c2c ? c.sign : c.kind == r2c ? FFTW_FORWARD : FFTW_BACKWARD);
  // The batched drivers divide every inverse; the interleaved entries never scale.
  if (g.batched && c.sign == FFTW_BACKWARD)
    for (auto& value : y) value /= static_cast<long double>(n);
  return y;
}

// DCT-II per dimension (REDFT10; orthonormal divides Y[0] by sqrt(4n), the rest by sqrt(2n)), or its
// inverse (REDFT01 divided by 2n; orthonormal weights the input first).
void referenceND(std::vector<long double>& data, const std::vector<std::uint64_t>& dims, bool inverse,
                 bool orthonormal) {
  std::uint64_t stride = 1;
  for (const std::uint64_t n : dims) {
    const long double ln = static_cast<long double>(n);
    for (std::uint64_t start = 0; start < data.size(); ++start) {
      if ((start / stride) % n != 0) continue;
      std::vector<long double> x(n);
      for (std::uint64_t k = 0; k < n; ++k)
        x[k] = data[start + k * stride] / (inverse && orthonormal ? std::sqrt(k == 0 ? ln : 2 * ln) : 1);
      x = naiveR2R(x, inverse ? 2 : 1);
      for (std::uint64_t k = 0; k < n; ++k) {
        const long double divisor = !orthonormal ? (inverse ? 2 * ln : 1)
                                    : inverse    ? 1
                                                 : std::sqrt(k == 0 ? 4 * ln : 2 * ln);
        data[start + k * stride] = x[k] / divisor;
      }
    }
    stride *= n;
  }
}

// The expected output scalars; NaN where the call must not write.
std::vector<long double> expectedOutput(const Geometry& g, const std::vector<long double>& in) {
  const Call& c = g.c;
  std::vector<long double> out(g.outElements * g.outWidth, std::numeric_limits<long double>::quiet_NaN());
  const auto get = [&](std::uint64_t e) {
    return g.inWidth == 2 ? LongComplex(in[2 * e], in[2 * e + 1]) : in[e];
  };
  const auto put = [&](std::uint64_t e, LongComplex value) {
    out[e * g.outWidth] = value.real();
    if (g.outWidth == 2) out[e * g.outWidth + 1] = value.imag();
  };
  if (c.family == Family::ND) {
    for (std::uint64_t part = 0; part < g.inWidth; ++part) {
      std::vector<long double> x(g.inElements);
      for (std::uint64_t e = 0; e < x.size(); ++e) x[e] = in[e * g.inWidth + part];
      referenceND(x, c.dims, c.kind == 1, c.flags & kOrthonormal);
      for (std::uint64_t e = 0; e < x.size(); ++e) out[e * g.outWidth + part] = x[e];
    }
  } else if (c.family == Family::Interleaved2D) {
    // A c2r input is the half of a spectrum whose other half mirrors it through the origin.
    const std::uint64_t n0 = c.n, n1 = c.numVectors;
    std::vector<LongComplex> x(n0 * n1);
    for (std::uint64_t j = 0; j < n1; ++j) {
      for (std::uint64_t k = 0; k < n0; ++k) {
        x[j * n0 + k] = c.kind != c2r    ? get(j * n0 + k)
                        : k < n0 / 2 + 1 ? get(j * g.inPitch + k)
                                         : std::conj(get((n1 - j) % n1 * g.inPitch + n0 - k));
      }
    }
    const auto y = naiveDFT2D(x, n0, n1,
                              c.kind == c2c   ? c.sign
                              : c.kind == r2c ? FFTW_FORWARD
                                              : FFTW_BACKWARD);
    for (std::uint64_t e = 0; e < y.size(); ++e) put(e, y[e]);
  } else {
    for (std::uint64_t v = 0; v < c.numVectors; ++v) {
      std::vector<LongComplex> x(c.n);
      for (std::uint64_t i = 0; i < g.used; ++i) x[i] = get(g.inAt(v, i));
      const auto y = referenceVector(g, x);
      for (std::uint64_t k = 0; k < c.n; ++k) put(g.outAt(v, k), y[k]);
    }
  }
  return out;
}

// Input scalars: random in [-1, 1) as T holds them. Long vectors keep only their first and last used
// elements and a few between (unused elements stay random: they must not be read). A 2-D c2r input is
// made Hermitian where the one-sided half holds both members of a pair.
template <typename T>
std::vector<long double> makeInput(const Geometry& g) {
  const Call& c = g.c;
  const std::vector<T> random = randomReals<T>(g.inElements * g.inWidth, c.seed);
  std::vector<long double> in(random.begin(), random.end());
  if (c.family != Family::ND && c.family != Family::Interleaved2D && c.n * c.n * c.numVectors > kDenseTerms) {
    for (std::uint64_t v = 0; v < c.numVectors; ++v) {
      for (std::uint64_t i = 1; i + 1 < g.used; ++i) {
        if ((i * 2654435761u + v * 40503u + c.seed) % (g.used / 4 + 1) == 0) continue;
        for (std::uint64_t s = 0; s < g.inWidth; ++s) in[g.inAt(v, i) * g.inWidth + s] = 0;
      }
    }
  }
  if (c.family == Family::Interleaved2D && c.kind == c2r && g.inElements != 0) {
    for (std::uint64_t k : {std::uint64_t{0}, c.n / 2}) {
      for (std::uint64_t j = 0; j <= c.numVectors / 2 && (k == 0 || c.n % 2 == 0); ++j) {
        const std::uint64_t a = 2 * (j * g.inPitch + k),
                            b = 2 * ((c.numVectors - j) % c.numVectors * g.inPitch + k);
        in[b] = in[a];
        in[b + 1] = a == b ? 0 : -in[a + 1];
      }
    }
  }
  return in;
}

template <typename T, int Kind>
void runFFT(const Call& c, const tessel_fft::fftwContext& context, CacheSet& caches, T* in, T* out) {
  using E = tessel_fft::fftElements<T, Kind>;
  using I = tessel_fft::interleavedElements<T, Kind>;
  auto* cache = caches.get<CountingFFTCache<T, Kind>>(c.flags);
  if (c.family == Family::Quill || c.family == Family::NoCopy) {
    auto* entry =
        c.family == Family::Quill ? &tessel_fft::quillFFT1D<T, Kind> : &tessel_fft::quillFFT1DNoCopy<T, Kind>;
    entry(context, cache, reinterpret_cast<const typename E::In*>(in),
          reinterpret_cast<typename E::Out*>(out), c.stride, c.n, c.inputLength, c.numVectors, c.sign);
  } else {
    auto* entry = c.family == Family::Interleaved1D ? &tessel_fft::interleavedFFT1D<T, Kind>
                                                    : &tessel_fft::interleavedFFT2D<T, Kind>;
    entry(context, cache, reinterpret_cast<typename I::In*>(in), reinterpret_cast<typename I::Out*>(out), c.n,
          c.numVectors, c.sign, false);
  }
}

template <typename T, int... Kinds>
void runDCST(std::integer_sequence<int, Kinds...>, const Call& c, const tessel_fft::fftwContext& context,
             CacheSet& caches, T* in, T* out) {
  ((c.kind == Kinds ? tessel_fft::quillDCST1D<T, Kinds>(
                          context, caches.get<CountingDCSTCache<T, Kinds>>(c.flags), in, out, c.stride, c.n,
                          c.inputLength, c.numVectors, c.sign, (c.flags & kComplex) != 0)
                    : void()),
   ...);
}

// With a cache flag, the overloads that take the context and a host cache.
template <typename E>
void runND(const Call& c, const tessel_fft::fftwContext& context, CacheSet& caches, E* in, E* out) {
  using R = tessel_fft::ndReal<E>;
  const bool orthonormal = (c.flags & kOrthonormal) != 0;
  if ((c.flags & (kKeepingCache | kRefusingCache)) == 0) {
    void (*entry)(const E*, E*, const std::uint64_t*, std::uint64_t, bool) = &tessel_fft::dctIIND<E>;
    if (c.kind == 1) entry = &tessel_fft::idctIIND<E>;
    return entry(in, out, c.dims.data(), c.dims.size(), orthonormal);
  }
  if (c.kind == 1) {
    return tessel_fft::idctIIND<E>(context, caches.get<CountingDCSTCache<R, 2>>(c.flags), in, out,
                                   c.dims.data(), c.dims.size(), orthonormal);
  }
  tessel_fft::dctIIND<E>(context, caches.get<CountingDCSTCache<R, 1>>(c.flags), in, out, c.dims.data(),
                         c.dims.size(), orthonormal);
}

template <typename T>
void execute(const Call& c, CacheSet& caches, T* in, T* out) {
  using tessel_fft::fftwContext;
  const unsigned strategy = (c.flags & kHybrid)    ? fftwContext::TS_FFTW_HYBRID
                            : (c.flags & kMeasure) ? FFTW_MEASURE
                                                   : FFTW_ESTIMATE;
  fftwContext context(c.threads, strategy,
                      (c.flags & kFullEmbed) ? fftwContext::EMBED_FULL_LENGTH : fftwContext::EMBED_COMPACT,
                      false);
  context.setChunkSize(c.chunk);
  if (c.family == Family::DCST)
    return runDCST<T>(std::make_integer_sequence<int, tessel_fft::DCSTPlans::kKinds>(), c, context, caches,
                      in, out);
  if (c.family == Family::ND && (c.flags & kComplex))
    return runND(c, context, caches, reinterpret_cast<std::complex<T>*>(in),
                 reinterpret_cast<std::complex<T>*>(out));
  if (c.family == Family::ND) return runND(c, context, caches, in, out);
  if (c.kind == r2c) return runFFT<T, r2c>(c, context, caches, in, out);
  if (c.kind == c2r) return runFFT<T, c2r>(c, context, caches, in, out);
  runFFT<T, c2c>(c, context, caches, in, out);
}

template <typename T>
Outcome run(const Call& c, CacheSet& caches) {
  const Geometry g(c);
  const std::vector<long double> input = makeInput<T>(g);
  const std::uint64_t inScalars = input.size(), outScalars = g.outElements * g.outWidth;
  const bool inPlace = (c.flags & kInPlace) != 0;
  const std::uint64_t inStart = kGuard + ((c.flags & kShiftIn) ? 1 : 0),
                      outStart = kGuard + ((c.flags & kShiftOut) ? 1 : 0);
  // Arrays begin kGuard scalars (16 bytes or more) into their NaN-filled storage, or one scalar further.
  const T nan = std::numeric_limits<T>::quiet_NaN();
  std::vector<T> inStore(inStart + inScalars + kGuard, nan);
  std::vector<T> outStore(outStart + std::max(outScalars, inPlace ? inScalars : 0) + kGuard, nan);
  T* out = outStore.data() + outStart;
  T* in = inPlace ? out : inStore.data() + inStart;
  std::copy(input.begin(), input.end(), in);
  const std::vector<T> inBefore = inStore, outBefore = outStore;
  Outcome outcome;
  outcome.error = errorText([&] { execute<T>(c, caches, in, out); });
  outcome.output.resize(outStore.size() * sizeof(T));
  std::memcpy(outcome.output.data(), outStore.data(), outcome.output.size());
  std::ostringstream failure;
  // FFTW's c2r destroys its input, and the interleaved entries hand it the caller's.
  const bool inputMayChange = inPlace || (!g.batched && g.fft && c.kind == c2r);
  if (!inputMayChange && std::memcmp(inStore.data(), inBefore.data(), inStore.size() * sizeof(T)) != 0)
    failure << "input written; ";
  const std::vector<long double> expected = expectedOutput(g, input);
  long double diff = 0, norm = 0;
  std::uint64_t stray = 0;
  for (std::uint64_t i = 0; i < outStore.size(); ++i) {
    const std::uint64_t at = i - outStart;  // wraps for the guard before
    // In place, the input's part beyond the output may hold anything afterwards.
    if (inPlace && at >= outScalars && at < inScalars) continue;
    if (at >= outScalars || std::isnan(expected[at])) {
      stray += std::memcmp(&outStore[i], &outBefore[i], sizeof(T)) != 0;
    } else if (outcome.error.empty()) {
      diff += std::pow(outStore[i] - expected[at], 2);
      norm += expected[at] * expected[at];
    }
  }
  if (stray != 0) failure << stray << " scalars written outside the output vectors; ";
  const std::uint64_t length = c.family == Family::Interleaved2D ? c.n * c.numVectors
                               : c.family == Family::ND ? *std::max_element(c.dims.begin(), c.dims.end())
                                                        : c.n;
  const long double error = std::sqrt(norm == 0 ? diff : diff / norm);
  if (outcome.error.empty() && !(error <= tolerance<T>(length)))
    failure << "relative error " << static_cast<double>(error) << " above "
            << static_cast<double>(tolerance<T>(length));
  outcome.failure = failure.str();
  return outcome;
}

}  // namespace

std::string describe(const Call& c) {
  static const char* const families[] = {"Quill", "NoCopy", "DCST", "Interleaved1D", "Interleaved2D", "ND"};
  std::ostringstream os;
  os << families[static_cast<int>(c.family)] << (c.single ? " float" : " double") << " kind " << c.kind
     << " stride " << c.stride << " n " << c.n << " inputLength "
     << (c.inputLength == kInputIsN ? c.n : c.inputLength) << " numVectors " << c.numVectors << " threads "
     << c.threads << " chunk " << c.chunk << " sign " << c.sign << " flags 0x" << std::hex << c.flags
     << std::dec << " seed " << c.seed << (c.dims.empty() ? "" : " dims");
  for (const std::uint64_t d : c.dims) os << ' ' << d;
  return os.str();
}

Outcome runCall(const Call& described, CacheSet* caches) {
  CacheSet own;
  Call call = described;
  if (call.inputLength == kInputIsN) call.inputLength = call.n;
  return call.single ? run<float>(call, caches ? *caches : own) : run<double>(call, caches ? *caches : own);
}

}  // namespace tessel_test
