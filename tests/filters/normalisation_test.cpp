#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"
#include "zeb/statistics.h"

using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

struct Stripes {
  int low = 0, high = 255;
  float lower_fraction = 0.0f, upper_fraction = 1.0f;
  bool by_rows = false;
  int step = 1;

  friend std::ostream& operator<<(std::ostream& os, const Stripes& s) {
    return os << "range " << s.low << " to " << s.high << ", fractions " << s.lower_fraction << " to "
              << s.upper_fraction << (s.by_rows ? ", rows" : ", columns") << ", step " << s.step;
  }
};

void line_row_filter(Picture& dst, Picture& src, const Stripes& s) {
  zeb::vLineRowFilter(dst.data(), src.data(), static_cast<unsigned char>(s.low), static_cast<unsigned char>(s.high),
                      s.lower_fraction, s.upper_fraction, s.by_rows, src.width(), src.stride(), src.height(), s.step);
}

Picture without_stripes(const Picture& src, Picture dst, const Stripes& p) {
  const int width = src.width(), height = src.height();
  const auto pixel = [&](int x, int y) { return p.low <= src(x, y) && src(x, y) <= p.high ? int{src(x, y)} : 0; };
  const std::size_t lines = static_cast<std::size_t>(p.by_rows ? height : width);
  std::vector<std::vector<float>> histograms(lines, std::vector<float>(256));
  int s = std::max(p.step, 1);
  const int limit = (p.by_rows ? width : height) / 50;
  if (s > limit) s = std::max(limit, 1);
  for (int y = 0; y < height; ++y) {
    if (p.by_rows) {
      int c = 0;
      const auto sample = [&](int x) {
        ++histograms[static_cast<std::size_t>(y)][static_cast<std::size_t>(pixel(x, y))];
      };
      for (; c < (width & ~7); c += 8 * s)
        for (int x = c; x < c + 8; ++x) sample(x);
      for (; c < width; ++c) sample(c);
    } else if (y % s == 0) {
      for (int x = 0; x < width; ++x) ++histograms[static_cast<std::size_t>(x)][static_cast<std::size_t>(pixel(x, y))];
    }
  }
  std::vector<float> gains(lines);
  float sum = 0, used = 0;
  for (std::size_t i = 0; i < lines; ++i) {
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
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const float gain = gains[static_cast<std::size_t>(p.by_rows ? y : x)];
      const float product = std::min(static_cast<float>(pixel(x, y)) * gain, 255.0f);
      dst(x, y) = static_cast<unsigned char>(x < (width & ~15) ? std::nearbyint(product) : std::trunc(product));
    }
  return dst;
}

TEST(LineRowFilter, FollowsTheRulesOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 300; ++i) {
    Geometry g = Geometry::random(engine, 260, i % 3 == 0 ? 260 : 30);
    if (i % 3 == 0) g.width = pick(engine, 1, std::min(40, g.stride));
    Stripes s{pick(engine, 0, 100), pick(engine, 80, 255), 0.0f, 1.0f, pick(engine, 0, 1) != 0, pick(engine, -1, 8)};
    if (i % 2 == 0) s.lower_fraction = 0.3f, s.upper_fraction = 0.7f;
    SCOPED_TRACE(::testing::Message() << g << ", " << s);
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture dst = Picture::random(engine, g.width, g.stride, g.height);
    const Picture expected = without_stripes(src, dst, s), expected_in_place = without_stripes(src, src, s);
    line_row_filter(dst, src, s);
    ASSERT_TRUE(same(expected, dst));
    line_row_filter(src, src, s);
    ASSERT_TRUE(same(expected_in_place, src));
  }
}

