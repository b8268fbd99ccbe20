#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

using zeb::Mat;
using zeb::testing::FailingAllocations;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

struct Kernel {
  std::vector<float> weights;
  int width, stride, height;
  Mat<float> mat() { return {weights.data(), width, stride, height}; }
};

Kernel ones(int width, int height) {
  return {std::vector<float>(static_cast<std::size_t>(width * height), 1.0f), width, width, height};
}

/// The centre pixel of a 3 by 3 image of 10, 20, ... 90; the border must stay at 7.
int centre_of_ramp(Kernel kernel, float lower, float upper, int mode) {
  Picture src = Picture::grey({{10, 20, 30}, {40, 50, 60}, {70, 80, 90}}), dst(3, 3, 3, 7);
  auto out = dst.mat();
  EXPECT_EQ(zeb::generic_filter(out, src.mat(), kernel.mat(), lower, upper, mode), 1);
  const int centre = dst(1, 1);
  dst(1, 1) = 7;
  EXPECT_EQ(dst, Picture(3, 3, 3, 7));
  return centre;
}

TEST(GenericFilter, StatisticsOfAHandfulOfPixels) {
  EXPECT_EQ(centre_of_ramp(ones(3, 3), 0.0f, 1.0f, 0), 50) << "mean";
  EXPECT_EQ(centre_of_ramp({{4, 0, 0, 0, 0, 0, 0, 0, 1}, 3, 3, 3}, 0.0f, 1.0f, 0), 26) << "(4 * 10 + 90) / 5";
  // The band of 0.001 behind one half of 9 lies in the fifth bin; rounding of such a narrow band costs some greys.
  EXPECT_NEAR(centre_of_ramp(ones(3, 3), 0.5f, 0.5f, 0), 50, 1) << "median";
  EXPECT_NEAR(centre_of_ramp(ones(3, 3), 0.95f, 0.95f, 0), 90, 1) << "rank";
  EXPECT_EQ(centre_of_ramp(ones(3, 3), 0.0f, 1.0f, 1), 255) << "256 greys wide";
  // From one half into bin 20 to one half into bin 80: 61 bins less one for the two halves.
  EXPECT_NEAR(centre_of_ramp(ones(3, 3), 1.5f / 9, 7.5f / 9, -3), 60, 1) << "quantile spread";
}

TEST(GenericFilter, KernelsWithoutAPositiveSumAreLinear) {
  const float fractions_that_are_not_read = 0.4f;
  const auto centre = [&](Kernel kernel) {
    return centre_of_ramp(std::move(kernel), fractions_that_are_not_read, fractions_that_are_not_read, 0);
  };
  EXPECT_EQ(centre({{0, 0, 0, -1, 0, 1, 0, 0, 0}, 3, 3, 3}), 20);
  EXPECT_EQ(centre({{0, 0, 0, 1, 0, -1, 0, 0, 0}, 3, 3, 3}), 0) << "-20";
  EXPECT_EQ(centre({{-9, 0, 0, 0, 0, 0, 0, 0, 9}, 3, 3, 3}), 255) << "720";
  EXPECT_EQ(centre({{0, 0, 0, 0, 0.0005f, 0, 0, 0, 0}, 3, 3, 3}), 0) << "0.0005 * 50, not normalised";
  EXPECT_EQ(centre_of_ramp({{0, 0, 0, 0, 0.002f, 0, 0, 0, 0}, 3, 3, 3}, 0.0f, 1.0f, 0), 50) << "normalised";
}

TEST(GenericFilter, SumAndWeightsHaveTheirOwnKernelPitch) {
  // A pitch of 4 sums up 1 + 2 + 3, 5 + 6 + 7, 9 + 10 + 11 = 54; the weights applied are 1 to 9.
  const Kernel pitched{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 3, 4, 3};
  // (1 * 10 + 2 * 20 + ... + 9 * 90) / 54 = 2850 / 54
  EXPECT_EQ(centre_of_ramp(pitched, 0.0f, 1.0f, 0), 52);
}

