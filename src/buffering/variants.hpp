// Instruction-set variants of the hot plain loops, moves and scaling, chosen once per process.
#pragma once

#include <cstddef>
#include <iterator>

namespace tessel_fft::buffering {

// The instruction sets a kernel variant may be written for, in rising order. The build assumes no more
// than x86-64 (baseline); a faster variant only runs where the machine reports its set.
enum class InstructionSet { baseline, avx2, avx512f };

// The best set this machine runs, asked of the CPU once. Any thread.
InstructionSet machineInstructionSet();

// The hot loops of one element type, each the variant of one instruction set. The moves move elements
// bit for bit as the contracts of copy.hpp, transpose.hpp, stream.hpp and hermitian.hpp say; the
// conjugating ones are there for complex T only and the scaling ones for real T only, null for the others.
template <typename T>
struct Kernels {
  void (*copy)(T* dst, const T* src, std::size_t n);
  void (*gather)(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n);
  void (*scatter)(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n);
  void (*gatherRows)(T* const* rows, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                     std::size_t rowCount);
  void (*scatterColumns)(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                         std::size_t rows);
  // Cache-bypassing stores for the whole lines (see stream.hpp), unfenced.
  void (*stream)(T* dst, const T* src, std::size_t n);
  // scatter and scatterColumns with every element conjugated; dst[i] = conj(src[i]) for i < n, and the
  // reversing mirror of a spectrum, dst[i] = conj(src[-i]).
  void (*conjugateScatter)(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n);
  void (*conjugateScatterColumns)(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                                  std::size_t rows);
  void (*conjugateCopy)(T* dst, const T* src, std::size_t n);
  void (*mirror)(T* dst, const T* src, std::size_t n);
  // first[i] *= factor, and first[i] /= divisor, for i < count.
  void (*multiply)(T* first, std::size_t count, T factor);
  void (*divide)(T* first, std::size_t count, T divisor);
};

// The entry of the best row whose set the machine runs and that has one (`entryOf(row)` not null), from
// rows listed best set first, each with its `set`; null if none has. Every table of variants chooses
// through this. Any thread.
template <typename Rows, typename EntryOf>
auto bestVariant(const Rows& rows, const EntryOf& entryOf) -> decltype(entryOf(*std::begin(rows))) {
  const InstructionSet machine = machineInstructionSet();
  for (const auto& row : rows) {
    if (row.set <= machine && entryOf(row) != nullptr) return entryOf(row);
  }
  return nullptr;
}

// For every loop the variant of the best set not above machineInstructionSet() that has one, chosen on
// first use. T is float, double, std::complex<float> or std::complex<double>. Any thread.
template <typename T>
const Kernels<T>& kernels();

}  // namespace tessel_fft::buffering
