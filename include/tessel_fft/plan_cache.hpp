#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

// Says for which problem a plan may be reused, including the low address bits of its buffers: FFTW's
// new-array execute is valid only on arrays with the alignment the plan was made for. The FFT and the
// cosine/sine families pack `flags` differently.
struct fftwPlanKey {
  std::uint64_t size0;
  std::uint64_t rank;
  std::uint64_t size1;
  std::uint64_t flags;

  friend bool operator==(const fftwPlanKey& a, const fftwPlanKey& b) {
    return a.size0 == b.size0 && a.rank == b.rank && a.size1 == b.size1 && a.flags == b.flags;
  }
  friend bool operator!=(const fftwPlanKey& a, const fftwPlanKey& b) { return !(a == b); }
};

// A plan cache that the host implements for plans of precision T, looked up by Key; ready ones are in
// tessel_fft/ready_caches.hpp. The library calls it only on the thread that runs a transform and outside
// its own lock, so a cache shared between host threads must protect itself. There is no release call: a
// plan that lookupPlan returned may be executed until that transform returns, so a cache must keep every
// plan alive while a transform that looked it up may run.
//
// Freeing: a cache owns the plans it accepted and destroys them itself, when it evicts them or in its
// destructor, through fftwApi::getInstance().destroyPlan. That takes the library's planner lock;
// fftw_destroy_plan called directly would race with planning on other threads.
//
// A host derives from one of the two interfaces below, which name the family and kind a cache serves.
template <typename T, typename Key>
class planCacheInterface {
 public:
  using Plan = fftwPlan<T>;
  virtual ~planCacheInterface() = default;
  // True: the cache owns `plan` from now on. False: it stays with the caller, which destroys it.
  virtual bool insertPlan(const Key& key, Plan& plan) = 0;
  // The stored plan, still owned by the cache, or null.
  virtual Plan lookupPlan(const Key& key) = 0;
};

// The cache of FFT plans of kind Kind (r2c, c2r, c2c).
template <typename T, int Kind, typename Key>
class fftwPlanCacheInterface : public planCacheInterface<T, Key> {};

// The cache of cosine and sine plans of kind Kind (0..7), keyed by fftwPlanKey.
template <typename T, int Kind>
class dcstPlanCacheInterface : public planCacheInterface<T, fftwPlanKey> {};

}  // namespace tessel_fft

namespace std {

// Hashes all four words, so that keys which differ in their flags alone fall into different buckets.
template <>
struct hash<tessel_fft::fftwPlanKey> {
  size_t operator()(const tessel_fft::fftwPlanKey& key) const noexcept {
    const uint64_t words[] = {key.size0, key.rank, key.size1, key.flags};
    uint64_t hash = 0;
    // The golden-ratio mix of each word into the running hash: std::hash of an integer is the identity
    // in common libraries, and the words are small numbers.
    for (const uint64_t word : words) hash ^= word + 0x9e3779b97f4a7c15ULL + (hash << 6) + (hash >> 2);
    return static_cast<size_t>(hash);
  }
};

}  // namespace std