TEST(LineRowFilter, EqualisesColumns) {
  // Columns of 20 and 40 in turn, the last one black. The mean level of the 16 others is 30.
  Picture src(17, 17, 2), dst(17, 17, 2, 1), expected(17, 17, 2, 30);
  for (int x = 0; x < 16; ++x) src(x, 0) = src(x, 1) = x % 2 == 0 ? 20 : 40;
  expected(16, 0) = expected(16, 1) = 0;
  line_row_filter(dst, src, {});
  EXPECT_EQ(dst, expected);
  // Levels of 20 for 16 columns and 23 for the last one, on average 343 / 17 = 20.18.
  src = Picture(17, 17, 2, 20);
  src(3, 0) = 99;  // out of range: takes no part and becomes black
  src(16, 0) = 22;
  src(16, 1) = 24;
  line_row_filter(dst, src, {1, 50});
  expected = Picture(17, 17, 2, 20);
  expected(3, 0) = 0;
  expected(16, 0) = 19;  // 22 * 20.18 / 23 = 19.3
  expected(16, 1) = 21;  // 24 * 20.18 / 23 = 21.05
  EXPECT_EQ(dst, expected);
  line_row_filter(dst, src, {200, 255});
  EXPECT_EQ(dst, Picture(17, 17, 2)) << "no sample at all";
}

TEST(LineRowFilter, RoundsInGroupsAndTruncatesBehindThem) {
  // Rows of 100 and 103: a mean of 101.5.
  Picture src(18, 18, 2, 100), dst(src);
  for (int x = 0; x < 18; ++x) src(x, 1) = 103;
  Stripes by_rows;
  by_rows.by_rows = true;
  src(17, 0) = 0;
  line_row_filter(dst, src, by_rows);
  EXPECT_EQ(dst(15, 0), 102) << "101.5 is a tie, to even";
  EXPECT_EQ(dst(16, 0), 101);
  EXPECT_EQ(dst(17, 0), 0);
}

TEST(LineRowFilter, RowSamplesSkipTheTailWhereTheStridePassesIt) {
  // 103 columns allow a step of 2: groups at 0, 16, ..., 80, and at 96 the tail begins.
  Picture src(103, 103, 2, 50), dst(src);
  for (int x = 96; x < 103; ++x) src(x, 0) = 250;
  Stripes s;
  s.by_rows = true;
  s.step = 2;
  line_row_filter(dst, src, s);
  // Row 0: 48 samples of 50 and 7 of 250, a level of 75.45. With 50 in row 1 the mean is 62.73.
  EXPECT_EQ(dst(0, 0), 42);
  EXPECT_EQ(dst(100, 0), 207);
  // With 107 columns the last group begins at 96 and the stride from there leads to 112: the tail is not seen.
  src = Picture(107, 107, 2, 50), dst = src;
  for (int x = 104; x < 107; ++x) src(x, 0) = 250;
  line_row_filter(dst, src, s);
  EXPECT_EQ(dst(0, 0), 50);
  EXPECT_EQ(dst(106, 0), 250);
}

TEST(AdaNorm, DividesByASurface) {
  const std::vector<float> coefficients{10, 2, 5};
  const auto plane = [&](const std::vector<float>& c, float x, float y) {
    EXPECT_EQ(&c, &coefficients) << "handed on";
    return c[0] + c[1] * x + c[2] * y;
  };
  Picture src = Picture::grey({{10, 20, 30, 40}, {50, 60, 70, 0}}, 6), dst = Picture(4, 6, 2, 1);
  // x is 0, 2, 4, 6 less 1, y is 0 and 3: the surface is 8 12 16 20 / 23 27 31 35.
  zeb::AdaNorm(dst.data(), src.data(), coefficients, 1, 0, plane, 4, 6, 2, 0, 8, 0, 6, 100);
  EXPECT_EQ(dst, Picture::grey({{125, 166, 187, 200}, {217, 222, 225, 0}}, 6));
  zeb::AdaNorm(
      src.data(), src.data(), coefficients, 0, 0, [](auto&, float, float) { return 7.0f; }, 4, 6, 2, 3, 4, 5, 6, 7);
  EXPECT_EQ(src, Picture::grey({{10, 20, 30, 40}, {50, 60, 70, 0}}, 6)) << "as bright as the target";
  for (const float value : {0.0f, 0.01f, -3.0f, INFINITY}) {
    zeb::AdaNorm(
        dst.data(), src.data(), {}, 0, 0, [value](auto&, float, float) { return value; }, 3, 6, 1, 0, 1, 0, 1, 100);
    for (int x = 0; x < 3; ++x) EXPECT_EQ(dst(x, 0), value == 0.0f || value == 0.01f ? 255 : 0) << value;
  }
}

