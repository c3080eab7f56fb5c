// The per-call execution context and its planning-strategy rule.
#include "tessel_fft/fftw_context.hpp"

#include <fftw3.h>

namespace tessel_fft {

namespace {
// Above this many points measuring costs more than it saves, for the hybrid strategy.
constexpr std::uint64_t kHybridMeasureLimit = 8192;
}  // namespace

const std::uint32_t fftwContext::TS_FFTW_HYBRID = 0xFFFFFFFFu;

fftwContext::fftwContext() : fftwContext(1, FFTW_ESTIMATE, EMBED_COMPACT, false) {}

fftwContext::fftwContext(std::uint64_t numThreads, unsigned planStrategy, EmbedStyleType embedStyle,
                         bool mayOverwrite)
    : numThreads_(numThreads),
      chunkSize_(4),
      planStrategy_(planStrategy),
      embedStyle_(embedStyle),
      mayOverwrite_(mayOverwrite) {}

fftwContext& fftwContext::operator=(const fftwContext& other) {
  numThreads_ = other.numThreads_;
  chunkSize_ = other.chunkSize_;
  planStrategy_ = other.planStrategy_;
  embedStyle_ = other.embedStyle_;
  mayOverwrite_ = other.mayOverwrite_;
  return *this;
}

fftwContext& fftwContext::operator=(fftwContext&& other) {
  return *this = static_cast<const fftwContext&>(other);
}

std::uint64_t fftwContext::getNumThreads() const { return numThreads_; }
std::uint64_t fftwContext::getChunkSize() const { return chunkSize_; }
fftwContext::EmbedStyleType fftwContext::getEmbedStyle() const { return embedStyle_; }
unsigned fftwContext::getPlanStrategy() const { return planStrategy_; }

unsigned fftwContext::getPlanStrategy(std::uint64_t size) const {
  if (planStrategy_ != TS_FFTW_HYBRID) return planStrategy_;
  return size > kHybridMeasureLimit ? FFTW_ESTIMATE : FFTW_MEASURE;
}

bool fftwContext::mayOverwrite() const { return mayOverwrite_; }

void fftwContext::setNumThreads(std::uint64_t numThreads) { numThreads_ = numThreads; }
void fftwContext::setChunkSize(std::uint64_t chunkSize) { chunkSize_ = chunkSize; }
void fftwContext::setPlanStrategy(unsigned planStrategy) { planStrategy_ = planStrategy; }
void fftwContext::setEmbedStyle(EmbedStyleType embedStyle) { embedStyle_ = embedStyle; }
void fftwContext::setMayOverwrite(bool mayOverwrite) { mayOverwrite_ = mayOverwrite; }

}  // namespace tessel_fft
