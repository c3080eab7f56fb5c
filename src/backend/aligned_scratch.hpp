// Scratch memory: every working buffer of the library comes from here.
#pragma once

#include <cstdint>

namespace tessel_fft {

// FFTW binds a plan to the address of its arrays modulo this: its new-array execute is valid on other
// arrays only if they have the same residue. All scratch buffers are aligned to it.
inline constexpr std::uint64_t kPlanAlignment = 16;

inline std::uint64_t addressResidue(const void* address) {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(address) % kPlanAlignment);
}

// A scope-bound buffer of raw memory whose usable pointer has a chosen residue modulo 16, so that a
// plan measured on it is valid for a caller's buffer with the same residue. Not copyable.
class AlignedScratch {
 public:
  // Throws std::runtime_error("FFTW:nomem") if size + 16 overflows or the allocator fails.
  // `offset` is the wanted residue, 0..15.
  AlignedScratch(std::uint64_t size, std::uint64_t offset);
  ~AlignedScratch();
  AlignedScratch(const AlignedScratch&) = delete;
  AlignedScratch& operator=(const AlignedScratch&) = delete;

  // size usable bytes, 1 to 16 bytes after the raw allocation (never at its start), with residue
  // `offset` modulo 16. Never null for a constructed buffer.
  void* get() const;

 private:
  std::uint64_t offset_;
  void* raw_;
};

// All working buffers: 16-byte aligned buffers of `size` bytes from the scalable allocator, or null if
// that fails or size + 16 overflows. Release with alignedScratchFree, which accepts null.
void* alignedScratchAlloc(std::uint64_t size);
void alignedScratchFree(void* buffer);

}  // namespace tessel_fft
