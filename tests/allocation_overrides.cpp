// The test executable's own scalable_malloc, scalable_free and fftw_malloc: the library's calls land
// here, blocks come from malloc (so the sanitizers see them), live blocks are counted, and an armed
// countdown makes chosen calls fail.

#include <dlfcn.h>
#include <fftw3.h>
#include <tbb/scalable_allocator.h>

#include <atomic>
#include <cstdlib>

#include "support/allocation_control.hpp"

namespace {

std::atomic<long> liveBlocks{0}, allocationCalls{0}, toSkip{0}, toFail{0}, refused{0};
std::atomic<bool> armed{false};

bool shouldFail() {
  if (!armed.load() || toSkip.fetch_sub(1) > 0) return false;
  const long remaining = toFail.load();
  if (remaining == 0) return false;
  if (remaining > 0) toFail.fetch_sub(1);
  refused.fetch_add(1);
  return true;
}

}  // namespace

extern "C" {

void* scalable_malloc(size_t size) {
  allocationCalls.fetch_add(1);
  if (shouldFail()) return nullptr;
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) liveBlocks.fetch_add(1);
  return block;
}

void scalable_free(void* block) {
  if (block == nullptr) return;
  liveBlocks.fetch_sub(1);
  std::free(block);
}

void* fftw_malloc(size_t size) {
  if (shouldFail()) return nullptr;
  static const auto real = reinterpret_cast<void* (*)(size_t)>(dlsym(RTLD_NEXT, "fftw_malloc"));
  return real(size);
}

}  // extern "C"

namespace tessel_test {

long liveScratchBlocks() { return liveBlocks.load(); }
long scratchAllocationCalls() { return allocationCalls.load(); }

FailAllocations::FailAllocations(long skip, long failCount) {
  toSkip = skip, toFail = failCount, refused = 0, armed = true;
}
FailAllocations::~FailAllocations() { armed = false; }
long FailAllocations::failures() const { return refused.load(); }

}  // namespace tessel_test
