#pragma once

// A host-style plan cache for tests: keeps every plan it accepts, counts calls, records keys, and
// destroys its plans when it dies. `acceptInserts` false makes it refuse every plan.

#include <map>
#include <mutex>
#include <tuple>
#include <vector>

#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_test {

struct KeyLess {
  bool operator()(const tessel_fft::fftwPlanKey& a, const tessel_fft::fftwPlanKey& b) const {
    return std::tie(a.size0, a.rank, a.size1, a.flags) < std::tie(b.size0, b.rank, b.size1, b.flags);
  }
};

template <typename Base>
class CountingCache : public Base {
 public:
  using Plan = typename Base::Plan;

  explicit CountingCache(bool acceptInserts = true) : acceptInserts_(acceptInserts) {}
  ~CountingCache() override {
    for (auto& entry : plans_) tessel_fft::fftwApi::getInstance().destroyPlan(entry.second);
  }

  bool insertPlan(const tessel_fft::fftwPlanKey& key, Plan& plan) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++inserts;
    insertedKeys.push_back(key);
    if (!acceptInserts_ || plans_.count(key) != 0) return false;
    plans_[key] = plan;
    return true;
  }

  Plan lookupPlan(const tessel_fft::fftwPlanKey& key) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++lookups;
    lookedUpKeys.push_back(key);
    const auto found = plans_.find(key);
    if (found == plans_.end()) return nullptr;
    ++hits;
    return found->second;
  }

  std::size_t size() const { return plans_.size(); }

  int lookups = 0, hits = 0, inserts = 0;
  std::vector<tessel_fft::fftwPlanKey> lookedUpKeys, insertedKeys;

 private:
  bool acceptInserts_;
  std::mutex mutex_;
  std::map<tessel_fft::fftwPlanKey, Plan, KeyLess> plans_;
};

template <typename T, int Kind>
using CountingFFTCache = CountingCache<tessel_fft::fftwPlanCacheInterface<T, Kind, tessel_fft::fftwPlanKey>>;
template <typename T, int Kind>
using CountingDCSTCache = CountingCache<tessel_fft::dcstPlanCacheInterface<T, Kind>>;

}  // namespace tessel_test
