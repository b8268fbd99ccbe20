#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "tests/statistics/same_bits.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/statistics.h"

using zeb::testing::Geometry;
using zeb::testing::pick;
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
  std::mt19937 engine(1);
  for (int round = 0; round < 200; ++round) {
    const auto g = Geometry::random(engine);
    auto picture = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Histogram expected(256);
    zeb::testing::for_each_pixel(g.width, g.height, [&](int x, int y) { expected[picture(x, y)] += 1.0f; });
    ASSERT_EQ(zeb::histogram(picture.bitmap()), expected) << g;
  }
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

/// Average and width of a band, step by step.
std::pair<float, float> trimmed(const Histogram& h, float total, float lower, float upper) {
  const std::size_t n = h.size();
  if (1e-8f > total) total = std::accumulate(h.begin(), h.end(), 0.0f);
  if (1e-8f > total) return {0.0f, 0.0f};
  if (lower + 0.001f > upper) {
    if (lower + 0.001f < 1.0f)
      upper = lower + 0.001f;
    else
      lower = upper - 0.001f;
  }
  std::size_t i = 0, j = n - 1;
  float low = 0.0f, high = 0.0f, cum = 0.0f;
  if (lower > 0.001f && 1.0f > lower) {
    while ((cum += h.at(i)) < total * lower - 0.001f) ++i;
    low = (cum - total * lower) / h[i] - 1.0f;
    cum -= h[i];
  }
  if (upper < 0.999) {
    j = i;
    while ((cum += h[j]) < total * upper - 0.001f && j + 1 < n) ++j;
    high = -((cum - total * upper) / h[j]);
  }
  float moment = low * h[i] * static_cast<float>(i) + high * h[j] * static_cast<float>(j);
  for (std::size_t k = i; k <= j; ++k) moment += static_cast<float>(k) * h[k];
  return {moment / ((upper - lower) * total), static_cast<float>(j - i + 1) + low + high};
}

TEST(TrimmedStatistics, WorkedOutByHand) {
  const Histogram h = with_bins(256, {{10, 8}, {20, 8}});
  EXPECT_EQ(zeb::hist_average(h, 0.0f, 1.0f), 15.0f);
  EXPECT_EQ(zeb::hist_width(h, 0.0f, 1.0f), 256.0f);
  // 2 of the 8 in bin 10 lie below the quarter's half, 4 of the 8 in bin 20 above three quarters.
  EXPECT_EQ(zeb::hist_average(h, 0.125f, 0.75f), (10 * 6 + 20 * 4) / 10.0f);
  EXPECT_EQ(zeb::hist_width(h, 0.125f, 0.75f), 0.75f + 9 + 0.5f);
  // With twice the total the upper quantile is never reached: the last bin takes it, a division by its weight of 0.
  EXPECT_EQ(zeb::hist_width(h, 32.0f, 0.125f, 0.75f), std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(zeb::hist_average(h, 32.0f, 0.125f, 0.75f)));
  // A lower quantile beyond all weight ends in the last bin: (4 - 0.9 * 100) / 1 - 1 for its fraction.
  EXPECT_NEAR(zeb::hist_width({1, 1, 1, 1}, 100.0f, 0.9f, 1.0f), 1 - 87.0f, 1e-4f);
  EXPECT_EQ(zeb::hist_average({}, 5.0f, 0.2f, 0.8f), 0.0f);
  // The lower half ends 0.001 early and exactly with bin 0, whose rest weighs nothing in the mean.
  EXPECT_EQ(zeb::hist_average({4 * 0.5f - 0.001f, 2, 1}, 4.0f, 0.5f, 1.0f), 2.0f);
}

TEST(TrimmedStatistics, FollowTheStepsOnAnyBand) {
  std::mt19937 engine(3);
  std::uniform_real_distribution<float> fraction(-0.1f, 1.1f), weight(0.0f, 3.0f);
  const float corners[] = {0.0f, 0.001f, 0.0011f, 0.5f, 0.998f, 0.9985f, 0.999f, 0.9995f, 1.0f};
  for (int round = 0; round < 20000; ++round) {
    Histogram h(static_cast<std::size_t>(pick(engine, 1, round % 4 == 0 ? 256 : 12)));
    const bool whole = pick(engine, 0, 1) == 0;
    for (float& bin : h)
      bin = pick(engine, 0, 2) == 0 ? 0.0f : whole ? static_cast<float>(pick(engine, 0, 100000)) : weight(engine);
    const auto quantile = [&] { return pick(engine, 0, 1) == 0 ? fraction(engine) : corners[pick(engine, 0, 8)]; };
    const float lower = quantile(), upper = pick(engine, 0, 3) == 0 ? lower : quantile();
    const float sum = std::accumulate(h.begin(), h.end(), 0.0f), total = sum * (pick(engine, 0, 1) == 0 ? 1.0f : 0.7f);
    const bool by_sum = pick(engine, 0, 1) == 0;
    const auto [average, width] = trimmed(h, by_sum ? 0.0f : total, lower, upper);
    SCOPED_TRACE(::testing::Message() << lower << " to " << upper << ", " << h.size() << " bins");
    ASSERT_TRUE(
        same_bits(average, by_sum ? zeb::hist_average(h, lower, upper) : zeb::hist_average(h, total, lower, upper)));
    ASSERT_TRUE(same_bits(width, by_sum ? zeb::hist_width(h, lower, upper) : zeb::hist_width(h, total, lower, upper)));
  }
}

}  // namespace
