#pragma once

#include <fftw3.h>

#include <atomic>
#include <cstdint>

#include "tessel_fft/export.hpp"

namespace tessel_fft {

// The one road to FFTW. Planning, plan destruction and the planner's thread count are serialised by
// one process-wide spin lock, since FFTW's planner is not re-entrant; execution is not locked, because
// FFTW's new-array execute may run from many threads at once on distinct arrays. Planner failures
// are not errors here: a null plan is handed back. FFTW's internal assertion failures arrive as
// std::runtime_error("FFTWAssertionFailure"), with the lock released.
class fftwApi {
 public:
  // The single instance. The first call initialises FFTW's threads for both precisions; after that
  // the call costs one atomic read.
  TESSEL_FFT_API static fftwApi& getInstance();

  // fftw_malloc; throws std::runtime_error("FFTW:nomem") on failure for a size above 0.
  TESSEL_FFT_API static void* malloc(std::uint64_t size);
  TESSEL_FFT_API static void free(void* memory);
  // FFTW's version string (double precision library).
  TESSEL_FFT_API static const char* getVersion();

  // Declared once per precision by TESSEL_FFT_PRECISION_API below, as fftw3.h declares its own API:
  // P is fftw_plan with R double and C fftw_complex, or fftwf_plan with float and fftwf_complex.
  //   destroyPlan  destroys a plan under the lock: the way a host's cache frees the plans it owns. Null is
  //                handed on.
  //   plan         one guru64 planner call under the lock. The overload follows the pointer types: r2r
  //                (R, R), r2c (R, C), c2c (C, C), c2r (C, R). The sign of the real kinds is accepted and
  //                ignored so that generic code can call every kind alike.
  //   planMany     one plan_many planner call under the lock; overloads and signs as for plan.
  //   execute      new-array execute, unlocked; no null test. The arrays must have the alignment the plan
  //                was made for.
#define TESSEL_FFT_TRANSFORM_API(P, In, Out)                                                                \
  TESSEL_FFT_API P plan(int rank, const fftw_iodim64* dims, int howmanyRank,                                \
                        const fftw_iodim64* howmanyDims, In* in, Out* out, int sign, unsigned flags) const; \
  TESSEL_FFT_API P planMany(int rank, const int* n, int howmany, In* in, const int* inembed, int istride,   \
                            int idist, Out* out, const int* onembed, int ostride, int odist, int sign,      \
                            unsigned flags) const;                                                          \
  TESSEL_FFT_API void execute(P plan, In* in, Out* out) const;
#define TESSEL_FFT_PRECISION_API(P, R, C)                                                                \
  TESSEL_FFT_API void destroyPlan(P plan) const;                                                         \
  TESSEL_FFT_API P plan(int rank, const fftw_iodim64* dims, int howmanyRank,                             \
                        const fftw_iodim64* howmanyDims, R* in, R* out, const fftw_r2r_kind* kind,       \
                        unsigned flags) const;                                                           \
  TESSEL_FFT_API P planMany(int rank, const int* n, int howmany, R* in, const int* inembed, int istride, \
                            int idist, R* out, const int* onembed, int ostride, int odist, int sign,     \
                            const fftw_r2r_kind* kind, unsigned flags) const;                            \
  TESSEL_FFT_API void execute(P plan, R* in, R* out) const;                                              \
  TESSEL_FFT_TRANSFORM_API(P, R, C)                                                                      \
  TESSEL_FFT_TRANSFORM_API(P, C, C)                                                                      \
  TESSEL_FFT_TRANSFORM_API(P, C, R)

  TESSEL_FFT_PRECISION_API(fftw_plan, double, fftw_complex)
  TESSEL_FFT_PRECISION_API(fftwf_plan, float, fftwf_complex)
#undef TESSEL_FFT_PRECISION_API
#undef TESSEL_FFT_TRANSFORM_API

 private:
  TESSEL_FFT_API fftwApi();

  // The planner lock. Its type is defined inside the library, around a oneTBB spin lock, so that hosts
  // compile against FFTW and the standard library only.
  struct AccessMutex;
  // The library's scoped holder of fftwAccessMutex_.
  friend class PlannerLock;

  TESSEL_FFT_API static AccessMutex fftwAccessMutex_;
  static fftwApi instance_;
  static std::atomic<bool> initialised_;
};

}  // namespace tessel_fft
