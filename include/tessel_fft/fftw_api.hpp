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

  // Destroys a plan under the lock: the way a host's cache frees the plans it owns. Null is handed on.
  TESSEL_FFT_API void destroyPlan(fftw_plan plan) const;
  TESSEL_FFT_API void destroyPlan(fftwf_plan plan) const;

  // One guru64 planner call under the lock. The overload follows the pointer types; the sign of the
  // real kinds is accepted and ignored so that generic code can call every kind alike.
  TESSEL_FFT_API fftw_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                const fftw_iodim64* howmanyDims, double* in, double* out,
                                const fftw_r2r_kind* kind, unsigned flags) const;
  TESSEL_FFT_API fftw_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                const fftw_iodim64* howmanyDims, double* in, fftw_complex* out, int sign,
                                unsigned flags) const;
  TESSEL_FFT_API fftw_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                const fftw_iodim64* howmanyDims, fftw_complex* in, fftw_complex* out,
                                int sign, unsigned flags) const;
  TESSEL_FFT_API fftw_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                const fftw_iodim64* howmanyDims, fftw_complex* in, double* out, int sign,
                                unsigned flags) const;
  TESSEL_FFT_API fftwf_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                 const fftw_iodim64* howmanyDims, float* in, float* out,
                                 const fftw_r2r_kind* kind, unsigned flags) const;
  TESSEL_FFT_API fftwf_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                 const fftw_iodim64* howmanyDims, float* in, fftwf_complex* out, int sign,
                                 unsigned flags) const;
  TESSEL_FFT_API fftwf_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                 const fftw_iodim64* howmanyDims, fftwf_complex* in, fftwf_complex* out,
                                 int sign, unsigned flags) const;
  TESSEL_FFT_API fftwf_plan plan(int rank, const fftw_iodim64* dims, int howmanyRank,
                                 const fftw_iodim64* howmanyDims, fftwf_complex* in, float* out, int sign,
                                 unsigned flags) const;

  // One plan_many planner call under the lock; overloads and signs as for plan.
  TESSEL_FFT_API fftw_plan planMany(int rank, const int* n, int howmany, double* in, const int* inembed,
                                    int istride, int idist, double* out, const int* onembed, int ostride,
                                    int odist, int sign, const fftw_r2r_kind* kind, unsigned flags) const;
  TESSEL_FFT_API fftw_plan planMany(int rank, const int* n, int howmany, double* in, const int* inembed,
                                    int istride, int idist, fftw_complex* out, const int* onembed,
                                    int ostride, int odist, int sign, unsigned flags) const;
  TESSEL_FFT_API fftw_plan planMany(int rank, const int* n, int howmany, fftw_complex* in, const int* inembed,
                                    int istride, int idist, fftw_complex* out, const int* onembed,
                                    int ostride, int odist, int sign, unsigned flags) const;
  TESSEL_FFT_API fftw_plan planMany(int rank, const int* n, int howmany, fftw_complex* in, const int* inembed,
                                    int istride, int idist, double* out, const int* onembed, int ostride,
                                    int odist, int sign, unsigned flags) const;
  TESSEL_FFT_API fftwf_plan planMany(int rank, const int* n, int howmany, float* in, const int* inembed,
                                     int istride, int idist, float* out, const int* onembed, int ostride,
                                     int odist, int sign, const fftw_r2r_kind* kind, unsigned flags) const;
  TESSEL_FFT_API fftwf_plan planMany(int rank, const int* n, int howmany, float* in, const int* inembed,
                                     int istride, int idist, fftwf_complex* out, const int* onembed,
                                     int ostride, int odist, int sign, unsigned flags) const;
  TESSEL_FFT_API fftwf_plan planMany(int rank, const int* n, int howmany, fftwf_complex* in,
                                     const int* inembed, int istride, int idist, fftwf_complex* out,
                                     const int* onembed, int ostride, int odist, int sign,
                                     unsigned flags) const;
  TESSEL_FFT_API fftwf_plan planMany(int rank, const int* n, int howmany, fftwf_complex* in,
                                     const int* inembed, int istride, int idist, float* out,
                                     const int* onembed, int ostride, int odist, int sign,
                                     unsigned flags) const;

  // New-array execute, unlocked; no null test. The arrays must have the alignment the plan was made for.
  TESSEL_FFT_API void execute(fftw_plan plan, double* in, double* out) const;
  TESSEL_FFT_API void execute(fftw_plan plan, double* in, fftw_complex* out) const;
  TESSEL_FFT_API void execute(fftw_plan plan, fftw_complex* in, fftw_complex* out) const;
  TESSEL_FFT_API void execute(fftw_plan plan, fftw_complex* in, double* out) const;
  TESSEL_FFT_API void execute(fftwf_plan plan, float* in, float* out) const;
  TESSEL_FFT_API void execute(fftwf_plan plan, float* in, fftwf_complex* out) const;
  TESSEL_FFT_API void execute(fftwf_plan plan, fftwf_complex* in, fftwf_complex* out) const;
  TESSEL_FFT_API void execute(fftwf_plan plan, fftwf_complex* in, float* out) const;

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
