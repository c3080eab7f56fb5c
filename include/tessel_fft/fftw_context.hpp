#pragma once

#include <cstdint>

#include "tessel_fft/export.hpp"

namespace tessel_fft {

// How one transform call runs: thread budget, vectors per batched plan, FFTW planning strategy, layout
// of the complex side of real transforms, and whether planning may overwrite the buffers it is given.
// A plain value; each call has its own copy and nothing here is synchronised.
//
// numThreads_ chooses between running a batch on the calling thread and spreading it over oneTBB tasks,
// and is the thread count FFTW plans a single long vector with. It does not bound how many threads run
// the tasks: they run in the calling thread's oneTBB arena, on as many workers as that offers. A host
// that wants a bound makes the call inside its own arena (or sets tbb::global_control):
//   tbb::task_arena arena(2);  // at most two threads, the calling one included
//   arena.execute([&] { tessel_fft::quillFFT1D<double, tessel_fft::c2c>(context, cache, in, out, ...); });
class fftwContext {
 public:
  enum EmbedStyleType : std::uint32_t { EMBED_COMPACT = 0, EMBED_FULL_LENGTH = 1 };

  // Planning strategy chosen by transform size: FFTW_MEASURE up to 8192 points, FFTW_ESTIMATE above.
  TESSEL_FFT_API static const std::uint32_t TS_FFTW_HYBRID;

  // One thread, chunks of 4, FFTW_ESTIMATE, compact embedding, planning must not overwrite.
  TESSEL_FFT_API fftwContext();
  // The chunk size is always 4 here; change it with setChunkSize.
  TESSEL_FFT_API fftwContext(std::uint64_t numThreads, unsigned planStrategy, EmbedStyleType embedStyle,
                             bool mayOverwrite);
  fftwContext(const fftwContext&) = default;
  TESSEL_FFT_API fftwContext& operator=(const fftwContext& other);
  // Copies; the source stays as it was.
  TESSEL_FFT_API fftwContext& operator=(fftwContext&& other);

  TESSEL_FFT_API std::uint64_t getNumThreads() const;
  TESSEL_FFT_API std::uint64_t getChunkSize() const;
  TESSEL_FFT_API EmbedStyleType getEmbedStyle() const;
  // The stored strategy, possibly TS_FFTW_HYBRID.
  TESSEL_FFT_API unsigned getPlanStrategy() const;
  // The strategy resolved for a transform of `size` points.
  TESSEL_FFT_API unsigned getPlanStrategy(std::uint64_t size) const;
  TESSEL_FFT_API bool mayOverwrite() const;

  // No validation: a chunk size of 0 faults later, in the batch drivers.
  TESSEL_FFT_API void setNumThreads(std::uint64_t numThreads);
  TESSEL_FFT_API void setChunkSize(std::uint64_t chunkSize);
  TESSEL_FFT_API void setPlanStrategy(unsigned planStrategy);
  TESSEL_FFT_API void setEmbedStyle(EmbedStyleType embedStyle);
  TESSEL_FFT_API void setMayOverwrite(bool mayOverwrite);

 private:
  std::uint64_t numThreads_;
  std::uint64_t chunkSize_;
  std::uint32_t planStrategy_;
  EmbedStyleType embedStyle_;
  bool mayOverwrite_;
};

}  // namespace tessel_fft
