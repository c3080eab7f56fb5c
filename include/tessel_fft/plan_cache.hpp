#pragma once

#include <cstdint>

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

// A plan cache that the host implements for FFT plans of precision T and kind Kind. The library calls
// it only on the thread that runs a transform and outside its own lock, so a cache shared between host
// threads must protect itself. A cache must keep a plan alive while a transform that looked it up runs.
template <typename T, int Kind, typename Key>
class fftwPlanCacheInterface {
 public:
  using Plan = fftwPlan<T>;
  virtual ~fftwPlanCacheInterface() = default;
  // True: the cache owns `plan` from now on. False: it stays with the caller.
  virtual bool insertPlan(const Key& key, Plan& plan) = 0;
  // The stored plan, still owned by the cache, or null.
  virtual Plan lookupPlan(const Key& key) = 0;
};

// The same protocol for the cosine and sine transforms of kind Kind (0..7), keyed by fftwPlanKey.
template <typename T, int Kind>
class dcstPlanCacheInterface {
 public:
  using Plan = fftwPlan<T>;
  virtual ~dcstPlanCacheInterface() = default;
  virtual bool insertPlan(const fftwPlanKey& key, Plan& plan) = 0;
  virtual Plan lookupPlan(const fftwPlanKey& key) = 0;
};

}  // namespace tessel_fft
