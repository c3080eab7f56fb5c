#pragma once

// One description for a call of any entry family, a runner that makes fresh arrays for it, and the
// check of its result against the long-double references. The tables, the random soak and the
// allocation sweep all describe their calls this way, so a row is one line.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

namespace tessel_test {

enum class Family { Quill, NoCopy, DCST, Interleaved1D, Interleaved2D, ND };

// Options of a call, or-ed into Call::flags.
enum : unsigned {
  kInPlace = 1,         // out is in (FFT: c2c only; interleaved: where FFTW accepts it)
  kComplex = 2,         // DCST and ND: interleaved complex data
  kShiftIn = 4,         // input one scalar past a 16-byte border
  kShiftOut = 8,        // output likewise
  kKeepingCache = 16,   // a host cache that keeps every plan
  kRefusingCache = 32,  // a host cache that refuses every plan
  kMeasure = 64,        // FFTW_MEASURE instead of FFTW_ESTIMATE
  kHybrid = 128,        // TS_FFTW_HYBRID
  kFullEmbed = 256,     // EMBED_FULL_LENGTH (interleaved r2c needs it above one row)
  kOrthonormal = 512,   // ND
};

// An input length that is the transform length.
inline constexpr std::uint64_t kInputIsN = ~std::uint64_t{0};

// Defaults: a forward double transform of one vector, one thread, chunks of 4. Tables name the fields
// that matter for their row.
struct Call {
  Family family = Family::Quill;
  bool single = false;  // float, else double
  int kind = 0;         // FFT 0..2; DCST 0..7; ND 0 dctIIND, 1 idctIIND
  // Batched families as named. Interleaved: n is n0, numVectors is howmany or n1.
  std::uint64_t stride = 1, n = 1, inputLength = kInputIsN, numVectors = 1;
  std::uint64_t threads = 1, chunk = 4;
  int sign = -1;  // FFT sign, DCST direction
  unsigned flags = 0;
  std::vector<std::uint64_t> dims = {};  // ND only
  unsigned seed = 1;
};

std::string describe(const Call& call);

// Host caches for every precision and kind, one keeping and one refusing each, made on first use and
// safe to share between host threads.
class CacheSet {
 public:
  template <typename Cache>
  Cache* get(unsigned flags) {
    const bool keep = (flags & kKeepingCache) != 0;
    if (!keep && (flags & kRefusingCache) == 0) return nullptr;
    std::lock_guard<std::mutex> lock(mutex_);
    std::shared_ptr<void>& slot = caches_[{std::type_index(typeid(Cache)), keep}];
    if (!slot) slot = std::make_shared<Cache>(keep);
    return static_cast<Cache*>(slot.get());
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<std::type_index, bool>, std::shared_ptr<void>> caches_;
};

struct Outcome {
  std::string error;                  // errorText of the call: what it threw, checked against its type
  std::string failure;                // what the checks found wrong, or ""
  std::vector<unsigned char> output;  // the output array's bytes after the call
};

// Runs `call` on fresh arrays (caches from `caches`, or a private set). Unless the call throws, checks
// the output against the reference, the input untouched, and nothing written around or between the
// output vectors.
Outcome runCall(const Call& call, CacheSet* caches = nullptr);

}  // namespace tessel_test
