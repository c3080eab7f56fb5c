#pragma once

// A host-style plan cache that counts calls and records keys; accepted plans go to the library's
// sharedPlanCache, which destroys them when it dies. `acceptInserts` false refuses every plan. Calls from
// another thread than the one that made it count as foreign: the library calls a cache only on the
// thread that runs the transform.

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "tessel_fft/plan_cache.hpp"
#include "tessel_fft/ready_caches.hpp"

namespace tessel_test {

template <typename Base>
class CountingCache : public Base {
 public:
  using Plan = typename Base::Plan;

  explicit CountingCache(bool acceptInserts = true) : acceptInserts_(acceptInserts) {}
  bool insertPlan(const tessel_fft::fftwPlanKey& key, Plan& plan) override {
    countForeign();
    std::unique_lock<std::mutex> lock(mutex_);
    ++inserts;
    insertedKeys.push_back(key);
    lock.unlock();
    return acceptInserts_ && plans_.insertPlan(key, plan);
  }
  Plan lookupPlan(const tessel_fft::fftwPlanKey& key) override {
    countForeign();
    const Plan plan = plans_.lookupPlan(key);
    std::lock_guard<std::mutex> lock(mutex_);
    ++lookups;
    lookedUpKeys.push_back(key);
    if (plan != nullptr) ++hits;
    return plan;
  }
  std::size_t size() const { return plans_.size(); }

  int lookups = 0, hits = 0, inserts = 0;
  std::atomic<int> foreignCalls{0};
  std::vector<tessel_fft::fftwPlanKey> lookedUpKeys, insertedKeys;

 private:
  void countForeign() {
    if (std::this_thread::get_id() != owner_) foreignCalls.fetch_add(1);
  }

  std::thread::id owner_ = std::this_thread::get_id();
  bool acceptInserts_;
  std::mutex mutex_;
  tessel_fft::sharedPlanCache<Base> plans_;
};

template <typename T, int Kind>
using CountingFFTCache = CountingCache<tessel_fft::fftwPlanCacheInterface<T, Kind, tessel_fft::fftwPlanKey>>;
template <typename T, int Kind>
using CountingDCSTCache = CountingCache<tessel_fft::dcstPlanCacheInterface<T, Kind>>;

}  // namespace tessel_test
