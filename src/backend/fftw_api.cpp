// The one road to FFTW: its planner under one lock, execution unlocked, initialisation once.
#include "tessel_fft/fftw_api.hpp"

#include <type_traits>
#include <utility>

#include "backend/errors.hpp"
#include "backend/planner_lock.hpp"
#include "backend/planner_threads.hpp"
#include "backend/precision.hpp"

namespace tessel_fft {

fftwApi::AccessMutex fftwApi::fftwAccessMutex_;
fftwApi fftwApi::instance_;
std::atomic<bool> fftwApi::initialised_{false};

fftwApi::fftwApi() {}

namespace {

template <typename Call>
auto underLock(Call&& call) {
  const PlannerLock lock;
  return std::forward<Call>(call)();
}

}  // namespace

fftwApi& fftwApi::getInstance() {
  if (initialised_.load(std::memory_order_acquire)) return instance_;
  // Two threads racing on the first call may both initialise, one after the other; FFTW's thread
  // initialisation is repeatable, so the flag is not tested again under the lock. The assertion hook
  // needs no registration: this library defines FFTW's handler itself.
  underLock([] {
    fftw_init_threads();
    fftwf_init_threads();
    initialised_.store(true, std::memory_order_release);
    return 0;
  });
  return instance_;
}

void* fftwApi::malloc(std::uint64_t size) {
  void* memory = fftw_malloc(static_cast<std::size_t>(size));
  if (memory == nullptr && size != 0) throwNoMemory();
  return memory;
}

void fftwApi::free(void* memory) { fftw_free(memory); }

const char* fftwApi::getVersion() { return fftw_version; }

void fftwApi::destroyPlan(fftw_plan plan) const {
  underLock([&] {
    fftw_destroy_plan(plan);
    return 0;
  });
}

void fftwApi::destroyPlan(fftwf_plan plan) const {
  underLock([&] {
    fftwf_destroy_plan(plan);
    return 0;
  });
}

template <typename T>
void planWithThreads(int numThreads) {
  fftwApi::getInstance();
  underLock([&] {
    if constexpr (std::is_same_v<T, double>) {
      fftw_plan_with_nthreads(numThreads);
    } else {
      fftwf_plan_with_nthreads(numThreads);
    }
    return 0;
  });
}

#define TESSEL_PLAN_WITH_THREADS(T) template decltype(planWithThreads<T>) planWithThreads<T>;
TESSEL_FOR_EACH_REAL(TESSEL_PLAN_WITH_THREADS)

// Guru64 planners.

fftw_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                        double* in, double* out, const fftw_r2r_kind* kind, unsigned flags) const {
  return underLock(
      [&] { return fftw_plan_guru64_r2r(rank, dims, howmanyRank, howmanyDims, in, out, kind, flags); });
}

fftw_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                        double* in, fftw_complex* out, int, unsigned flags) const {
  return underLock(
      [&] { return fftw_plan_guru64_dft_r2c(rank, dims, howmanyRank, howmanyDims, in, out, flags); });
}

fftw_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                        fftw_complex* in, fftw_complex* out, int sign, unsigned flags) const {
  return underLock(
      [&] { return fftw_plan_guru64_dft(rank, dims, howmanyRank, howmanyDims, in, out, sign, flags); });
}

fftw_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                        fftw_complex* in, double* out, int, unsigned flags) const {
  return underLock(
      [&] { return fftw_plan_guru64_dft_c2r(rank, dims, howmanyRank, howmanyDims, in, out, flags); });
}

fftwf_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                         float* in, float* out, const fftw_r2r_kind* kind, unsigned flags) const {
  return underLock(
      [&] { return fftwf_plan_guru64_r2r(rank, dims, howmanyRank, howmanyDims, in, out, kind, flags); });
}

fftwf_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                         float* in, fftwf_complex* out, int, unsigned flags) const {
  return underLock(
      [&] { return fftwf_plan_guru64_dft_r2c(rank, dims, howmanyRank, howmanyDims, in, out, flags); });
}

fftwf_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                         fftwf_complex* in, fftwf_complex* out, int sign, unsigned flags) const {
  return underLock(
      [&] { return fftwf_plan_guru64_dft(rank, dims, howmanyRank, howmanyDims, in, out, sign, flags); });
}

fftwf_plan fftwApi::plan(int rank, const fftw_iodim64* dims, int howmanyRank, const fftw_iodim64* howmanyDims,
                         fftwf_complex* in, float* out, int, unsigned flags) const {
  return underLock(
      [&] { return fftwf_plan_guru64_dft_c2r(rank, dims, howmanyRank, howmanyDims, in, out, flags); });
}

