// Instruction-set variants of the hot movement kernels, chosen once per process.
#pragma once

#include <cstddef>

namespace tessel_fft::buffering {

// The instruction sets a kernel variant may be written for, in rising order. The build assumes no more
// than x86-64 (baseline); a faster variant only runs where the machine reports its set.
enum class InstructionSet { baseline, avx2, avx512f };

// The best set this machine runs, asked of the CPU once. Any thread.
InstructionSet machineInstructionSet();

// The hot moves of one element type, each the variant of one instruction set; all of them move
// elements bit for bit as the contracts of copy.hpp, transpose.hpp and stream.hpp say.
template <typename T>
struct MoveKernels {
  void (*copy)(T* dst, const T* src, std::size_t n);
  void (*gather)(T* dst, const T* src, std::ptrdiff_t srcStride, std::size_t n);
  void (*scatter)(T* dst, std::ptrdiff_t dstStride, const T* src, std::size_t n);
  void (*gatherRows)(T* const* rows, const T* src, std::ptrdiff_t srcStride, std::size_t cols,
                     std::size_t rowCount);
  void (*scatterColumns)(T* dst, std::ptrdiff_t dstStride, const T* const* columns, std::size_t cols,
                         std::size_t rows);
};

// For every kernel the variant of the best set not above machineInstructionSet() that has one, chosen
// on first use. T is float, double, std::complex<float> or std::complex<double>. Any thread.
template <typename T>
const MoveKernels<T>& moveKernels();

// Copies `bytes` bytes with cache-bypassing stores for the whole lines (see stream.hpp), unfenced.
using StreamBytes = void (*)(char* dst, const char* src, std::size_t bytes);
StreamBytes streamKernel();

}  // namespace tessel_fft::buffering
