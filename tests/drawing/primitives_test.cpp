#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"

using zeb::DrawMode;
using zeb::Point_;
using zeb::Rect__;
using zeb::um;
using zeb::testing::for_each_pixel;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

TEST(Line, WorkedOutByHand) {
  const auto line = [](int width, int height, int x1, int y1, int x2, int y2, int radius) {
    Picture p(width, width, height);
    vLine(p.data(), x1, y1, x2, y2, width, height, 255, radius);
    return p;
  };
  EXPECT_EQ(line(5, 2, 3, 1, 0, 1, 0), Picture::text({".....", ".###."})) << "the end point is left out";
  EXPECT_EQ(line(3, 6, 0, 0, 2, 5, 0), Picture::text({"#..", "#..", ".#.", ".#.", "..#", "..."}));
  // y runs -1, -0.75, ... : y + 0.5 is -0.5, -0.25, 0, 0.25; truncation toward zero makes all of them row 0.
  EXPECT_EQ(line(4, 2, 0, -1, 4, 0, 0), Picture::text({"####", "...."}));
  EXPECT_EQ(line(7, 5, 3, 2, 4, 2, 2), Picture::text({"...#...", "..###..", ".#####.", "..###..", "...#..."}))
      << "2 * 2 + 1 * 1 is more than 4";
  EXPECT_EQ(line(5, 3, 2, 1, 3, 1, -1), Picture(5, 5, 3));
}

TEST(Line, StampsDiscsAlongItsSteps) {
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    const int width = pick(engine, 1, 20), stride = width + pick(engine, 0, 4), height = pick(engine, 1, 20);
    const int x1 = pick(engine, -30, 40), y1 = pick(engine, -30, 40), x2 = pick(engine, -30, 40),
              y2 = pick(engine, -30, 40), radius = pick(engine, 0, 6);
    Picture expected(width, stride, height), dst(expected);
    const bool flat = std::abs(x2 - x1) > std::abs(y2 - y1);
    const int n = flat ? std::abs(x2 - x1) : std::abs(y2 - y1);
    const float slope = static_cast<float>(flat ? y2 - y1 : x2 - x1) / static_cast<float>(n);
    float f = static_cast<float>(flat ? y1 : x1);
    for (int s = 0; s < n; ++s, f += slope) {
      const int rounded = static_cast<int>(static_cast<double>(f) + 0.5);
      const int cx = flat ? (x2 < x1 ? x1 - s : x1 + s) : rounded, cy = flat ? rounded : (y2 < y1 ? y1 - s : y1 + s);
      // The stride bounds it, not the width.
      for_each_pixel(stride, height, [&](int x, int y) {
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius) expected(x, y) = 200;
      });
    }
    auto bitmap = dst.bitmap();
    zeb::draw_line(bitmap, {x1, y1}, {x2, y2}, 200, radius);
    ASSERT_TRUE(same(expected, dst)) << x1 << ',' << y1 << " to " << x2 << ',' << y2 << " radius " << radius;
  }
}

TEST(Rectangle, OutlineEndsOnTheOppositeCorner) {
  const Picture outline = Picture::text({".......", ".......", "..####.", "..#..#.", "..#..#.", "..####.", "......."});
  Picture whole(7, 7, 7), pixels(whole), lengths(whole);
  auto bitmap = whole.bitmap();
  zeb::draw_rect(bitmap, {2, 2}, 3, 3, 0.49f, 255);
  EXPECT_EQ(whole, outline);
  bitmap = pixels.bitmap();
  zeb::draw_rect(bitmap, Rect__<Point_<int>>({4, 4}, {2, 2}), 0.4f, 255);
  EXPECT_EQ(pixels, outline) << "the inclusive rectangle's outline lies one pixel beyond its edge";
  bitmap = lengths.bitmap({um(0.5f), um(2)});
  // x: 1.2 / 0.5 = 2.4, extent (2.0 - 1.2 + 1) / 0.5 = 3.6; y: 5 / 2 = 2.5, extent (10.5 - 5 + 1) / 2 = 3.25.
  zeb::draw_rect(bitmap, Rect__<Point_<um>>({um(1.2f), um(5)}, {um(2), um(10.5f)}), 0.0f, 255);
  EXPECT_EQ(lengths, outline);
  vDrawRect(whole.data(), 7, 7, 2, 2, 3, 3, 0.5f, 255);
  EXPECT_EQ(whole(1, 2), 255) << "a brush of radius 1";
  vDrawRect(whole.data(), 7, 7, INT32_MAX - 3, 3, 10, 2, NAN, 255);
}