// plan_many planners.

fftw_plan fftwApi::planMany(int rank, const int* n, int howmany, double* in, const int* inembed, int istride,
                            int idist, double* out, const int* onembed, int ostride, int odist, int,
                            const fftw_r2r_kind* kind, unsigned flags) const {
  return underLock([&] {
    return fftw_plan_many_r2r(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride, odist,
                              kind, flags);
  });
}

fftw_plan fftwApi::planMany(int rank, const int* n, int howmany, double* in, const int* inembed, int istride,
                            int idist, fftw_complex* out, const int* onembed, int ostride, int odist, int,
                            unsigned flags) const {
  return underLock([&] {
    return fftw_plan_many_dft_r2c(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride, odist,
                                  flags);
  });
}

fftw_plan fftwApi::planMany(int rank, const int* n, int howmany, fftw_complex* in, const int* inembed,
                            int istride, int idist, fftw_complex* out, const int* onembed, int ostride,
                            int odist, int sign, unsigned flags) const {
  return underLock([&] {
    return fftw_plan_many_dft(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride, odist,
                              sign, flags);
  });
}

fftw_plan fftwApi::planMany(int rank, const int* n, int howmany, fftw_complex* in, const int* inembed,
                            int istride, int idist, double* out, const int* onembed, int ostride, int odist,
                            int, unsigned flags) const {
  return underLock([&] {
    return fftw_plan_many_dft_c2r(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride, odist,
                                  flags);
  });
}

fftwf_plan fftwApi::planMany(int rank, const int* n, int howmany, float* in, const int* inembed, int istride,
                             int idist, float* out, const int* onembed, int ostride, int odist, int,
                             const fftw_r2r_kind* kind, unsigned flags) const {
  return underLock([&] {
    return fftwf_plan_many_r2r(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride, odist,
                               kind, flags);
  });
}

fftwf_plan fftwApi::planMany(int rank, const int* n, int howmany, float* in, const int* inembed, int istride,
                             int idist, fftwf_complex* out, const int* onembed, int ostride, int odist, int,
                             unsigned flags) const {
  return underLock([&] {
    return fftwf_plan_many_dft_r2c(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride,
                                   odist, flags);
  });
}

fftwf_plan fftwApi::planMany(int rank, const int* n, int howmany, fftwf_complex* in, const int* inembed,
                             int istride, int idist, fftwf_complex* out, const int* onembed, int ostride,
                             int odist, int sign, unsigned flags) const {
  return underLock([&] {
    return fftwf_plan_many_dft(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride, odist,
                               sign, flags);
  });
}

fftwf_plan fftwApi::planMany(int rank, const int* n, int howmany, fftwf_complex* in, const int* inembed,
                             int istride, int idist, float* out, const int* onembed, int ostride, int odist,
                             int, unsigned flags) const {
  return underLock([&] {
    return fftwf_plan_many_dft_c2r(rank, n, howmany, in, inembed, istride, idist, out, onembed, ostride,
                                   odist, flags);
  });
}

// New-array execute: a straight forward to FFTW.

void fftwApi::execute(fftw_plan plan, double* in, double* out) const { fftw_execute_r2r(plan, in, out); }
void fftwApi::execute(fftw_plan plan, double* in, fftw_complex* out) const {
  fftw_execute_dft_r2c(plan, in, out);
}
void fftwApi::execute(fftw_plan plan, fftw_complex* in, fftw_complex* out) const {
  fftw_execute_dft(plan, in, out);
}
void fftwApi::execute(fftw_plan plan, fftw_complex* in, double* out) const {
  fftw_execute_dft_c2r(plan, in, out);
}
void fftwApi::execute(fftwf_plan plan, float* in, float* out) const { fftwf_execute_r2r(plan, in, out); }
void fftwApi::execute(fftwf_plan plan, float* in, fftwf_complex* out) const {
  fftwf_execute_dft_r2c(plan, in, out);
}
void fftwApi::execute(fftwf_plan plan, fftwf_complex* in, fftwf_complex* out) const {
  fftwf_execute_dft(plan, in, out);
}
void fftwApi::execute(fftwf_plan plan, fftwf_complex* in, float* out) const {
  fftwf_execute_dft_c2r(plan, in, out);
}

}  // namespace tessel_fft
