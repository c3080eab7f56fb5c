#pragma once

// The entries with their arguments checked, for a host's debug builds. tessel_fft::checked::quillFFT1D
// and the others take exactly the arguments of the entries of the same name in tessel_fft, test the
// rules a call must keep (each failure names the argument and the rule), and then call that entry. The
// exported entries themselves never validate: they keep their contract and their speed, and a release
// build of the host pays nothing, since there the checked names are plain forwarding calls.
//
// The checks are on unless NDEBUG is defined, like assert. Define TESSEL_FFT_ENABLE_CHECKS to 1 or 0
// before including any tessel_fft header to force them on or off. A failed check prints
// "tessel_fft: <entry>: <rule>" on stderr and aborts; a host may define TESSEL_FFT_CHECK_FAILED(message)
// beforehand to do something else with the message, for instance throw. All translation units of a
// program should agree on both macros.
//
// Usage: call through the checked namespace, for instance with `namespace tfft = tessel_fft::checked;`.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tessel_fft/dcst.hpp"
#include "tessel_fft/dct_nd.hpp"
#include "tessel_fft/fft.hpp"
#include "tessel_fft/fft_nd.hpp"
#include "tessel_fft/interleaved.hpp"

#ifndef TESSEL_FFT_ENABLE_CHECKS
#ifdef NDEBUG
#define TESSEL_FFT_ENABLE_CHECKS 0
#else
#define TESSEL_FFT_ENABLE_CHECKS 1
#endif
#endif

#ifndef TESSEL_FFT_CHECK_FAILED
#define TESSEL_FFT_CHECK_FAILED(message) ::tessel_fft::checked::reportAndAbort(message)
#endif