TEST(AdaNorm, MapsCoordinatesInSinglePrecision) {
  std::mt19937 engine(2);
  for (int i = 0; i < 100; ++i) {
    const auto g = Geometry::random(engine, 60, 20);
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset), dst = src, expected = src;
    const int first_x = pick(engine, -50, 50), last_x = pick(engine, -50, 500), first_y = pick(engine, -50, 50),
              last_y = pick(engine, -50, 500), target = pick(engine, 0, 255);
    const float offset_x = static_cast<float>(pick(engine, -99, 99)) / 7, offset_y = offset_x / 3;
    const auto surface = [](float x, float y) { return 90.0f + 0.5f * x - 0.25f * y; };
    const float step_x = static_cast<float>(last_x - first_x) / static_cast<float>(g.width);
    const float step_y = static_cast<float>(last_y - first_y) / static_cast<float>(g.height);
    std::vector<std::pair<float, float>> positions;
    for (int r = 0; r < g.height; ++r)
      for (int c = 0; c < g.width; ++c) {
        const float y = static_cast<float>(r) * step_y + static_cast<float>(first_y) - offset_y;
        const float x = static_cast<float>(c) * step_x + static_cast<float>(first_x) - offset_x;
        positions.emplace_back(x, y);
        const float out = static_cast<float>(src(c, r)) * (static_cast<float>(target) / surface(x, y));
        expected(c, r) = static_cast<unsigned char>(std::clamp(out, 0.0f, 255.0f));
      }
    std::size_t calls = 0;
    const auto checked = [&](const std::vector<float>&, float x, float y) {
      EXPECT_EQ(positions.at(calls++), std::pair(x, y));
      return surface(x, y);
    };
    zeb::AdaNorm(dst.data(), src.data(), {}, offset_x, offset_y, checked, g.width, g.stride, g.height, first_x, last_x,
                 first_y, last_y, static_cast<unsigned char>(target));
    ASSERT_TRUE(same(expected, dst)) << g;
    ASSERT_EQ(calls, positions.size());
  }
}

TEST(Normalisation, GivesUpQuietly) {
  Picture src(20, 20, 5, 7), dst(20, 20, 5, 1);
  const Picture untouched = dst;
  const std::function<float(const std::vector<float>&, float, float)> empty;
  for (const int none : {0, -1, -2147483647 - 1}) {
    zeb::vLineRowFilter(dst.data(), src.data(), 0, 255, 0, 1, 0, none, 20, 5, 1);
    zeb::vLineRowFilter(dst.data(), src.data(), 0, 255, 0, 1, 1, 20, 20, none, 1);
    zeb::AdaNorm(dst.data(), src.data(), {}, 0, 0, empty, none, 20, 5, 0, 1, 0, 1, 9);
    zeb::AdaNorm(dst.data(), src.data(), {}, 0, 0, empty, 20, 20, none, 0, 1, 0, 1, 9);
  }
  EXPECT_THROW(zeb::AdaNorm(dst.data(), src.data(), {}, 0, 0, empty, 20, 20, 5, 0, 1, 0, 1, 9), std::bad_function_call);
  for (int successes = 0; successes < 2; ++successes) {
    const FailingAllocations failing(successes);
    line_row_filter(dst, src, {});
  }
  EXPECT_EQ(dst, untouched);
  for (const float odd : {std::nanf(""), INFINITY, -INFINITY, -3.0f, 1e-9f}) {
    line_row_filter(dst, src, {0, 255, odd, odd});
    line_row_filter(dst, src, {0, 255, 0.0f, odd, true, 2147483647});
  }
  zeb::AdaNorm(
      dst.data(), src.data(), {}, 0, 0, [](auto&, float, float) { return std::nanf(""); }, 20, 20, 5, -2147483647,
      2147483647, 0, 1, 9);
}

}  // namespace
