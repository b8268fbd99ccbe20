#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

using namespace zeb::testing;

namespace {

struct Stripes {
  int low = 0, high = 255;
  float lower_fraction = 0.0f, upper_fraction = 1.0f;
  bool by_rows = false;
  int step = 1;
};

void line_row_filter(Picture& dst, Picture& src, const Stripes& s) {
  zeb::vLineRowFilter(dst.data(), src.data(), static_cast<unsigned char>(s.low), static_cast<unsigned char>(s.high),
                      s.lower_fraction, s.upper_fraction, s.by_rows, src.width(), src.stride(), src.height(), s.step);
}

Picture without_stripes(const Picture& src, Picture dst, const Stripes& p) {
  const int width = src.width(), height = src.height();
  const auto pixel = [&](int x, int y) { return p.low <= src(x, y) && src(x, y) <= p.high ? int{src(x, y)} : 0; };
  const auto line = [&](int x, int y) { return static_cast<std::size_t>(p.by_rows ? y : x); };
  std::vector<std::vector<float>> histograms(line(width, height), std::vector<float>(256));
  const auto sample = [&](int x, int y) { ++histograms[line(x, y)][static_cast<std::size_t>(pixel(x, y))]; };
  const int s = std::max(1, std::min(p.step, (p.by_rows ? width : height) / 50));
  for (int y = 0; y < height; ++y) {
    int c = p.by_rows || y % s == 0 ? 0 : width;
    for (; p.by_rows && c < (width & ~7); c += 8 * s)
      for (int x = c; x < c + 8; ++x) sample(x, y);
    for (; c < width; ++c) sample(c, y);
  }
  std::vector<float> gains(histograms.size());
  float sum = 0, used = 0;
  for (std::size_t i = 0; i < gains.size(); ++i) {
    const std::vector<float> from_1(histograms[i].begin() + 1, histograms[i].end());
    float n = 0;
    for (const float bin : from_1) n += bin;
    if (n == 0) continue;
    gains[i] = 1.0f + zeb::hist_average(from_1, n, p.lower_fraction, p.upper_fraction);
    sum += gains[i];
    ++used;
  }
  for (float& gain : gains)
    if (gain > 0.001f) gain = sum / used / gain;
  return dst.fill([&](int x, int y) {
    const float product = std::min(static_cast<float>(pixel(x, y)) * gains[line(x, y)], 255.0f);
    return x < (width & ~15) ? std::nearbyint(product) : std::trunc(product);
  });
}

TEST(LineRowFilter, FollowsTheRulesOnAnyLayout) {
  for (const int largest_height : {260, 30})
    for_each_trial(150, largest_height == 260 ? 40 : 260, largest_height, [](Trial t) {
      Stripes s{pick(t.engine, 0, 100), pick(t.engine, 80, 255)};
      s.by_rows = pick(t.engine, 0, 1) != 0;
      s.step = pick(t.engine, -1, 8);
      if (t.number % 2 == 0) s.lower_fraction = 0.3f, s.upper_fraction = 0.7f;
      const Picture expected = without_stripes(t.src, t.dst, s), in_place = without_stripes(t.src, t.src, s);
      line_row_filter(t.dst, t.src, s);
      ASSERT_TRUE(same(expected, t.dst));
      line_row_filter(t.src, t.src, s);
      ASSERT_TRUE(same(in_place, t.src));
    });
}

TEST(LineRowFilter, EqualisesColumns) {
  // Levels of 20 for 16 columns, 23 for the next and none for a black one: on average 343 / 17 = 20.18.
  Picture src(18, 18, 2, 20), expected(src);
  src(3, 0) = 99;  // out of range: takes no part and becomes black
  src(16, 0) = 22;
  src(16, 1) = 24;
  src(17, 0) = src(17, 1) = 0;
  line_row_filter(src, src, {1, 50});
  expected(3, 0) = expected(17, 0) = expected(17, 1) = 0;
  expected(16, 0) = 19;  // 22 * 20.18 / 23 = 19.3
  expected(16, 1) = 21;  // 24 * 20.18 / 23 = 21.05
  EXPECT_EQ(src, expected);
}

TEST(LineRowFilter, RowSamplesSkipTheTailWhereTheStridePassesIt) {
  const auto filtered = [](int width, int bright_from) {
    Picture src(width, width, 2, 50);
    for (int x = bright_from; x < width; ++x) src(x, 0) = 250;
    line_row_filter(src, src, {0, 255, 0.0f, 1.0f, true, 2});
    return std::pair{int{src(0, 0)}, int{src(width - 1, 0)}};
  };
  // 103 columns allow a step of 2: groups at 0, 16, ..., 80, and at 96 the tail begins.
  // Row 0: 48 samples of 50 and 7 of 250, a level of 75.45. With 50 in row 1 the mean is 62.73.
  EXPECT_EQ(filtered(103, 96), (std::pair{42, 207}));
  // With 107 columns the last group begins at 96 and the stride from there leads to 112: the tail is not seen.
  EXPECT_EQ(filtered(107, 104), (std::pair{50, 250}));
}

TEST(AdaNorm, DividesByASurface) {
  Picture src(3, 3, 1, 10), dst(src);
  const auto of_surface = [&](float value) {
    const auto surface = [value](const std::vector<float>&, float, float) { return value; };
    zeb::AdaNorm(dst.data(), src.data(), {}, 0, 0, surface, 3, 3, 1, 0, 1, 0, 1, 100);
    return int{dst(0, 0)};
  };
  EXPECT_EQ(of_surface(30.0f), 33);
  EXPECT_EQ(of_surface(0.0f), 255);
  EXPECT_EQ(of_surface(0.01f), 255);
  EXPECT_EQ(of_surface(-3.0f), 0);
  EXPECT_EQ(of_surface(INFINITY), 0);
  EXPECT_THROW(zeb::AdaNorm(dst.data(), src.data(), {}, 0, 0, nullptr, 3, 3, 1, 0, 1, 0, 1, 9), std::bad_function_call);
}

TEST(AdaNorm, MapsCoordinatesInSinglePrecision) {
  for_each_trial(100, 60, 20, [](Trial t) {
    const int first_x = pick(t.engine, -50, 50), last_x = pick(t.engine, -50, 500);
    const int first_y = pick(t.engine, -50, 50), last_y = pick(t.engine, -50, 500);
    const auto target = static_cast<unsigned char>(t.engine());
    const float offset_x = static_cast<float>(pick(t.engine, -99, 99)) / 7, offset_y = offset_x / 3;
    const float step_x = static_cast<float>(last_x - first_x) / static_cast<float>(t.g.width);
    const float step_y = static_cast<float>(last_y - first_y) / static_cast<float>(t.g.height);
    std::vector<std::pair<float, float>> positions, called;
    const auto surface = [&](const std::vector<float>& c, float x, float y) {
      called.emplace_back(x, y);
      return c[0] + c[1] * x + c[2] * y;
    };
    const std::vector<float> plane{90.0f, 0.5f, -0.25f};
    Picture expected(t.src);
    expected.fill([&](int column, int row) {
      const float y = static_cast<float>(row) * step_y + static_cast<float>(first_y) - offset_y;
      const float x = static_cast<float>(column) * step_x + static_cast<float>(first_x) - offset_x;
      positions.emplace_back(x, y);
      return std::clamp(t.src(column, row) * (target / surface(plane, x, y)), 0.0f, 255.0f);
    });
    called.clear();
    zeb::AdaNorm(t.src.data(), t.src.data(), plane, offset_x, offset_y, surface, t.g.width, t.g.stride, t.g.height,
                 first_x, last_x, first_y, last_y, target);
    ASSERT_TRUE(same(expected, t.src));
    ASSERT_EQ(called, positions);
  });
}

}  // namespace
