// The "plain FFTW" side of the benchmark and the memory both sides work on: FFTW's own entry points per
// precision and owning wrappers for plans and fftw_malloc'd arrays. The library's side keeps its plans in
// the library's sharedPlanCache, as a host would.
#pragma once

#include <fftw3.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace tessel_bench {

// FFTW's planner and executor for precision T, as a user of FFTW calls them directly.
template <typename T>
struct PlainFftw;

// Both precisions from one text, the way fftw3.h declares its own: X(name) is fftw_name or fftwf_name.
// The guru64 dimensions have one type for both.
#define TESSEL_PLAIN_FFTW(R, X)                                                                         \
  template <>                                                                                           \
  struct PlainFftw<R> {                                                                                 \
    using Plan = X(plan);                                                                               \
    using Complex = X(complex);                                                                         \
    static void planWithThreads(int threads) { X(plan_with_nthreads)(threads); }                        \
    static Plan dft(int rank, const fftw_iodim64* dims, int loopRank, const fftw_iodim64* loops,        \
                    Complex* in, Complex* out, int sign, unsigned flags) {                              \
      return X(plan_guru64_dft)(rank, dims, loopRank, loops, in, out, sign, flags);                     \
    }                                                                                                   \
    static Plan r2r(int rank, const fftw_iodim64* dims, int loopRank, const fftw_iodim64* loops, R* in, \
                    R* out, const fftw_r2r_kind* kinds, unsigned flags) {                               \
      return X(plan_guru64_r2r)(rank, dims, loopRank, loops, in, out, kinds, flags);                    \
    }                                                                                                   \
    static Plan r2c(int rank, const fftw_iodim64* dims, int loopRank, const fftw_iodim64* loops, R* in, \
                    Complex* out, unsigned flags) {                                                     \
      return X(plan_guru64_dft_r2c)(rank, dims, loopRank, loops, in, out, flags);                       \
    }                                                                                                   \
    static Plan c2r(int rank, const fftw_iodim64* dims, int loopRank, const fftw_iodim64* loops,        \
                    Complex* in, R* out, unsigned flags) {                                              \
      return X(plan_guru64_dft_c2r)(rank, dims, loopRank, loops, in, out, flags);                       \
    }                                                                                                   \
    static void execute(Plan plan) { X(execute)(plan); }                                                \
    static void destroy(Plan plan) { X(destroy_plan)(plan); }                                           \
    static void forgetWisdom() { X(forget_wisdom)(); }                                                  \
  };
TESSEL_PLAIN_FFTW(double, FFTW_MANGLE_DOUBLE)
TESSEL_PLAIN_FFTW(float, FFTW_MANGLE_FLOAT)
#undef TESSEL_PLAIN_FFTW

// One FFTW plan of the plain side, destroyed with its owner. Never null.
template <typename T>
class PlainPlan {
 public:
  using Plan = typename PlainFftw<T>::Plan;

  PlainPlan() = default;
  // Takes `plan`; a null plan (FFTW refused the problem) throws std::runtime_error.
  explicit PlainPlan(Plan plan) : plan_(plan) {
    if (plan_ == nullptr) throw std::runtime_error("plain FFTW returned no plan");
  }
  PlainPlan(PlainPlan&& other) noexcept : plan_(std::exchange(other.plan_, nullptr)) {}
  PlainPlan& operator=(PlainPlan&& other) noexcept {
    std::swap(plan_, other.plan_);
    return *this;
  }
  PlainPlan(const PlainPlan&) = delete;
  PlainPlan& operator=(const PlainPlan&) = delete;
  ~PlainPlan() {
    if (plan_ != nullptr) PlainFftw<T>::destroy(plan_);
  }

  void execute() const { PlainFftw<T>::execute(plan_); }

 private:
  Plan plan_ = nullptr;
};

// Plans as a user of FFTW makes them: FFTW's planner thread count set to `threads` first, since the
// library's own planning changes that process-wide setting. Single-threaded callers only.
template <typename T, typename MakePlan>
PlainPlan<T> makePlainPlan(int threads, MakePlan&& makePlan) {
  PlainFftw<T>::planWithThreads(threads);
  return PlainPlan<T>(makePlan());
}

// `count` elements of E in fftw_malloc'd memory (FFTW's SIMD alignment), zero-initialised so that every
// page is touched before any timing. Move-only.
template <typename E>
class AlignedArray {
 public:
  explicit AlignedArray(std::size_t count)
      : data_(static_cast<E*>(fftw_malloc(count * sizeof(E) + (count == 0 ? 1 : 0)))), size_(count) {
    if (data_ == nullptr) throw std::bad_alloc();
    for (std::size_t i = 0; i < count; ++i) new (data_ + i) E();
  }
  AlignedArray(const AlignedArray&) = delete;
  AlignedArray& operator=(const AlignedArray&) = delete;
  ~AlignedArray() { fftw_free(data_); }

  E* data() { return data_; }
  const E* data() const { return data_; }
  std::size_t size() const { return size_; }
  E& operator[](std::size_t i) { return data_[i]; }

 private:
  E* data_;
  std::size_t size_;
};

// std::complex<T> and FFTW's T[2] share their layout; FFTW's interfaces want the latter.
inline fftw_complex* asFftw(std::complex<double>* data) { return reinterpret_cast<fftw_complex*>(data); }
inline fftwf_complex* asFftw(std::complex<float>* data) { return reinterpret_cast<fftwf_complex*>(data); }
inline double* asFftw(double* data) { return data; }
inline float* asFftw(float* data) { return data; }

}  // namespace tessel_bench
