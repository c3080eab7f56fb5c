// The passes of an N-D FFT: which dimension each transforms, of which kind, and between which arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "batch/batch_walk.hpp"

namespace tessel_fft {

// The arrays a pass reads and writes: the caller's input and output, and two of scratch.
enum class NDArray { input, output, first, second };

// One pass: the FFT of `kind` along dimension `axis`, as a batch over the whole array, from `source` to
// `target`, whose sizes in bytes are `sourceBytes` and `targetBytes`.
struct NDPass {
  std::size_t axis;
  int kind;
  BatchShape batch;
  NDArray source;
  NDArray target;
  std::size_t sourceBytes;
  std::size_t targetBytes;
};

// All passes of a call and the scratch they need.
struct NDPasses {
  std::vector<NDPass> passes;
  std::size_t firstBytes = 0;
  std::size_t secondBytes = 0;

  // One line per pass, "axis 1 c2c n=8 input->output", for tests and debugging.
  std::string describe() const;
};

// The passes of an N-D FFT of `kind` (see fftND) with real elements of `realBytes`. The r2c pass comes
// first and the c2r pass last; the c2c passes in between shrink the array before they grow it, so that
// padding happens as late and cutting as early as it can. A pass whose arrays have the same layout works
// in place; the others alternate between the output, where it can hold them, and scratch, ending in the
// output.
NDPasses ndPassesOf(int kind, std::size_t realBytes, const std::uint64_t* lengths,
                    const std::uint64_t* inputExtents, std::size_t ndims, const std::uint64_t* axes,
                    std::size_t naxes);

}  // namespace tessel_fft
