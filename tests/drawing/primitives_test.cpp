#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"

using zeb::DrawMode;
using zeb::Point_;
using zeb::Rect__;
using zeb::um;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

Picture line(int width, int height, int x1, int y1, int x2, int y2, int radius) {
  Picture p(width, width, height);
  vLine(p.data(), x1, y1, x2, y2, width, height, 255, radius);
  return p;
}

TEST(Line, LeavesOutItsEndPoint) {
  EXPECT_EQ(line(5, 2, 0, 0, 3, 0, 0), Picture::text({"###..", "....."}));
  EXPECT_EQ(line(5, 2, 3, 1, 0, 1, 0), Picture::text({".....", ".###."})) << "backwards the other end is left out";
  EXPECT_EQ(line(5, 2, 2, 1, 2, 1, 1), Picture::text({".....", "....."})) << "no steps, no stamp";
  EXPECT_EQ(line(3, 3, 0, 0, 3, 3, 0), Picture::text({"#..", ".#.", "..#"}));
}

TEST(Line, SteepLinesRoundHalvesUpAndTruncateBelowZero) {
  EXPECT_EQ(line(3, 6, 0, 0, 2, 5, 0), Picture::text({"#..", "#..", ".#.", ".#.", "..#", "..."}));
  // y runs -1, -0.75, ... : y + 0.5 is -0.5, -0.25, 0, 0.25; truncation toward zero makes all of them row 0.
  EXPECT_EQ(line(4, 2, 0, -1, 4, 0, 0), Picture::text({"####", "...."}));
}

TEST(Line, BrushIsARoundDiscThatPaintsPadding) {
  EXPECT_EQ(line(5, 3, 2, 1, 3, 1, 1), Picture::text({"..#..", ".###.", "..#.."}));
  EXPECT_EQ(line(7, 5, 3, 2, 4, 2, 2), Picture::text({"...#...", "..###..", ".#####.", "..###..", "...#..."}))
      << "2 * 2 + 1 * 1 is more than 4";
  EXPECT_EQ(line(5, 3, 2, 1, 3, 1, -1), Picture(5, 5, 3));
  Picture padded(3, 5, 1);
  vLine(padded.data(), 0, 0, 9, 0, 5, 1, 7, 0);
  EXPECT_EQ(padded(4, 0), 7);
}

TEST(Line, ClipsAnywhere) {
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
      for (int j = -radius; j <= radius; ++j)
        for (int k = -radius; k <= radius; ++k)
          if (j * j + k * k <= radius * radius && 0 <= cy + k && cy + k < height && 0 <= cx + j && cx + j < stride)
            expected(cx + j, cy + k) = 200;
    }
    auto bitmap = dst.bitmap();
    zeb::draw_line(bitmap, {x1, y1}, {x2, y2}, 200, radius);
    ASSERT_TRUE(same(expected, dst)) << x1 << ',' << y1 << " to " << x2 << ',' << y2 << " radius " << radius;
  }
}

TEST(Rectangle, OutlineEndsOnTheOppositeCorner) {
  const Picture outline = Picture::text({".......", ".......", "..####.", "..#..#.", "..#..#.", "..####.", "......."});
  Picture p(7, 7, 7);
  auto bitmap = p.bitmap({um(0.5f), um(2)});
  zeb::draw_rect(bitmap, {2, 2}, 3, 3, 0.0f, 255);
  EXPECT_EQ(p, outline);
  p = Picture(7, 7, 7);
  bitmap = p.bitmap({um(0.5f), um(2)});
  zeb::draw_rect(bitmap, Rect__<Point_<int>>({4, 4}, {2, 2}), 0.4f, 255);
  EXPECT_EQ(p, outline) << "the inclusive rectangle's outline lies one pixel beyond its edge";
  p = Picture(7, 7, 7);
  bitmap = p.bitmap({um(0.5f), um(2)});
  // x: 1.2 / 0.5 = 2.4, extent (2.0 - 1.2 + 1) / 0.5 = 3.6; y: 5 / 2 = 2.5, extent (10.5 - 5 + 1) / 2 = 3.25.
  zeb::draw_rect(bitmap, Rect__<Point_<um>>({um(1.2f), um(5)}, {um(2), um(10.5f)}), 0.0f, 255);
  EXPECT_EQ(p, outline);
}

TEST(Rectangle, ThicknessRoundsHalvesAwayFromZero) {
  Picture thin(9, 9, 9), thick(9, 9, 9);
  vDrawRect(thin.data(), 9, 9, 3, 3, 2, 2, 0.49f, 255);
  vDrawRect(thick.data(), 9, 9, 3, 3, 2, 2, 0.5f, 255);
  EXPECT_EQ(thin(2, 3), 0);
  EXPECT_EQ(thick(2, 3), 255) << "a brush of radius 1";
  vDrawRect(thick.data(), 9, 9, INT32_MAX - 3, 3, 10, 2, NAN, 255);
}

