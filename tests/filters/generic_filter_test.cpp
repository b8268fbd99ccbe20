#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

using Weights = std::vector<float>;

/// The centre pixel of a 3 by 3 image of 10, 20, ... 90. Kernels of 3 and of 4 rows both stand for 3.
int centre_of_ramp(Weights weights, float lower, float upper, int mode, int kernel_stride = 3) {
  Picture src = Picture::grey({{10, 20, 30}, {40, 50, 60}, {70, 80, 90}}), dst(3, 3, 3);
  auto out = dst.mat();
  EXPECT_EQ(zeb::generic_filter(out, src.mat(), {weights.data(), 3, kernel_stride, 4}, lower, upper, mode), 1);
  return dst(1, 1);
}

TEST(GenericFilter, StatisticsOfAHandfulOfPixels) {
  const Weights ones(9, 1.0f);
  EXPECT_EQ(centre_of_ramp(ones, 0.0f, 1.0f, 0), 50) << "mean";
  EXPECT_EQ(centre_of_ramp({4, 0, 0, 0, 0, 0, 0, 0, 1}, 0.0f, 1.0f, 0), 26) << "(4 * 10 + 90) / 5";
  // The band of 0.001 behind one half of 9 lies in the fifth bin; rounding of such a narrow band costs some greys.
  EXPECT_NEAR(centre_of_ramp(ones, 0.5f, 0.5f, 0), 50, 1) << "median";
  EXPECT_EQ(centre_of_ramp(ones, 0.0f, 1.0f, 1), 255) << "256 greys wide";
  // From one half into bin 20 to one half into bin 80: 61 bins less one for the two halves.
  EXPECT_NEAR(centre_of_ramp(ones, 1.5f / 9, 7.5f / 9, -3), 60, 1) << "quantile spread";
  // A pitch of 4 sums up 1 + 2 + 3, 5 + 6 + 7, 9 + 10 + 11 = 54; the weights applied are 1 to 9:
  // (1 * 10 + 2 * 20 + ... + 9 * 90) / 54 = 2850 / 54
  EXPECT_EQ(centre_of_ramp({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 0.0f, 1.0f, 0, 4), 52);
}

TEST(GenericFilter, KernelsWithoutAPositiveSumAreLinear) {
  const auto centre = [](Weights weights) { return centre_of_ramp(weights, 0.4f, 0.4f, 0); };  // not read
  EXPECT_EQ(centre({0, 0, 0, -1, 0, 1, 0, 0, 0}), 20);
  EXPECT_EQ(centre({0, 0, 0, 1, 0, -1, 0, 0, 0}), 0) << "-20";
  EXPECT_EQ(centre({-9, 0, 0, 0, 0, 0, 0, 0, 9}), 255) << "720";
  EXPECT_EQ(centre({0, 0, 0, 0, 0.0005f, 0, 0, 0, 0}), 0) << "0.0005 * 50, not normalised";
  EXPECT_EQ(centre_of_ramp({0, 0, 0, 0, 0.0015f, 0, 0, 0, 0}, 0.0f, 1.0f, 0), 50) << "normalised";
}

TEST(GenericFilter, OneWeightMovesTheImageAndTheBorderStays) {
  for_each_trial(150, 24, 12, [](Trial t) {
    const int half_width = pick(t.engine, 0, 3), half_height = pick(t.engine, 0, 2), columns = 2 * half_width + 1;
    const int dx = pick(t.engine, -half_width, half_width), dy = pick(t.engine, -half_height, half_height);
    Weights kernel(static_cast<std::size_t>(columns * (2 * half_height + 1)));
    kernel[static_cast<std::size_t>((dy + half_height) * columns + dx + half_width)] = 0.75f;
    bool fits = false;
    Picture expected = t.dst;
    expected.fill([&](int x, int y) -> int {
      const bool in_row = half_width <= x && x < t.g.width - half_width;
      if (!in_row || y < half_height || y >= t.g.height - half_height) return t.dst(x, y);
      fits = true;
      return t.src(x + dx, y + dy);
    });
    EXPECT_EQ(zeb::iGenBMFilter(t.dst.data(), t.src.data(), t.g.width, t.g.stride, t.g.height, kernel.data(),
                                half_width, columns, half_height, 0.0f, 1.0f, 0),
              fits ? 1 : 0);
    ASSERT_TRUE(same(expected, t.dst));
  });
}

TEST(GenericFilter, BadKernels) {
  const Picture src(5, 5, 5, 9), before(5, 5, 5, 3);
  Picture dst = before;
  Weights kernel(9, 1.0f);
  const auto run = [&](const float* weights, int half_width, int half_height, float fraction = 0.5f, int mode = 0) {
    return zeb::iGenBMFilter(dst.data(), src.data(), 5, 5, 5, weights, half_width, 3, half_height, fraction, fraction,
                             mode);
  };
  EXPECT_EQ(run(kernel.data(), -1, 1), 0);
  EXPECT_EQ(run(kernel.data(), 1, -1), 0);
  EXPECT_EQ(run(kernel.data(), INT_MAX, INT_MAX), 0);
  EXPECT_EQ(run(nullptr, 0, 0), 0);
  EXPECT_EQ(dst, before);
  // No number at all in weights and fractions: some result, inside the image.
  for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity(), -1e30f, 1e30f})
    for (const int mode : {0, 1}) {
      EXPECT_EQ(run(kernel.data(), 1, 1, odd, mode), 1);
      EXPECT_EQ(run(Weights(9, odd).data(), 1, 1, odd, mode), 1);
    }
}

}  // namespace
