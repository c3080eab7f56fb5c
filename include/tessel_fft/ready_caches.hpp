#pragma once

// Ready-made plan caches for both cache interfaces, so a host need not write its own. Header-only: they
// use the library only through fftwApi.

#include <algorithm>
#include <cstddef>
#include <list>
#include <mutex>
#include <new>
#include <unordered_map>
#include <utility>

#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// A cache that any number of host threads may share: it keeps every plan it accepts until it is
// destroyed. Since the cache protocol has no release call, a shared cache can never know that no thread
// is still running a plan it handed out, so keeping them all is the only safe policy; memory grows with
// the number of distinct problems. Interface is fftwPlanCacheInterface<T, Kind, fftwPlanKey> or
// dcstPlanCacheInterface<T, Kind>. Destroy it only when no transform that uses it is running: the
// destructor frees every plan through fftwApi::destroyPlan.
template <typename Interface>
class sharedPlanCache final : public Interface {
 public:
  using Plan = typename Interface::Plan;

  sharedPlanCache() = default;
  sharedPlanCache(const sharedPlanCache&) = delete;
  sharedPlanCache& operator=(const sharedPlanCache&) = delete;
  ~sharedPlanCache() override {
    for (const auto& entry : plans_) fftwApi::getInstance().destroyPlan(entry.second);
  }

  // Refuses a plan for a key it already holds (two threads may plan the same problem at once) and, when
  // memory runs out, any plan: a refused plan stays with the caller.
  bool insertPlan(const fftwPlanKey& key, Plan& plan) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    try {
      return plans_.emplace(key, plan).second;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  Plan lookupPlan(const fftwPlanKey& key) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = plans_.find(key);
    return found == plans_.end() ? nullptr : found->second;
  }

  // The number of plans held.
  std::size_t size() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return plans_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<fftwPlanKey, Plan> plans_;
};

// A bounded cache for one host thread: it holds at most `capacity` plans and destroys the least
// recently used one when a new plan would exceed that. Interface as for sharedPlanCache.
//
// The capacity is at least 2, because one driver call looks up its single-vector plan and then inserts
// its chunk plan: with room for one, that insert would destroy the plan the call is about to run.
//
// Never share it between threads, not even behind a lock of the host's: eviction destroys a plan at
// once, and with no release call in the protocol the cache cannot tell whether another thread is still
// running it. Give each thread its own, or use sharedPlanCache.
template <typename Interface>
class lruPlanCache final : public Interface {
 public:
  using Plan = typename Interface::Plan;

  static constexpr std::size_t kMinimumCapacity = 2;

  // A capacity below kMinimumCapacity is raised to it.
  explicit lruPlanCache(std::size_t capacity) : capacity_(std::max(capacity, kMinimumCapacity)) {}
  lruPlanCache(const lruPlanCache&) = delete;
  lruPlanCache& operator=(const lruPlanCache&) = delete;
  ~lruPlanCache() override {
    for (const Entry& entry : recent_) fftwApi::getInstance().destroyPlan(entry.second);
  }

  // Refuses a plan for a key it already holds, and any plan when memory runs out; a refused plan stays
  // with the caller. An accepted plan may evict the least recently used one.
  bool insertPlan(const fftwPlanKey& key, Plan& plan) override {
    if (index_.count(key) != 0) return false;
    try {
      recent_.emplace_front(key, plan);
    } catch (const std::bad_alloc&) {
      return false;
    }
    try {
      index_.emplace(key, recent_.begin());
    } catch (const std::bad_alloc&) {
      recent_.pop_front();
      return false;
    }
    if (recent_.size() > capacity_) evictOldest();
    return true;
  }

  // A hit becomes the most recently used plan.
  Plan lookupPlan(const fftwPlanKey& key) override {
    const auto found = index_.find(key);
    if (found == index_.end()) return nullptr;
    recent_.splice(recent_.begin(), recent_, found->second);
    return found->second->second;
  }

  std::size_t size() const { return recent_.size(); }
  std::size_t capacity() const { return capacity_; }

 private:
  using Entry = std::pair<fftwPlanKey, Plan>;

  void evictOldest() {
    const Entry oldest = recent_.back();
    index_.erase(oldest.first);
    recent_.pop_back();
    fftwApi::getInstance().destroyPlan(oldest.second);
  }

  std::size_t capacity_;
  std::list<Entry> recent_;  // most recently used first
  std::unordered_map<fftwPlanKey, typename std::list<Entry>::iterator> index_;
};

// The four caches by family, precision and kind.
template <typename T, int Kind>
using sharedFFTPlanCache = sharedPlanCache<fftwPlanCacheInterface<T, Kind, fftwPlanKey>>;
template <typename T, int Kind>
using sharedDCSTPlanCache = sharedPlanCache<dcstPlanCacheInterface<T, Kind>>;
template <typename T, int Kind>
using lruFFTPlanCache = lruPlanCache<fftwPlanCacheInterface<T, Kind, fftwPlanKey>>;
template <typename T, int Kind>
using lruDCSTPlanCache = lruPlanCache<dcstPlanCacheInterface<T, Kind>>;

}  // namespace tessel_fft
