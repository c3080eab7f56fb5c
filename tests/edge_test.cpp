// What a host meets at the edge: argument checks of its debug builds, each naming the argument and the
// rule, and the thread bound that a host's own oneTBB arena sets.

#include <stdexcept>
#include <string>

// Checks on whatever the build type; a failed one throws here instead of aborting, so a table can
// list the calls.
#define TESSEL_FFT_ENABLE_CHECKS 1
#define TESSEL_FFT_CHECK_FAILED(message) throw std::invalid_argument(message)

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <tbb/task_scheduler_observer.h>

#include <atomic>
#include <complex>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tessel_fft/checked.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

namespace tfft = tessel_fft::checked;
using tessel_fft::c2c;
using tessel_fft::c2r;
using tessel_fft::fftwContext;
using tessel_fft::r2c;
using C = std::complex<double>;

std::string complaint(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

TEST(Checks, NameTheArgumentAndTheRule) {
  fftwContext noChunks;
  noChunks.setChunkSize(0);
  const fftwContext compact, full(1, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  std::vector<double> reals(64);
  std::vector<C> complexes(64);
  auto* pairs = reinterpret_cast<double(*)[2]>(complexes.data());
  const std::uint64_t dims[] = {4, 4}, cut[] = {4, 3}, once[] = {0}, twice[] = {1, 1};
  const struct {
    std::function<void()> call;
    const char* complaint;  // "" where the call is fine
  } rows[] = {
      {[&] {
         tfft::quillFFT1D<double, c2c>(compact, nullptr, complexes.data(), complexes.data(), 0, 8, 8, 2, 1);
       },
       "quillFFT1D: stride must be at least 1 when numVectors is above 0"},
      {[&] { tfft::quillFFT1D<double, c2c>(compact, nullptr, nullptr, nullptr, 0, 8, 8, 0, 1); }, ""},
      // One vector needs a stride too (its extents before the transformed dimension are all 1); the
      // stride is checked before the arrays, so a call let through would not run.
      {[&] {
         tfft::quillFFT1DNoCopy<double, c2c>(compact, nullptr, complexes.data(), nullptr, 0, 8, 8, 1, 1);
       },
       "quillFFT1DNoCopy: stride must be at least 1 when numVectors is above 0"},
      {[&] { tfft::quillDCST1D<double, 1>(compact, nullptr, nullptr, reals.data(), 0, 8, 8, 1, 1, false); },
       "quillDCST1D: stride must be at least 1 when numVectors is above 0"},
      {[&] {
         tfft::quillFFT1DNoCopy<double, r2c>(noChunks, nullptr, reals.data(), complexes.data(), 1, 8, 8, 4,
                                             1);
       },
       "quillFFT1DNoCopy: context.chunkSize_ must be at least 1"},
      {[&] { tfft::quillDCST1D<double, 1>(compact, nullptr, reals.data(), nullptr, 1, 8, 8, 4, 1, false); },
       "quillDCST1D: in and out must not be null"},
      {[&] {
         tfft::quillFFT1D<double, c2c>(compact, nullptr, complexes.data(), complexes.data(), 1, 8, 8, 4, 0);
       },
       "quillFFT1D: c2c sign must be FFTW_FORWARD (-1) or FFTW_BACKWARD (+1)"},
      {[&] {
         tfft::quillFFT1D<double, c2r>(compact, nullptr, complexes.data(), reals.data(), 1, 8, 5, 4, 0);
       },
       ""},
      {[&] { tfft::interleavedFFT1D<double, r2c>(compact, nullptr, reals.data(), pairs, 8, 2, -1, false); },
       "interleavedFFT1D: r2c with howmany above 1 needs a context with EMBED_FULL_LENGTH"},
      {[&] { tfft::interleavedFFT1D<double, r2c>(full, nullptr, reals.data(), pairs, 8, 2, -1, false); }, ""},
      {[&] { tfft::interleavedFFT2D<double, r2c>(compact, nullptr, reals.data(), pairs, 4, 4, -1, false); },
       "interleavedFFT2D: r2c with n1 above 1 needs a context with EMBED_FULL_LENGTH"},
      {[&] { tfft::interleavedFFT2D<double, c2c>(compact, nullptr, pairs, nullptr, 4, 4, -1, false); },
       "interleavedFFT2D: in and out must not be null"},
      {[&] { tfft::dctIIND<double>(reals.data(), reals.data(), nullptr, 2, false); },
       "dctIIND: dims must not be null when ndims is above 0"},
      {[&] { tfft::idctIIND<C>(nullptr, complexes.data(), dims, 2, true); },
       "idctIIND: in and out must not be null"},
      {[&] {
         tfft::fftND<double, c2c>(compact, {}, complexes.data(), complexes.data(), {dims, cut, 2, once, 1},
                                  1);
       },
       "fftND: an untransformed dimension's input extent must equal its length"},
      {[&] {
         tfft::fftND<double, c2c>(compact, {}, complexes.data(), complexes.data(), {dims, cut, 2, twice, 2},
                                  1);
       },
       "fftND: every axis must be a dimension below ndims, named once"},
  };
  for (const auto& row : rows) {
    const std::string said = complaint(row.call);
    EXPECT_EQ(said.substr(0, std::string(row.complaint).size()), row.complaint) << said;
    EXPECT_EQ(said.empty(), *row.complaint == '\0') << said;
  }
}

// numThreads_ chooses the path, not how many threads run it: a host's 2-slot arena bounds a pooled run
// to two threads even where oneTBB may use more.
TEST(Threads, HostArenaBoundsAPooledRun) {
  struct Watcher : tbb::task_scheduler_observer {
    explicit Watcher(tbb::task_arena& arena) : tbb::task_scheduler_observer(arena) { observe(true); }
    void on_scheduler_entry(bool) override {
      const int now = ++inside;
      for (int seen = most.load(); now > seen && !most.compare_exchange_weak(seen, now);) {
      }
    }
    void on_scheduler_exit(bool) override { --inside; }
    std::atomic<int> inside{0}, most{0};
  };
  const std::uint64_t n = 256, vectors = 4000;
  std::vector<C> in(n * vectors, C(1, 0)), out(in.size());
  int most = 0;
  // More workers than this machine may have cores, so that only the arena bounds the run.
  auto manyWorkers = std::make_unique<tbb::global_control>(tbb::global_control::max_allowed_parallelism, 8);
  tbb::task_scheduler_handle scheduler{tbb::attach{}};
  {
    tbb::task_arena arena(2);
    arena.initialize();
    Watcher watcher(arena);
    const fftwContext eight(8, FFTW_ESTIMATE, fftwContext::EMBED_COMPACT, false);
    arena.execute([&] {
      tessel_fft::quillFFT1D<double, c2c>(eight, nullptr, in.data(), out.data(), 1, n, n, vectors,
                                          FFTW_FORWARD);
    });
    watcher.observe(false);
    most = watcher.most.load();
  }
  // Workers hold on to the observer until they leave the arena: wait for them, so that none is still
  // on its way out when the process ends.
  manyWorkers.reset();
  tbb::finalize(scheduler, std::nothrow);
  EXPECT_LE(most, 2);
  EXPECT_EQ(out[0], C(static_cast<double>(n), 0));
}

}  // namespace
