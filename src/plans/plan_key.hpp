// Plan keys: which problem a cached plan may be reused for.
#pragma once

#include <cstdint>

#include "backend/aligned_scratch.hpp"
#include "families.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/plan_cache.hpp"

namespace tessel_fft {

// The key of a problem: sizes as given, flags packed by `layout` (a family's kKeyLayout). Note the deliberate
// asymmetry: the embed bit tests the style for equality with EMBED_FULL_LENGTH, while plan distances test it
// for non-zero.
inline fftwPlanKey makePlanKey(const PlanKeyLayout& layout, std::uint64_t size0, std::uint64_t rank,
                               std::uint64_t size1, int signOrDirection, const void* in, const void* out,
                               const fftwContext& context) {
  std::uint64_t flags = addressResidue(in) << layout.inputResidue;
  flags |= addressResidue(out) << layout.outputResidue;
  flags |= std::uint64_t{signOrDirection == 1} << layout.inverse;
  flags |= std::uint64_t{context.getEmbedStyle() == fftwContext::EMBED_FULL_LENGTH} << layout.fullEmbed;
  flags |= std::uint64_t{in == out} << layout.inPlace;
  flags |= std::uint64_t{context.getNumThreads() > 1} << layout.threaded;
  return fftwPlanKey{size0, rank, size1, flags};
}

}  // namespace tessel_fft
