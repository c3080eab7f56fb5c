// Aligned scratch buffers over the scalable allocator.
#include "backend/aligned_scratch.hpp"

#include <tbb/scalable_allocator.h>

#include <cstring>
#include <limits>

#include "backend/errors.hpp"

namespace tessel_fft {

namespace {

bool paddedSizeOverflows(std::uint64_t size) {
  return size > std::numeric_limits<std::uint64_t>::max() - kPlanAlignment;
}

}  // namespace

AlignedScratch::AlignedScratch(std::uint64_t size, std::uint64_t offset) : offset_(offset), raw_(nullptr) {
  if (paddedSizeOverflows(size)) throwNoMemory();
  raw_ = scalable_malloc(static_cast<std::size_t>(size + kPlanAlignment));
  if (raw_ == nullptr) throwNoMemory();
}

AlignedScratch::~AlignedScratch() { scalable_free(raw_); }

void* AlignedScratch::get() const {
  const auto raw = reinterpret_cast<std::uintptr_t>(raw_);
  const std::uintptr_t residue = raw % kPlanAlignment;
  // Step past raw even when it already has the wanted residue: the usable buffer never starts at raw.
  std::uintptr_t usable = raw + offset_ - residue;
  if (residue >= offset_) usable += kPlanAlignment;
  return reinterpret_cast<void*>(usable);
}

void* alignedScratchAlloc(std::uint64_t size) {
  if (paddedSizeOverflows(size)) return nullptr;
  void* raw = scalable_malloc(static_cast<std::size_t>(size + kPlanAlignment));
  if (raw == nullptr) return nullptr;
  const auto rawAddress = reinterpret_cast<std::uintptr_t>(raw);
  const std::uintptr_t aligned = (rawAddress + kPlanAlignment) & ~(kPlanAlignment - 1);
  // The allocator aligns to at least 8, so the word below the buffer lies inside the allocation.
  std::memcpy(reinterpret_cast<void*>(aligned - sizeof(void*)), &raw, sizeof(void*));
  return reinterpret_cast<void*>(aligned);
}

void alignedScratchFree(void* buffer) {
  if (buffer == nullptr) return;
  void* raw;
  std::memcpy(&raw, static_cast<char*>(buffer) - sizeof(void*), sizeof(void*));
  scalable_free(raw);
}

}  // namespace tessel_fft
