// The order of an N-D FFT's passes and the arrays they run between.
#include "fft/fft_passes.hpp"

#include <algorithm>
#include <functional>
#include <numeric>

#include "backend/precision.hpp"
#include "batch/policy.hpp"
#include "tessel_fft/fft_kinds.hpp"

namespace tessel_fft {

namespace {

std::size_t productOf(const std::vector<std::size_t>& extents, std::size_t begin, std::size_t end) {
  return std::accumulate(extents.begin() + begin, extents.begin() + end, std::size_t{1}, std::multiplies<>());
}

const char* nameOf(NDArray array) {
  switch (array) {
    case NDArray::input:
      return "input";
    case NDArray::output:
      return "output";
    case NDArray::first:
      return "first";
    case NDArray::second:
      return "second";
  }
  return "?";
}

}  // namespace

bool wholeArrayServes(int kind, const std::uint64_t* lengths, const std::uint64_t* inputExtents,
                      std::size_t ndims, const std::uint64_t* axes, std::size_t naxes) {
  if (ndims < 2 || naxes != ndims) return false;
  if (kind != c2c && axes[0] != 0) return false;
  std::uint64_t points = 1;
  for (std::size_t d = 0; d < ndims; ++d) {
    const std::uint64_t n = lengths[d];
    if (inputExtents[d] != (kind == c2r && d == 0 ? oneSidedLength(n) : n)) return false;
    points *= n;
  }
  return points >= kWholeArrayMinPoints && points <= kWholeArrayMaxPoints;
}

std::string NDPasses::describe() const {
  static const char* const kKinds[] = {"r2c", "c2r", "c2c"};
  std::string text = wholeArray ? "whole array, else:\n" : "";
  for (std::size_t p = 0; p < passes.size(); ++p) {
    const NDPass& pass = passes[p];
    for (const NDSlabGroup& group : slabGroups)
      if (group.firstPass == p) text += "in " + std::to_string(group.steps) + " steps of slabs:\n";
    text += "axis " + std::to_string(pass.axis) + " " + kKinds[pass.kind] +
            " n=" + std::to_string(pass.batch.length) + " " + nameOf(pass.source) + "->" +
            nameOf(pass.target) + "\n";
  }
  return text;
}

NDPasses ndPassesOf(int kind, std::size_t realBytes, const std::uint64_t* lengths,
                    const std::uint64_t* inputExtents, std::size_t ndims, const std::uint64_t* axes,
                    std::size_t naxes) {
  NDPasses result;
  if (naxes == 0) return result;
  result.wholeArray = wholeArrayServes(kind, lengths, inputExtents, ndims, axes, naxes);
  const bool real = kind != c2c;
  // Shrinking passes first, growing ones last, each group in the caller's order.
  std::vector<std::size_t> order(axes + (real ? 1 : 0), axes + naxes);
  const auto growth = [&](std::size_t axis) {
    return lengths[axis] < inputExtents[axis] ? 0 : lengths[axis] == inputExtents[axis] ? 1 : 2;
  };
  // Leading dimensions first, or for c2r last, next to its own pass on axes[0].
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    if (growth(a) != growth(b)) return growth(a) < growth(b);
    return kind == c2r ? a > b : a < b;
  });
  if (kind == r2c) order.insert(order.begin(), axes[0]);
  if (kind == c2r) order.push_back(axes[0]);

  std::vector<std::size_t> extents(inputExtents, inputExtents + ndims);
  const std::size_t complexBytes = 2 * realBytes;
  std::size_t elementBytes = kind == r2c ? realBytes : complexBytes;
  std::vector<std::vector<std::size_t>> extentsBefore;
  for (const std::size_t axis : order) {
    extentsBefore.push_back(extents);
    const int passKind = kind == r2c && axis == order.front()  ? r2c
                         : kind == c2r && axis == order.back() ? c2r
                                                               : c2c;
    const std::size_t n = lengths[axis];
    const std::size_t stride = productOf(extents, 0, axis);
    const std::size_t vectors = stride * productOf(extents, axis + 1, ndims);
    NDPass pass{axis,
                passKind,
                {stride, n, extents[axis], vectors},
                NDArray::input,
                NDArray::output,
                elementBytes * productOf(extents, 0, ndims),
                0};
    extents[axis] = passKind == r2c ? oneSidedLength(n) : n;
    elementBytes = passKind == c2r ? realBytes : complexBytes;
    pass.targetBytes = elementBytes * productOf(extents, 0, ndims);
    result.passes.push_back(pass);
  }

  // Targets from the last pass back: a pass reads what the one before wrote, in place where the layout
  // stays (same extents and element type), else from another array. The output serves wherever it is
  // large enough; scratch takes the rest.
  std::vector<NDPass>& passes = result.passes;
  const std::size_t outputBytes = passes.back().targetBytes;
  for (std::size_t p = passes.size() - 1; p > 0; --p) {
    NDPass& before = passes[p - 1];
    const NDPass& after = passes[p];
    const bool inPlace = after.kind == c2c && after.batch.inputLength == after.batch.length;
    NDArray target = after.target;
    if (!inPlace) {
      const bool outputHolds = before.targetBytes <= outputBytes && after.target != NDArray::output;
      target = outputHolds                      ? NDArray::output
               : after.target == NDArray::first ? NDArray::second
                                                : NDArray::first;
    }
    before.target = target;
    if (target == NDArray::first) result.firstBytes = std::max(result.firstBytes, before.targetBytes);
    if (target == NDArray::second) result.secondBytes = std::max(result.secondBytes, before.targetBytes);
    passes[p].source = target;
  }

  // Runs of passes over exactly the dimensions before some dimension d, with more than one slab beyond it.
  for (std::size_t first = 0; first < passes.size();) {
    std::size_t highest = 0, best = first;
    for (std::size_t end = first; end < passes.size(); ++end) {
      highest = std::max(highest, passes[end].axis);
      if (highest == end - first && highest + 1 < ndims) best = end + 1;
    }
    // The passes of a run leave the dimensions after it as they are.
    const std::size_t leading = best - first;
    const std::size_t slabs = leading >= 2 ? productOf(extentsBefore[first], leading, ndims) : 0;
    std::size_t slabBytes = 0;
    for (std::size_t p = first; slabs != 0 && p < best; ++p)
      slabBytes = std::max({slabBytes, passes[p].sourceBytes / slabs, passes[p].targetBytes / slabs});
    const std::size_t steps = leading >= 2 ? slabStepsOf(slabs, slabBytes) : 0;
    if (steps != 0) {
      result.slabGroups.push_back({first, leading, steps});
      first = best;
    } else {
      ++first;
    }
  }
  return result;
}

}  // namespace tessel_fft
