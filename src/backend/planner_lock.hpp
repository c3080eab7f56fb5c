// The planner lock, for the library's code that calls FFTW's planner state outside fftwApi.
#pragma once

#include <tbb/spin_mutex.h>

#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

// tbb::spin_mutex backs off with 1, 2, 4, 8 and 16 pause instructions and then yields to the OS, so a
// waiter behind a long measuring planner does not burn a core.
struct fftwApi::AccessMutex {
  tbb::spin_mutex mutex;
};

// Holds fftwAccessMutex_ while it lives, so an exception passing through (FFTW's assertion handler
// throws) releases it. Never taken while it is held.
class PlannerLock {
 public:
  PlannerLock() : lock_(fftwApi::fftwAccessMutex_.mutex) {}

 private:
  tbb::spin_mutex::scoped_lock lock_;
};

}  // namespace tessel_fft
