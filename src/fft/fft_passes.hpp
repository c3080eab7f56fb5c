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

// Consecutive passes over the leading dimensions of the array that run slab by slab: each slab (one
// element of the dimensions after them) goes through all of them while it is in the caches, instead of
// each pass sweeping the whole array through memory.
struct NDSlabGroup {
  std::size_t firstPass;
  std::size_t passCount;
  std::size_t steps;  // the parts the arrays are cut into, each of one or several whole slabs
};

// All passes of a call and the scratch they need; and whether the call first tries one FFTW plan over
// the whole arrays (see wholeArrayServes), which falls back to the passes where FFTW has none.
struct NDPasses {
  bool wholeArray = false;
  std::vector<NDPass> passes;
  std::vector<NDSlabGroup> slabGroups;
  std::size_t firstBytes = 0;
  std::size_t secondBytes = 0;

  // One line per pass, "axis 1 c2c n=8 input->output", for tests and debugging.
  std::string describe() const;
};

// Whether one FFTW plan over every dimension serves the call: every dimension transformed, r2c and c2r
// halving dimension 0 and nothing cut or padded, of a size in points between kWholeArrayMinPoints and
// kWholeArrayMaxPoints.
bool wholeArrayServes(int kind, const std::uint64_t* lengths, const std::uint64_t* inputExtents,
                      std::size_t ndims, const std::uint64_t* axes, std::size_t naxes);

// The passes of an N-D FFT of `kind` (see fftND) with real elements of `realBytes`. The r2c pass comes
// first and the c2r pass last; the c2c passes in between shrink the array before they grow it, so that
// padding happens as late and cutting as early as it can, and among passes that keep the size, those of
// the leading dimensions lie next to each other, beside the r2c or c2r pass, so that they can run slab by
// slab. A pass whose arrays have the same layout works
// in place; the others alternate between the output, where it can hold them, and scratch, ending in the
// output.
NDPasses ndPassesOf(int kind, std::size_t realBytes, const std::uint64_t* lengths,
                    const std::uint64_t* inputExtents, std::size_t ndims, const std::uint64_t* axes,
                    std::size_t naxes);

}  // namespace tessel_fft