TEST(Circle, IsAnOpenRingWithinAnAsymmetricSquare) {
  Picture p(5, 5, 5);
  vDrawCircle(p.data(), 5, 5, 5, 2, 2, 2.4f, 1.0f, 255, 0);
  // The radius of 2.4 rounds to 2 and the square ends at +1: the pixels at +2 are left out, those at -2 are not.
  EXPECT_EQ(p, Picture::text({".###.", "##.#.", "#....", "##.#.", "....."}))
      << "squared distances strictly between 1.96 and 5.76";

  std::mt19937 engine(2);
  const float special[] = {2, 0, -1, NAN, INFINITY, 3e9f};
  for (int i = 0; i < 2000; ++i) {
    const int width = pick(engine, 1, 20), stride = width + pick(engine, 0, 4), height = pick(engine, 1, 20);
    const int cx = pick(engine, -9, 29), cy = pick(engine, -9, 29), mode = pick(engine, -1, 3);
    const auto length = [&] {
      return pick(engine, 0, 9) == 0 ? special[pick(engine, 0, 5)] : static_cast<float>(pick(engine, 0, 80)) / 8;
    };
    const float radius = length(), thickness = length();
    Picture expected = Picture::random(engine, width, stride, height), dst(expected);
    const bool draws = radius >= 0 && thickness >= 0 && radius < 1e9f;
    const float outer = radius * radius, inner = (radius - thickness) * (radius - thickness);
    const int extent = draws ? static_cast<int>(std::round(radius)) : 0, value = pick(engine, 0, 255);
    expected.fill([&](int x, int y) {
      const int dx = x - cx, dy = y - cy, old = expected(x, y);
      const auto d = static_cast<float>(dx * dx + dy * dy);
      const bool in_square = dx >= -extent && dx < extent && dy >= -extent && dy < extent;
      if (!draws || !in_square || !(inner < d && d < outer)) return old;
      return mode == 0 ? value : mode == 1 ? old - value : mode == 2 ? old + value : old;
    });
    auto bitmap = dst.bitmap();
    zeb::draw_circle(bitmap, {cx, cy}, radius, thickness, static_cast<unsigned char>(value), DrawMode{mode});
    ASSERT_TRUE(same(expected, dst)) << cx << ',' << cy << " radius " << radius << ", thickness " << thickness;
  }
}

TEST(FilledRectangle, WrapsAroundTheImage) {
  const struct {
    int x1, y1, x2, y2;
    std::vector<std::string> rows;
  } cases[] = {
      {1, 1, 3, 3, {".....", ".##..", ".##..", "....."}},   {3, 1, 1, 3, {".....", "#####", "#####", "....."}},
      {1, 3, 3, 1, {".##..", ".##..", ".##..", ".##.."}},   {3, 3, 1, 1, {"#####", "#..##", "#..##", "#####"}},
      {2, 2, -1, -1, {".....", ".....", "..###", "..###"}}, {-7, 9, 2, 1, {"##...", ".....", ".....", "....."}},
      {2, 1, 2, 3, {".....", ".....", ".....", "....."}},   {0, 0, 5, 4, {"#####", "#####", "#####", "#####"}},
  };
  for (const auto& c : cases) {
    Picture p(5, 5, 4);
    auto bitmap = p.bitmap();
    bitmap.width = 3;  // the stride bounds the rectangle, not the width
    zeb::fill_rect(bitmap, c.x1, c.y1, c.x2, c.y2, 255);
    EXPECT_EQ(p, Picture::text(c.rows)) << c.x1 << ',' << c.y1 << ' ' << c.x2 << ',' << c.y2;
  }
}

TEST(FilledRectangle, MicrometresCheckTheirFirstCornerOnly) {
  const auto filled = [](float x1, float y1, float x2, float y2) {
    Picture p(4, 6, 3);
    for_each_pixel(6, 3, [&](int x, int y) { p(x, y) = 0; });
    auto bitmap = p.bitmap({um(0.5f), um(2)});
    zeb::fill_rect(bitmap, Rect__<Point_<um>>({um(x1), um(y1)}, {um(x2), um(y2)}), 255);
    Picture all(6, 6, 3);
    return all.fill([&](int x, int y) { return p(x, y); });
  };
  EXPECT_EQ(filled(0.6f, 2.5f, 1.9f, 5.0f), Picture::text({"......", ".##...", "......"})) << "ends excluded";
  EXPECT_EQ(filled(2.0f, 4.0f, 3.0f, 99.0f), Picture::text({"......", "......", "....##"}))
      << "begins at x == width, in the padding, and ends below the image";
  EXPECT_EQ(filled(1.5f, 2.0f, 5.0f, 99.0f), Picture::text({"......", "...###", "######"}))
      << "runs on into the next row, not behind the image";
}

}  // namespace
