#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/picture.h"
#include "zeb/frequency.h"

using zeb::fft::Filter;
using zeb::testing::for_each_pixel;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

Picture filtered(Picture src, bool window, Filter filter, std::vector<float> params) {
  Picture dst(src.width(), src.stride(), src.height(), 77);
  const Picture before(src);
  auto dst_mat = dst.mat(), src_mat = src.mat();
  zeb::fft_filter(dst_mat, src_mat, window, filter, std::move(params));
  EXPECT_EQ(src, before) << "the source stays";
  return dst;
}

/// A wave of so many periods over the image.
struct Wave {
  int columns, rows;
  double amplitude;
};

double sum_of(const std::vector<Wave>& waves, int side, int x, int y) {
  double sum = 0;
  for (const Wave& w : waves) sum += w.amplitude * std::cos(2 * M_PI * (w.columns * x + w.rows * y) / side);
  return sum;
}

Picture scene(int side, double mean, const std::vector<Wave>& waves) {
  Picture p(side, side + 5, side);
  return p.fill([&](int x, int y) { return std::lround(mean + sum_of(waves, side, x, y)); });
}

TEST(FftFilter, NoneAndFlatGiveTheImageBack) {
  std::mt19937 engine(1);
  const Picture src = Picture::random(engine, 5, 9, 3), dst = filtered(src, true, Filter::none, {});
  for_each_pixel(9, 3, [&](int x, int y) { EXPECT_EQ(dst(x, y), src(x, y)) << "with its padding"; });
  for (const int side : {2, 4, 32, 128}) {
    const Picture square = Picture(side, side + 5, side).fill([&](int, int) { return engine(); });
    EXPECT_TRUE(same(square, filtered(square, false, Filter::flat, {1, 2}))) << side;
    EXPECT_TRUE(same(square, filtered(square, false, static_cast<Filter>(5), {}))) << side;
  }
}

TEST(FftFilter, WindowFallsFromTheCentreToTheRim) {
  const Picture flat(64, 64, 64, 200), dst = filtered(flat, true, Filter::flat, {});
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x) {
      // Each quarter mirrors the upper left one.
      const double u = std::min(x, 63 - x) / 32.0 - 1, v = std::min(y, 63 - y) / 32.0 - 1, r = std::hypot(u, v);
      EXPECT_NEAR(dst(x, y), r < 1 ? 200 * std::cos(r * M_PI / 2) : 0, 0.6) << x << ", " << y;
    }
}

TEST(FftFilter, NotchTakesPeaksAboveTheMeanOutWithTheirSurroundings) {
  const int side = 64;
  // Peaks are more than 100 times as high as the mean. So is the origin, and the mean grey value goes with it.
  // Holes end at the first and the last row of the half spectrum, which holds the rows -1 and 0.
  const std::vector<Wave> peaks{{8, 1, 50}, {25, -2, 40}},
      near_them{{10, 1, 2}, {6, 3, 2}, {25, -4, 2}, {23, -2, 2}, {27, -1, 2}},
      others{{11, 1, 3}, {5, 1, 3}, {8, 4, 3}, {8, -1, 3}, {25, -5, 3}, {25, 0, 3}, {22, -2, 3}, {28, -2, 3}};
  std::vector<Wave> all(peaks);
  for (const auto* more : {&near_them, &others}) all.insert(all.end(), more->begin(), more->end());
  const Picture src = scene(side, 128, all), dst = filtered(src, false, Filter::notch_peaks, {100});
  for_each_pixel(side, side, [&](int x, int y) {
    ASSERT_NEAR(dst(x, y), std::max(0.0, sum_of(others, side, x, y)), 1.5) << x << ", " << y;
  });
}

TEST(FftFilter, NotchComparesWithTheMeanMagnitude) {
  // Half the spectrum, 16 by 32 pairs, holds 128 and 50, each times 32 * 32: 50 is 144 times the mean, 128 368 times.
  const Picture src = scene(32, 128, {{8, 0, 100}}), none(32, 37, 32);
  const Picture positive = Picture(none).fill([](int x, int) { return x % 4 == 0 ? 100 : 0; });
  EXPECT_EQ(filtered(src, false, Filter::notch_peaks, {-1}), none);
  EXPECT_EQ(filtered(src, false, Filter::notch_peaks, {143}), none);
  EXPECT_EQ(filtered(src, false, Filter::notch_peaks, {145}), positive);
  EXPECT_EQ(filtered(src, false, Filter::notch_peaks, {367}), positive);
  EXPECT_EQ(filtered(src, false, Filter::notch_peaks, {369}), src);
}

TEST(FftFilter, EmphasisKeepsTheLowestFrequenciesButTheOrigin) {
  // Up to a radius of 5 the closing with its threshold of 0 takes everything for structure, which is multiplied by 255.
  // Rows and columns from 8 on are none of the lowest; the highest column frequency passes.
  const std::vector<Wave> low{{4, 4, 20}, {8, 8, 30}};
  const Wave high{4, 8, 1}, column{8, 0, 1};
  const Picture dst16 = filtered(scene(16, 100, {low[0], low[1], high}), false, Filter::emphasise_peaks, {9, 2, 5});
  for_each_pixel(16, 16, [&](int x, int y) {
    const double expected = sum_of(low, 16, x, y) + 255 * sum_of({high}, 16, x, y);
    ASSERT_EQ(dst16(x, y), std::lround(std::clamp(expected, 0.0, 255.0))) << x << ", " << y;
  });
  const Picture dst32 = filtered(scene(32, 100, {column}), false, Filter::emphasise_peaks, {9, 2, 5});
  for_each_pixel(32, 32, [&](int x, int y) { ASSERT_EQ(dst32(x, y), x % 4 == 0 ? 255 : 0) << x << ", " << y; });
}

TEST(FftFilter, EmphasisDependsOnItsThreeParameters) {
  const Picture large = scene(64, 90, {{8, 0, 30}, {5, 12, 30}, {0, 1, 25}}),
                dst = filtered(large, true, Filter::emphasise_peaks, {9, 2, 7});
  for (const auto& other : {std::vector<float>{5, 2, 7}, {9, 0.5f, 7}, {9, 2, 5}})
    EXPECT_FALSE(same(dst, filtered(large, true, Filter::emphasise_peaks, other))) << ::testing::PrintToString(other);
  EXPECT_TRUE(same(dst, filtered(large, true, Filter::emphasise_peaks, {9.9f, 2, 7.9f}))) << "sizes are truncated";
}

}  // namespace