TEST(GenericFilter, EveryPixelByItsOwnHistogram) {
  std::mt19937 engine(1);
  for (int i = 0; i < 150; ++i) {
    const int width = pick(engine, 1, 24), height = pick(engine, 1, 12), stride = width + pick(engine, 0, 9);
    const int half_width = pick(engine, 0, 3), half_height = pick(engine, 0, 2), cols = 2 * half_width + 1;
    std::vector<float> kernel(static_cast<std::size_t>(cols * (2 * half_height + 1)));
    for (float& w : kernel) w = static_cast<float>(pick(engine, i % 4 == 0 ? -10 : 1, 30)) / 7.0f;
    const float lower = static_cast<float>(pick(engine, 0, 10)) / 20.0f;
    const float upper = static_cast<float>(pick(engine, 0, 20)) / 20.0f;
    const int mode = pick(engine, 0, 1);
    const Picture src = Picture::random(engine, width, stride, height);
    Picture dst = Picture::random(engine, width, stride, height), expected(dst);

    float sum = 0.0f;
    for (const float w : kernel) sum += w;
    const bool linear = static_cast<double>(sum) < 0.001;
    for (int y = half_height; y < height - half_height; ++y)
      for (int x = half_width; x < width - half_width; ++x) {
        std::vector<float> hist(256);
        auto weight = kernel.begin();
        for (int dy = -half_height; dy <= half_height; ++dy)
          for (int dx = -half_width; dx <= half_width; ++dx) hist[src(x + dx, y + dy)] += *weight++;
        const auto statistic = [&](float total, float from, float to) {
          return mode == 0 ? ::hist_average(hist.data(), total, 256, from, to)
                           : ::hist_width(hist.data(), total, 256, from, to);
        };
        const float value = linear ? statistic(1.0f, 0.0f, 1.0f) : statistic(sum, lower, upper);
        expected(x, y) = static_cast<unsigned char>(std::min(255.1, std::max(0.1, static_cast<double>(value))));
      }
    const bool fits = width >= cols && height >= 2 * half_height + 1;
    EXPECT_EQ(zeb::iGenBMFilter(dst.data(), src.data(), width, stride, height, kernel.data(), half_width, cols,
                                half_height, lower, upper, mode),
              fits ? 1 : 0);
    ASSERT_TRUE(same(expected, dst)) << width << " x " << height << ", window half " << half_width << ' ' << half_height
                                     << ", fractions " << lower << ' ' << upper << ", mode " << mode;
  }
}

TEST(GenericFilter, RefusalsWriteNothing) {
  const Picture src(5, 5, 5, 9), before(5, 5, 5, 3);
  Picture dst = before;
  const std::vector<float> kernel(49, 1.0f);
  const auto run = [&](const float* weights, int half_width, int half_height) {
    return zeb::iGenBMFilter(dst.data(), src.data(), 5, 5, 5, weights, half_width, 7, half_height, 0.0f, 1.0f, 0);
  };
  EXPECT_EQ(run(kernel.data(), 3, 1), 0);
  EXPECT_EQ(run(kernel.data(), 1, 3), 0);
  EXPECT_EQ(run(kernel.data(), -1, 1), 0);
  EXPECT_EQ(run(kernel.data(), 1, -1), 0);
  EXPECT_EQ(run(kernel.data(), INT_MAX, INT_MAX), 0);
  EXPECT_EQ(run(nullptr, 0, 0), 0);
  {
    const FailingAllocations failing(0);
    EXPECT_EQ(run(kernel.data(), 1, 1), 0);
  }
  EXPECT_EQ(dst, before);
}

TEST(GenericFilter, WeightsThatAreNoNumbersStayInside) {
  const Picture src(9, 9, 9, 9);
  Picture dst(9, 9, 9);
  for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity(), -1e30f, 1e30f})
    for (const int mode : {0, 1})
      for (const float fraction : {0.0f, 0.5f, std::nanf(""), -1.0f, 7.0f}) {
        std::vector<float> kernel(9, 1.0f);
        kernel[4] = odd;
        EXPECT_EQ(zeb::iGenBMFilter(dst.data(), src.data(), 9, 9, 9, kernel.data(), 1, 3, 1, fraction, fraction, mode),
                  1);
      }
}

}  // namespace
