// Where the instruction-set variants of the hot loops are listed and chosen.
#include "buffering/variants.hpp"

#include <complex>
#include <type_traits>

#include "backend/precision.hpp"
#include "buffering/move_loops.hpp"

namespace tessel_fft::buffering {

namespace {

// Written once, compiled into each set's variant by inlining into a function built for that set. The
// build's own x86-64 has two doubles to a register: dividing 32768 in-cache doubles took 20 us there
// and 5 us with AVX-512 on a 2-core AMD EPYC (family 26), multiplying them 5.4 against 2.6 us.
template <typename Real>
[[gnu::always_inline]] inline void multiplyLoop(Real* first, std::size_t count, Real factor) {
  for (std::size_t i = 0; i < count; ++i) first[i] *= factor;
}

template <typename Real>
[[gnu::always_inline]] inline void divideLoop(Real* first, std::size_t count, Real divisor) {
  for (std::size_t i = 0; i < count; ++i) first[i] /= divisor;
}

template <typename T>
constexpr Kernels<T> baselineKernels() {
  Kernels<T> row{};
  row.copy = &detail::copyLoop<T>;
  row.gather = &detail::gatherLoop<T, noop>;
  row.scatter = &detail::scatterLoop<T, noop>;
  row.gatherRows = &detail::gatherRowsLoop<T>;
  row.scatterColumns = &detail::scatterColumnsLoop<T>;
  row.stream = &detail::streamLoop<T>;
  if constexpr (std::is_floating_point_v<T>) {
    row.multiply = &multiplyLoop<T>;
    row.divide = &divideLoop<T>;
  } else {
    row.conjugateScatter = &detail::scatterLoop<T, conjugate>;
    row.conjugateScatterColumns = &detail::scatterColumnsLoop<T, conjugate>;
    row.conjugateCopy = &detail::conjugateLoop<T, 1>;
    row.mirror = &detail::conjugateLoop<T, -1>;
  }
  return row;
}

// Only the scaling has wider variants: the moves, built for x86-64-v3 or -v4 as a whole, moved data no
// faster on that machine, in the caches or from memory; loads and stores bound them, not the registers.
#if defined(__x86_64__) && defined(__GNUC__)
#define TESSEL_SCALING_VARIANT(name, set)                                                         \
  template <typename Real>                                                                        \
  __attribute__((target(set))) void multiply##name(Real* first, std::size_t count, Real factor) { \
    multiplyLoop(first, count, factor);                                                           \
  }                                                                                               \
  template <typename Real>                                                                        \
  __attribute__((target(set))) void divide##name(Real* first, std::size_t count, Real divisor) {  \
    divideLoop(first, count, divisor);                                                            \
  }
TESSEL_SCALING_VARIANT(Avx2, "avx2")
TESSEL_SCALING_VARIANT(Avx512, "avx512f")

template <typename T>
constexpr Kernels<T> scalingKernels(InstructionSet set) {
  Kernels<T> row{};
  if constexpr (std::is_floating_point_v<T>) {
    row.multiply = set == InstructionSet::avx512f ? &multiplyAvx512<T> : &multiplyAvx2<T>;
    row.divide = set == InstructionSet::avx512f ? &divideAvx512<T> : &divideAvx2<T>;
  }
  return row;
}
#endif

// The variants of one element type, best set first: a set that has no variant of a loop leaves its entry
// null, and the next set down serves. The baseline row has every loop of the element type.
template <typename T>
struct VariantRow {
  InstructionSet set;
  Kernels<T> kernels;
};

template <typename T>
constexpr VariantRow<T> kVariants[] = {
#if defined(__x86_64__) && defined(__GNUC__)
    {InstructionSet::avx512f, scalingKernels<T>(InstructionSet::avx512f)},
    {InstructionSet::avx2, scalingKernels<T>(InstructionSet::avx2)},
#endif
    {InstructionSet::baseline, baselineKernels<T>()},
};

template <typename T, typename Entry>
Entry best(Entry Kernels<T>::*entry) {
  return bestVariant(kVariants<T>, [entry](const VariantRow<T>& row) { return row.kernels.*entry; });
}

template <typename T>
Kernels<T> chooseKernels() {
  using K = Kernels<T>;
  return {best(&K::copy),
          best(&K::gather),
          best(&K::scatter),
          best(&K::gatherRows),
          best(&K::scatterColumns),
          best(&K::stream),
          best(&K::conjugateScatter),
          best(&K::conjugateScatterColumns),
          best(&K::conjugateCopy),
          best(&K::mirror),
          best(&K::multiply),
          best(&K::divide)};
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
const Kernels<T>& kernels() {
  static const Kernels<T> chosen = chooseKernels<T>();
  return chosen;
}

#define TESSEL_KERNELS(T) template decltype(kernels<T>) kernels<T>;
TESSEL_FOR_EACH_ELEMENT(TESSEL_KERNELS)

}  // namespace tessel_fft::buffering