namespace tessel_fft {
namespace checked {

inline constexpr bool kChecksEnabled = TESSEL_FFT_ENABLE_CHECKS != 0;

[[noreturn]] inline void reportAndAbort(const char* message) {
  std::fprintf(stderr, "tessel_fft: %s\n", message);
  std::abort();
}

// Reports "<entry>: <rule>" unless `holds`. Only called with checks on.
inline void require(bool holds, const char* entry, const char* rule) {
  if (!holds) TESSEL_FFT_CHECK_FAILED((std::string(entry) + ": " + rule).c_str());
}

// The rules every batched entry shares.
inline void checkBatch(const char* entry, const fftwContext& context, const void* in, const void* out,
                       std::uint64_t stride, std::uint64_t n, std::uint64_t numVectors) {
  if (!kChecksEnabled || n == 0 || numVectors == 0) return;
  require(stride != 0, entry,
          "stride must be at least 1 when numVectors is above 0 (it is the product of the extents before the "
          "transformed dimension)");
  require(context.getChunkSize() != 0, entry, "context.chunkSize_ must be at least 1");
  require(in != nullptr && out != nullptr, entry, "in and out must not be null");
}

template <int Kind>
void checkSign(const char* entry, int sign) {
  if (kChecksEnabled && Kind == c2c)
    require(sign == -1 || sign == 1, entry, "c2c sign must be FFTW_FORWARD (-1) or FFTW_BACKWARD (+1)");
}

// The rules of dctIIND and idctIIND.
template <typename E>
void checkND(const char* entry, const E* in, const E* out, const std::uint64_t* dims, std::uint64_t ndims) {
  if (!kChecksEnabled) return;
  require(ndims == 0 || dims != nullptr, entry, "dims must not be null when ndims is above 0");
  bool empty = ndims == 0 || dims == nullptr;
  for (std::uint64_t i = 0; !empty && i < ndims; ++i) empty = dims[i] == 0;
  require(empty || (in != nullptr && out != nullptr), entry, "in and out must not be null");
}

// The two batched FFT entries take the same arguments and keep the same rules.
#define TESSEL_FFT_CHECKED_BATCH(entry)                                                                    \
  template <typename T, int Kind>                                                                          \
  void entry(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,                     \
             const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,         \
             std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,                     \
             std::uint64_t numVectors, int sign) {                                                         \
    checkBatch(#entry, context, in, out, stride, fftLength, numVectors);                                   \
    checkSign<Kind>(#entry, sign);                                                                         \
    tessel_fft::entry<T, Kind>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign); \
  }
TESSEL_FFT_CHECKED_BATCH(quillFFT1D)
TESSEL_FFT_CHECKED_BATCH(quillFFT1DNoCopy)
#undef TESSEL_FFT_CHECKED_BATCH

template <typename T, int Kind>
void quillDCST1D(fftwContext context, dcstPlanCacheInterface<T, Kind>* cache, const T* in, T* out,
                 std::uint64_t stride, std::uint64_t n, std::uint64_t inputLength, std::uint64_t numVectors,
                 int direction, bool isComplex) {
  checkBatch("quillDCST1D", context, in, out, stride, n, numVectors);
  tessel_fft::quillDCST1D<T, Kind>(context, cache, in, out, stride, n, inputLength, numVectors, direction,
                                   isComplex);
}

// The entries on FFTW's interleaved layout, whose last sizes are (n, howmany) or (n0, n1): for a call with
// work to do, the arrays, an r2c output of more than one spectrum (`count` above 1) laid out at full
// length (`fullLengthRule` says why), and the sign.
#define TESSEL_FFT_CHECKED_INTERLEAVED(entry, size, count, fullLengthRule)                            \
  template <typename T, int Kind>                                                                     \
  void entry(const fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,         \
             interleavedIn<T, Kind>* in, interleavedOut<T, Kind>* out, std::uint64_t size,            \
             std::uint64_t count, int sign, bool planOnly) {                                          \
    if (kChecksEnabled && size != 0 && count != 0) {                                                  \
      require(in != nullptr && out != nullptr, #entry, "in and out must not be null");                \
      require(Kind != r2c || count == 1 || context.getEmbedStyle() == fftwContext::EMBED_FULL_LENGTH, \
              #entry, fullLengthRule);                                                                \
      checkSign<Kind>(#entry, sign);                                                                  \
    }                                                                                                 \
    tessel_fft::entry<T, Kind>(context, cache, in, out, size, count, sign, planOnly);                 \
  }
TESSEL_FFT_CHECKED_INTERLEAVED(interleavedFFT1D, n, howmany,
                               "r2c with howmany above 1 needs a context with EMBED_FULL_LENGTH (each full "
                               "spectrum takes n complex values)")
TESSEL_FFT_CHECKED_INTERLEAVED(interleavedFFT2D, n0, n1,
                               "r2c with n1 above 1 needs a context with EMBED_FULL_LENGTH (the full "
                               "spectrum takes rows of n0 complex values)")
#undef TESSEL_FFT_CHECKED_INTERLEAVED

template <typename E>
void dctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  checkND("dctIIND", in, out, dims, ndims);
  tessel_fft::dctIIND<E>(in, out, dims, ndims, orthonormal);
}

template <typename E>
void idctIIND(const E* in, E* out, const std::uint64_t* dims, std::uint64_t ndims, bool orthonormal) {
  checkND("idctIIND", in, out, dims, ndims);
  tessel_fft::idctIIND<E>(in, out, dims, ndims, orthonormal);
}

template <typename T>
void quillRFFT1D(fftwContext context, fftwPlanCacheInterface<T, r2c, fftwPlanKey>* cache, const T* in,
                 std::complex<T>* out, std::uint64_t stride, std::uint64_t fftLength,
                 std::uint64_t inputLength, std::uint64_t numVectors, int sign) {
  checkBatch("quillRFFT1D", context, in, out, stride, fftLength, numVectors);
  tessel_fft::quillRFFT1D<T>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign);
}

// The rules of fftND's shape: each axis a dimension, once; the input as large as the lengths where no
// transform cuts or pads it.
inline void checkNDShape(const char* entry, const fftNDShape& shape) {
  require(shape.ndims == 0 || (shape.lengths != nullptr && shape.inputExtents != nullptr), entry,
          "shape.lengths and shape.inputExtents must not be null when shape.ndims is above 0");
  require(shape.naxes == 0 || shape.axes != nullptr, entry,
          "shape.axes must not be null when naxes is above 0");
  if (shape.ndims == 0 || shape.lengths == nullptr || shape.inputExtents == nullptr || shape.axes == nullptr)
    return;
  std::string seen(shape.ndims, '\0');
  for (std::uint64_t a = 0; a < shape.naxes; ++a) {
    const bool inside = shape.axes[a] < shape.ndims;
    require(inside && seen[inside ? shape.axes[a] : 0] == '\0', entry,
            "every axis must be a dimension below ndims, named once");
    if (inside) seen[shape.axes[a]] = 1;
  }
  for (std::uint64_t d = 0; d < shape.ndims; ++d)
    require(seen[d] != '\0' || shape.inputExtents[d] == shape.lengths[d], entry,
            "an untransformed dimension's input extent must equal its length");
}

template <typename T, int Kind>
void fftND(fftwContext context, const fftNDCaches<T>& caches, const typename fftElements<T, Kind>::In* in,
           typename fftElements<T, Kind>::Out* out, const fftNDShape& shape, int sign) {
  if (kChecksEnabled) {
    checkNDShape("fftND", shape);
    require(context.getChunkSize() != 0, "fftND", "context.chunkSize_ must be at least 1");
    require(shape.naxes == 0 || (in != nullptr && out != nullptr), "fftND", "in and out must not be null");
    checkSign<Kind>("fftND", sign);
  }
  tessel_fft::fftND<T, Kind>(context, caches, in, out, shape, sign);
}

}  // namespace checked
}  // namespace tessel_fft
