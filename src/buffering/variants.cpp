// Where hot movement kernels' instruction-set variants are chosen (not yet the streaming and conjugating).
#include "buffering/variants.hpp"

#include <complex>

#include "backend/precision.hpp"
#include "buffering/move_loops.hpp"

namespace tessel_fft::buffering {

namespace {

// The variants of one element type, best set first: a set that has no variant of a kernel yet leaves
// its entry null, and the next set down serves. The baseline row is complete.
template <typename T>
struct VariantRow {
  InstructionSet set;
  MoveKernels<T> kernels;
};

template <typename T>
constexpr VariantRow<T> kVariants[] = {
    {InstructionSet::baseline,
     {&detail::copyLoop<T>, &detail::gatherLoop<T, noop>, &detail::scatterLoop<T, noop>,
      &detail::gatherRowsLoop<T>, &detail::scatterColumnsLoop<T>}},
};

// Fills each entry from the best row the machine runs that has it.
template <typename T>
MoveKernels<T> chooseKernels() {
  MoveKernels<T> chosen{};
  const InstructionSet machine = machineInstructionSet();
  const auto take = [](auto& entry, auto offered) {
    if (entry == nullptr) entry = offered;
  };
  for (const VariantRow<T>& row : kVariants<T>) {
    if (row.set > machine) continue;
    take(chosen.copy, row.kernels.copy);
    take(chosen.gather, row.kernels.gather);
    take(chosen.scatter, row.kernels.scatter);
    take(chosen.gatherRows, row.kernels.gatherRows);
    take(chosen.scatterColumns, row.kernels.scatterColumns);
  }
  return chosen;
}

}  // namespace

// Asked directly, not through ifunc resolvers, which under ThreadSanitizer run before its runtime is up.
InstructionSet machineInstructionSet() {
  static const InstructionSet machine = [] {
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return InstructionSet::avx512f;
    if (__builtin_cpu_supports("avx2")) return InstructionSet::avx2;
#endif
    return InstructionSet::baseline;
  }();
  return machine;
}

template <typename T>
const MoveKernels<T>& moveKernels() {
  static const MoveKernels<T> chosen = chooseKernels<T>();
  return chosen;
}

// One variant yet, the baseline one.
StreamBytes streamKernel() { return &detail::streamBytesLoop; }

#define TESSEL_MOVE_KERNELS(T) template decltype(moveKernels<T>) moveKernels<T>;
TESSEL_FOR_EACH_ELEMENT(TESSEL_MOVE_KERNELS)

}  // namespace tessel_fft::buffering