TEST(Circle, IsAnOpenRingWithinAnAsymmetricSquare) {
  Picture p(9, 9, 9);
  auto bitmap = p.bitmap();
  zeb::draw_circle(bitmap, {4, 4}, 3.0f, 1.0f, 255, DrawMode::overwrite);
  EXPECT_EQ(p, Picture::text({".........", ".........", "..##.##..", "..#...#..", ".........", "..#...#..", "..##.##..",
                              ".........", "........."}));
  // The radius of 2.4 rounds to 2 and the square ends at +1: the pixels at +2 are left out, those at -2 are not.
  p = Picture(5, 5, 5);
  vDrawCircle(p.data(), 5, 5, 5, 2, 2, 2.4f, 1.0f, 255, 0);
  EXPECT_EQ(p, Picture::text({".###.", "##.#.", "#....", "##.#.", "....."}))
      << "squared distances strictly between 1.96 and 5.76";
}

TEST(Circle, ModesWrapAndDegenerateRingsAreEmpty) {
  const struct {
    int mode;
    int expected;
  } cases[] = {{0, 10}, {1, 240}, {2, 4}, {3, 250}, {-1, 250}};
  for (const auto& c : cases) {
    Picture p(5, 5, 5, 250);
    vDrawCircle(p.data(), 5, 5, 5, 2, 2, 1.5f, 1.0f, 10, c.mode);
    EXPECT_EQ(p(1, 2), c.expected) << c.mode;
    EXPECT_EQ(p(2, 2), 250) << "the centre is not beyond the inner circle";
  }
  const Picture blank(5, 5, 5);
  Picture p(blank);
  const float ring[][2] = {{2, 0}, {-1, 1}, {2, -1}, {NAN, 1}, {2, NAN}, {INFINITY, 1}, {3e9f, 1e9f}};
  for (const auto& [radius, thickness] : ring)
    for (const int at : {2, INT32_MIN, INT32_MAX}) vDrawCircle(p.data(), 5, 5, 5, at, at, radius, thickness, 255, 0);
  EXPECT_EQ(p, blank);
  vDrawCircle(p.data(), 5, 5, 5, 2, 2, 2.0f, 3.0f, 255, 0);
  EXPECT_EQ(p, Picture::text({".....", ".#.#.", ".....", ".#.#.", "....."}))
      << "a thickness above the radius leaves a hole of (2 - 3)^2";
  Picture narrow(2, 5, 5);
  vDrawCircle(narrow.data(), 2, 5, 5, 2, 2, 2.0f, 1.0f, 255, 0);
  EXPECT_EQ(narrow(3, 1), Picture::padding_value) << "rings clip at the width";
  EXPECT_EQ(narrow(1, 1), 255);
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

TEST(FilledRectangleDeathTest, MicrometresCheckTheirFirstCornerOnly) {
  Picture p(4, 6, 3);
  auto bitmap = p.bitmap({um(0.5f), um(2)});
  const auto fill = [&bitmap](float x1, float y1, float x2, float y2) {
    zeb::fill_rect(bitmap, Rect__<Point_<um>>({um(x1), um(y1)}, {um(x2), um(y2)}), 255);
  };
  fill(0.6f, 2.5f, 1.9f, 5.0f);  // columns 1 to 3 and rows 1 to 2, ends excluded
  EXPECT_EQ(p(1, 1), 255);
  EXPECT_EQ(p(2, 1), 255);
  EXPECT_EQ(p(3, 1), 0);
  EXPECT_EQ(p(1, 2), 0);
  fill(2.0f, 4.0f, 3.0f, 99.0f);  // begins at x == width, in the padding, and ends below the image
  EXPECT_EQ(p(4, 2), 255);
  EXPECT_EQ(p(3, 2), 0);
  fill(1.5f, 2.0f, 5.0f, 99.0f);  // too long: runs on into the next row, not behind the image
  EXPECT_EQ(p(3, 1), 255);
  EXPECT_EQ(p(5, 1), 255);
  EXPECT_EQ(p(0, 2), 255);
  fill(0.0f, 2.0f, 1.0f, 2.0f);
  Picture untouched(p);
  EXPECT_DEATH(fill(2.5f, 0.0f, 3.0f, 3.0f), "");
  EXPECT_DEATH(fill(0.0f, 6.0f, 3.0f, 9.0f), "");
  EXPECT_DEATH(fill(-0.5f, 0.0f, 3.0f, 9.0f), "");
  EXPECT_EQ(p, untouched);
}

}  // namespace
