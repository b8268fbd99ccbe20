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

constexpr float two_to_24 = 16777216.0f;

Histogram with_bins(std::size_t n, const std::vector<std::pair<std::size_t, float>>& bins) {
  Histogram hist(n);
  for (const auto& [bin, weight] : bins) hist[bin] = weight;
  return hist;
}

TEST(BitmapHistogram, CountsTheAreaWithoutPadding) {
  EXPECT_EQ(zeb::histogram(Picture::grey({{0, 0}, {7, 255}}).bitmap()), with_bins(256, {{0, 2}, {7, 1}, {255, 1}}));
  std::mt19937 engine(1);
  for (int round = 0; round < 200; ++round) {
    const auto g = Geometry::random(engine);
    auto picture = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Histogram expected(256);
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) expected[picture(x, y)] += 1.0f;
    ASSERT_EQ(zeb::histogram(picture.bitmap()), expected) << g;
  }
}

TEST(BitmapHistogram, ClearsWithoutPixelsAndIgnoresNull) {
  const unsigned char pixel = 3;
  for (const auto& [width, height] : {std::pair(1, 0), std::pair(1, -7), std::pair(0, 1), std::pair(-5, 1)}) {
    Histogram hist(257, 9.0f);
    bitmap_histogram(hist.data(), &pixel, width, 1, height);
    EXPECT_EQ(hist, with_bins(257, {{256, 9.0f}})) << width << " x " << height;
  }
  bitmap_histogram(nullptr, &pixel, 1, 1, 1);
}

TEST(BitmapHistogram, BinsStayAtTwoToThe24) {
  // A stride of 0 makes a tall image out of one row.
  std::vector<unsigned char> row(4096, 200);
  row[17] = 5;
  Histogram hist(256);
  bitmap_histogram(hist.data(), row.data(), 4096, 0, 4096);
  EXPECT_EQ(hist, with_bins(256, {{200, 16773120}, {5, 4096}}));
  bitmap_histogram(hist.data(), row.data(), 4096, 0, 4098);
  EXPECT_EQ(hist, with_bins(256, {{200, two_to_24}, {5, 4098}}));
}

TEST(BitmapHistogram, CountsMorePixelsThanFit32Bits) {
  // 2^32 equal pixels, which a 32-bit counter takes for none.
  const std::vector<unsigned char> row(1 << 20, 77);
  Histogram hist(256);
  bitmap_histogram(hist.data(), row.data(), 1 << 20, 0, 1 << 12);
  EXPECT_EQ(hist, with_bins(256, {{77, two_to_24}}));
}

TEST(LineHistogram, MeansOfTheRows) {
  EXPECT_EQ(zeb::line_histogram(Picture::grey({{10, 20}, {255, 0}}, 7).bitmap()), (Histogram{15.0f, 127.5f}));
  EXPECT_TRUE(zeb::line_histogram({}).empty());
  EXPECT_TRUE(zeb::line_histogram(Picture(0, 4, 0).bitmap()).empty());
  EXPECT_DEATH(zeb::line_histogram(Picture(0, 4, 1).bitmap()), "");
  EXPECT_DEATH(zeb::line_histogram(Picture(-1, 4, 1).bitmap()), "");
}

TEST(LineHistogram, SumsOnceBeyondTwoToThe24RoundAtEachPixel) {
  std::mt19937 engine(2);
  // 65793 bright pixels are the last that surely stay exact.
  for (const int width : {65792, 65793, 65794, 140001}) {
    Picture row(width, width, 1, 255);
    for (int x = 60000; x < width; ++x) row(x, 0) = static_cast<unsigned char>(255 - (engine() & 3));
    float sum = 0.0f;
    for (int x = 0; x < width; ++x) sum += static_cast<float>(row(x, 0));
    EXPECT_TRUE(same_bits(sum / static_cast<float>(width), zeb::line_histogram(row.bitmap())[0])) << width;
  }
}

/// The trimmed statistics step by step.
struct Trimmed {
  float average = 0.0f, width = 0.0f;

  Trimmed(const Histogram& h, float total, float lower, float upper) {
    const std::size_t n = h.size();
    float t = total;
    if (1e-8f > t) t = std::accumulate(h.begin(), h.end(), 0.0f);
    if (1e-8f > t) return;
    if (lower + 0.001f > upper) {
      if (lower + 0.001f < 1.0f)
        upper = lower + 0.001f;
      else
        lower = upper - 0.001f;
    }
    std::size_t i = 0, j = 0;
    float low = 0.0f, high = 0.0f, cum = 0.0f;
    if (lower > 0.001f && 1.0f > lower) {
      for (;; ++i) {
        cum += h.at(i);
        if (cum >= t * lower - 0.001f) break;
      }
      low = (cum - t * lower) / h[i] - 1.0f;
      cum -= h[i];
    }
    if (upper >= 0.999) {
      j = n - 1;
      width = static_cast<float>(n - i) + low + 0.0f;
    } else {
      for (j = i; j < n; ++j) {
        cum += h[j];
        if (cum >= t * upper - 0.001f) break;
      }
      if (j == n) j = n - 1;
      high = -((cum - t * upper) / h[j]);
      width = static_cast<float>(j - i + 1) + low + high;
    }
    float acc = low * h[i] * static_cast<float>(i) + high * h[j] * static_cast<float>(j);
    for (std::size_t k = i; k <= j; ++k) acc += static_cast<float>(k) * h[k];
    average = acc / ((upper - lower) * t);
  }
};

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
}

TEST(TrimmedStatistics, DegenerateHistogramsAndTotals) {
  for (const Histogram& h : {Histogram{}, Histogram(256), Histogram(3, 1e-9f)}) {
    EXPECT_EQ(zeb::hist_average(h, 0.2f, 0.8f), 0.0f);
    EXPECT_EQ(zeb::hist_width(h, 0.2f, 0.8f), 0.0f);
  }
  EXPECT_EQ(zeb::hist_average({}, 5.0f, 0.2f, 0.8f), 0.0f);
  EXPECT_EQ(hist_width(nullptr, 5.0f, -3, 0.2f, 0.8f), 0.0f);
  // A lower quantile beyond all weight ends in the last bin: (4 - 0.9 * 100) / 1 - 1 for its fraction.
  EXPECT_NEAR(zeb::hist_width({1, 1, 1, 1}, 100.0f, 0.9f, 1.0f), 1 - 87.0f, 1e-4f);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(std::isnan(zeb::hist_average({1, 1, 1}, nan, 0.2f, 0.8f)));
  EXPECT_TRUE(std::isnan(zeb::hist_width({1, nan, 1}, 0.2f, 0.8f)));
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
    const float lower = quantile();
    const float upper = pick(engine, 0, 3) == 0 ? lower : quantile();
    float total = std::accumulate(h.begin(), h.end(), 0.0f);
    const bool by_sum = pick(engine, 0, 1) == 0 || total == 0.0f;
    total *= pick(engine, 0, 1) == 0 ? 1.0f : 0.7f;
    const Trimmed expected(h, by_sum ? 0.0f : total, lower, upper);
    const float average = by_sum ? zeb::hist_average(h, lower, upper) : zeb::hist_average(h, total, lower, upper);
    const float width = by_sum ? zeb::hist_width(h, lower, upper) : zeb::hist_width(h, total, lower, upper);
    ASSERT_TRUE(same_bits(expected.average, average)) << lower << " to " << upper << ", " << h.size() << " bins";
    ASSERT_TRUE(same_bits(expected.width, width)) << lower << " to " << upper << ", " << h.size() << " bins";
  }
}

}  // namespace
