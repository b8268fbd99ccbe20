#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

/// The first column that is not packed.
int packed_end(const Picture& p) { return std::max((p.width() - 4) & ~3, 0); }
bool inner(const Picture& p, int x, int y) { return x > 0 && y > 0 && x < p.width() - 1 && y < p.height() - 1; }

int sobel_x(const Picture& p, int x, int y) {
  const auto diff = [&](int row) { return p(x + 1, row) - p(x - 1, row); };
  return diff(y - 1) + 2 * diff(y) + diff(y + 1);
}
int sobel_y(const Picture& p, int x, int y) {
  const auto smooth = [&](int row) {
    return p(x - 1, row) + p(x, row) + (x == p.width() - 2 ? 0 : p(x, row) + p(x + 1, row));
  };
  return smooth(y + 1) - smooth(y - 1);
}

Picture magnitude(const Picture& src, Picture dst) {
  return dst.fill([&](int x, int y) -> int {
    if (!inner(src, x, y)) return 0;
    if (packed_end(src) == 0 && y > 1) return dst(x, y);
    const double length = std::hypot(sobel_x(src, x, y), sobel_y(src, x, y)) / 4;
    return x < packed_end(src) ? std::min(static_cast<int>(std::nearbyint(length)), 255) : static_cast<int>(length);
  });
}

Picture component(const Picture& src, Picture dst, int (*gradient)(const Picture&, int, int)) {
  return dst.fill([&](int x, int y) -> int {
    if (!inner(src, x, y)) return 128;
    if (packed_end(src) == 0) return dst(x, y);
    const double eighth = gradient(src, x, y) / 8.0;
    return x < packed_end(src) ? std::clamp(static_cast<int>(std::nearbyint(eighth + 128)), 0, 255)
                               : static_cast<int>(std::trunc(eighth)) + 128;
  });
}

TEST(Sobel, PackedAndSingleColumnsOnAnyLayout) {
  for_each_trial(600, 100, 20, [](Trial t) {
    if (t.number % 2 == 0) t.src.fill([&](int x, int y) { return t.src(x, y) > 127 ? 255 : 0; });  // reaches the limits
    Picture wide = Picture::random(t.engine, t.g.width, t.g.stride + 3, t.g.height), in_place = t.src;
    const Picture expected = magnitude(t.src, wide), expected_in_place = magnitude(t.src, t.src);
    auto wide_mat = wide.mat();
    zeb::sobel(wide_mat, t.src.mat());
    ASSERT_TRUE(same(expected, wide));
    zeb::FastSobel(in_place.data(), in_place.data(), t.g.width, t.g.stride, t.g.height);
    ASSERT_TRUE(same(expected_in_place, in_place));

    const Picture expected_x = component(t.src, t.dst, sobel_x), expected_y = component(t.src, t.src, sobel_y);
    zeb::FastGradient(t.dst.data(), t.src.data(), t.src.data(), t.g.width, t.g.stride, t.g.height);
    ASSERT_TRUE(same(expected_x, t.dst));
    ASSERT_TRUE(same(expected_y, t.src));
  });
}

Picture turned(const Picture& p) {
  return Picture(p.height(), p.height(), p.width()).fill([&](int x, int y) { return p(y, x); });
}

/// The edges of an image. Those of the image turned over its diagonal have to be the same.
Picture edges(const Picture& src, int mode, int threshold) {
  const auto filtered = [=](Picture image) {
    auto mat = image.mat();
    zeb::kantenfilter(mat, mat, mode, static_cast<short>(threshold));
    return image;
  };
  EXPECT_EQ(filtered(turned(src)), turned(filtered(src)));
  return filtered(src);
}

TEST(Edges, LevelIsExceededStrictly) {
  const Picture step = Picture::text({"....aaaa", "....aaaa", "....aaaa", "....aaaa", "....aaaa"}, 0, 30);
  EXPECT_EQ(edges(step, 0, 30), Picture(8, 8, 5));
  EXPECT_EQ(edges(step, 0, 29), Picture::text({"........", "...##...", "...##...", "...##...", "........"}));
  // Twice the root mean square of 16 gradients: of four of 30 it is 30; with one of 31 instead, 30.25.
  const Picture four = Picture::grey({{0, 0, 30, 30}, {0, 0, 30, 30}, {0, 0, 30, 30}, {0, 0, 30, 30}});
  const Picture larger = Picture::grey({{0, 0, 31, 30}, {0, 0, 31, 30}, {1, 0, 31, 30}, {0, 0, 31, 30}});
  EXPECT_EQ(edges(four, 0, 0), Picture(4, 4, 4));
  EXPECT_EQ(edges(Picture(1, 1, 3, 50), 0, 0), Picture(1, 1, 3));
  EXPECT_EQ(edges(larger, 0, -9), Picture::text({"....", ".#..", "....", "...."}));
}

TEST(Edges, CorrelateWithTheNeighboursAcrossTheirDirection) {
  // Each of the two columns correlates with the neighbours above and below, 30 * 30 each, and with the two diagonal
  // ones in the other column, half of that each: 2700, between the squares of 51 and 52.
  const Picture step = Picture::text({"....aaaa", "....aaaa", "....aaaa", "....aaaa", "....aaaa"}, 0, 30);
  EXPECT_EQ(edges(step, 1, 51), Picture::text({"........", "........", "...##...", "........", "........"}));
  EXPECT_EQ(edges(step, 1, 52), Picture(8, 8, 5));

  // Upside down in every second row all of these count negative: -2700.
  const Picture teeth = Picture::text({"....aaaa", "aaaa....", "....aaaa", "aaaa....", "....aaaa"}, 0, 30);
  EXPECT_EQ(edges(teeth, -1, 51), edges(step, 1, 51));
  EXPECT_EQ(edges(teeth, -1, 52), Picture(8, 8, 5));

  // Along a diagonal step the gradients are (20, 20), with a part of sqrt(800) across the step. Each correlates with
  // the two neighbours along the step, 800 each, and with two of the other line, 20 * 20 each: 2400.
  for (const int direction : {-1, 1}) {
    const auto across = [=](int x, int y) { return (direction < 0 ? 8 - x : x) + y; };
    const Picture diagonal = Picture(9, 9, 9).fill([&](int x, int y) { return across(x, y) < 8 ? 0 : 20; });
    const auto marked = [&](int x, int y) {
      return std::min(x, y) >= 2 && std::max(x, y) <= 6 && (across(x, y) == 7 || across(x, y) == 8) ? 255 : 0;
    };
    for (const int level : {20, 48}) EXPECT_EQ(edges(diagonal, 1, level), Picture(9, 9, 9).fill(marked)) << level;
    EXPECT_EQ(edges(diagonal, 1, 49), Picture(9, 9, 9));
  }
}

}  // namespace
