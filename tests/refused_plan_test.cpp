// Problems FFTW has no plan for end the call with FFTW's failure before anything runs: DCT-I of one point
// on both paths, and in-place r2c and c2r of one point with several vectors, in one or two dimensions.
// Planning alone stays quiet.

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/allocation_control.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::fftwContext;

TEST(RefusedPlan, EndsTheCallBeforeAnythingRuns) {
  const fftwContext direct(1, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  const fftwContext pooled(2, FFTW_ESTIMATE, fftwContext::EMBED_FULL_LENGTH, false);
  const std::vector<double> in(100000, 1.0);
  std::vector<double> out(in.size(), 7.0), data(8, 1.0);
  auto* pairs = reinterpret_cast<double(*)[2]>(data.data());
  const std::function<void()> refused[] = {
      [&] {
        tessel_fft::quillDCST1D<double, 0>(direct, nullptr, in.data(), out.data(), 1, 1, 1, 9, -1, false);
      },
      [&] {
        tessel_fft::quillDCST1D<double, 0>(pooled, nullptr, in.data(), out.data(), 1, 1, 1, in.size(), 1,
                                           true);
      },
      [&] { tessel_fft::interleavedFFT1D<double, 0>(direct, nullptr, data.data(), pairs, 1, 2, -1, false); },
      [&] { tessel_fft::interleavedFFT1D<double, 1>(direct, nullptr, pairs, data.data(), 1, 3, 1, false); },
      [&] { tessel_fft::interleavedFFT2D<double, 0>(direct, nullptr, data.data(), pairs, 1, 2, -1, false); },
      [&] { tessel_fft::interleavedFFT2D<double, 1>(direct, nullptr, pairs, data.data(), 1, 2, 1, false); }};
  for (const auto& call : refused) EXPECT_EQ(tessel_test::errorText(call), "FFTWAssertionFailure");
  EXPECT_EQ(out, std::vector<double>(in.size(), 7.0));
  EXPECT_EQ(tessel_test::errorText([&] {
              tessel_fft::interleavedFFT1D<double, 0>(direct, nullptr, data.data(), pairs, 1, 2, -1, true);
            }),
            "");
}

}  // namespace
