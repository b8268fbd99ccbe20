#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "tests/statistics/same_bits.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/statistics.h"

using zeb::testing::Picture;
using zeb::testing::same_bits;
using Histogram = std::vector<float>;

namespace {

Histogram with_bins(std::size_t n, const std::vector<std::pair<std::size_t, float>>& bins) {
  Histogram hist(n);
  for (const auto& [bin, weight] : bins) hist[bin] = weight;
  return hist;
}

TEST(BitmapHistogram, CountsTheAreaWithoutPadding) {
  const auto test = [](zeb::testing::Trial t) {
    Histogram expected(256);
    zeb::testing::for_each_pixel(t.g.width, t.g.height, [&](int x, int y) { expected[t.src(x, y)] += 1.0f; });
    ASSERT_EQ(zeb::histogram(t.src.bitmap()), expected);
  };
  zeb::testing::for_each_trial(200, 200, 40, test);
  zeb::testing::for_each_trial(50, 600, 500, test);
  Histogram hist(257, 9.0f);
  bitmap_histogram(hist.data(), nullptr, -5, 1, 1);
  EXPECT_EQ(hist, with_bins(257, {{256, 9.0f}})) << "cleared without pixels, too";
}

TEST(BitmapHistogram, BinsStayAtTwoToThe24) {
  constexpr float two_to_24 = 16777216.0f;
  // A stride of 0 makes a tall image out of one row.
  std::vector<unsigned char> row(1 << 20, 200);
  Histogram hist(256);
  bitmap_histogram(hist.data(), row.data(), 1 << 20, 0, 1 << 12);
  EXPECT_EQ(hist, with_bins(256, {{200, two_to_24}})) << "2^32 pixels, which a 32-bit counter takes for none";
  row[17] = 5;
  bitmap_histogram(hist.data(), row.data(), 4096, 0, 4098);
  EXPECT_EQ(hist, with_bins(256, {{200, two_to_24}, {5, 4098}}));
}

TEST(LineHistogram, MeansRoundAtEachPixelOnceBeyondTwoToThe24) {
  std::mt19937 engine(2);
  // 65793 bright pixels are the last that surely stay exact.
  for (const int width : {2, 65793, 65794, 140001}) {
    Picture rows(width, width + 5, 2, 255);
    for (int x = width * 3 / 4; x < width; ++x) rows(x, 1) = static_cast<unsigned char>(255 - (engine() & 3));
    float sum = 0.0f;
    for (int x = 0; x < width; ++x) sum += static_cast<float>(rows(x, 1));
    const Histogram means = zeb::line_histogram(rows.bitmap());
    ASSERT_EQ(means.size(), 2U);
    EXPECT_TRUE(same_bits(sum / static_cast<float>(width), means[1])) << width;
  }
}

TEST(TrimmedStatistics, OfABand) {
  const Histogram h = with_bins(256, {{10, 8}, {20, 8}});
  const struct {
    float lower, upper, average, width;
  } bands[] = {
      {0.0f, 1.0f, 15.0f, 256.0f},
      // 2 of the 8 in bin 10 lie below the quarter's half, 4 of the 8 in bin 20 above three quarters.
      {0.125f, 0.75f, (10 * 6 + 20 * 4) / 10.0f, 0.75f + 9 + 0.5f},
      {-0.5f, 0.5f, 80 / 16.0f, 11.0f},
      // Up to 0.001 the band begins with bin 0, above it in bin 10; below 0.999 it ends in bin 20, from there in bin
      // 255.
      {0.001f, 0.75f, 160 / (0.749f * 16), 20.5f},
      {0.002f, 0.75f, (160 - 0.004f * 80) / (0.748f * 16), 11 - 0.004f - 0.5f},
      {0.0f, 0.9989f, (240 - 0.0022f * 160) / (0.9989f * 16), 21 - 0.0022f},
      {0.0f, 0.999f, 240 / (0.999f * 16), 256.0f},
      // Bands of 0.001: the last of bin 10 to the first 0.016 of bin 20; within bin 20; downwards from 1.
      {0.5f, 0.5f, 20.0f, 11 - 1 - 0.998f},
      {0.95f, 0.25f, 20.0f, 0.002f},
      {1.0f, 1.0f, 20.0f, 236 - 0.998f},
      {2.0f, 5.0f, 240 / (3.0f * 16), 256.0f},
  };
  for (const auto& band : bands) {
    SCOPED_TRACE(::testing::Message() << band.lower << " to " << band.upper);
    EXPECT_NEAR(zeb::hist_average(h, band.lower, band.upper), band.average, 2e-3f);
    EXPECT_NEAR(zeb::hist_width(h, band.lower, band.upper), band.width, 2e-5f);
  }
}

TEST(TrimmedStatistics, OfUnusualTotalsAndHistograms) {
  const Histogram h = with_bins(256, {{10, 8}, {20, 8}});
  // With twice the total the upper quantile is never reached: the last bin takes it, a division by its weight of 0.
  EXPECT_EQ(zeb::hist_width(h, 32.0f, 0.125f, 0.75f), std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(zeb::hist_average(h, 32.0f, 0.125f, 0.75f)));
  EXPECT_EQ(zeb::hist_average(h, 8.0f, 0.0f, 1.0f), 30.0f);
  // A lower quantile beyond all weight ends in the last bin: (4 - 0.9 * 100) / 1 - 1 for its fraction.
  EXPECT_NEAR(zeb::hist_width({1, 1, 1, 1}, 100.0f, 0.9f, 1.0f), 1 - 87.0f, 1e-4f);
  EXPECT_EQ(zeb::hist_average({}, 5.0f, 0.2f, 0.8f), 0.0f);
  EXPECT_EQ(zeb::hist_width({5}, 0.0f, 1.0f), 1.0f);
  EXPECT_EQ(zeb::hist_width({0, 0.9e-8f}, 0.0f, 1.0f), 0.0f);
  EXPECT_EQ(zeb::hist_width({0, 1.1e-8f}, 0.0f, 1.0f), 2.0f);
  // The lower half ends 0.001 early and exactly with bin 0, whose rest weighs nothing in the mean.
  EXPECT_EQ(zeb::hist_average({4 * 0.5f - 0.001f, 2, 1}, 4.0f, 0.5f, 1.0f), 2.0f);
}

}  // namespace
