#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/picture.h"
#include "zeb/drawing.h"

using zeb::DrawMode;
using zeb::Point_;
using zeb::Rect__;
using zeb::um;
using zeb::testing::for_each_pixel;
using zeb::testing::Picture;

namespace {

TEST(Line, WorkedOutByHand) {
  const auto expect_line = [](Point_<int> from, Point_<int> to, int radius, const std::vector<std::string>& rows,
                              const char* why) {
    const Picture expected = Picture::text(rows);
    Picture p(expected.width(), expected.stride(), expected.height());
    auto bitmap = p.bitmap();
    bitmap.width = 1;  // the stride bounds it, not the width
    zeb::draw_line(bitmap, from, to, 255, radius);
    EXPECT_EQ(p, expected) << why;
  };
  expect_line({3, 1}, {0, 1}, 0, {".....", ".###."}, "the end point is left out");
  expect_line({0, 0}, {2, 5}, 0, {"#..", "#..", ".#.", ".#.", "..#", "..."}, "steps in y");
  expect_line({4, 3}, {0, 1}, 0, {".....", ".....", ".##..", "...##"}, "backward, halves round up");
  expect_line({0, -1}, {4, 0}, 0, {"####", "...."}, "-0.5, -0.25, 0 and 0.25 are truncated to row 0");
  expect_line({-1, 0}, {2, 3}, 0, {"#...", "#...", ".#.."}, "equal extents step in y");
  expect_line({3, 2}, {4, 2}, 2, {"...#...", "..###..", ".#####.", "..###..", "...#..."}, "2 * 2 + 1 is more than 4");
  expect_line({1, 0}, {2, 0}, 2, {"####"}, "a disk higher than the image");
  expect_line({-4, 2}, {2, 2}, 1, {".....", "##...", "###..", "##...", "....."}, "comes from outside");
  expect_line({4, 2}, {INT32_MAX, 0}, 1, {".....", "....#", "...##", "....#"}, "ends where it has left the image");
  expect_line({1, 1}, {INT32_MIN, 1}, 0, {"...", "##."}, "to the left as well");
  expect_line({1, 1}, {INT32_MIN, 1}, 1, {"##.", "###", "##."}, "with a brush");
  expect_line({2, 1}, {2, 1}, 3, {".....", "....."}, "no step");
  expect_line({2, 1}, {3, 1}, -1, {".....", "....."}, "a negative radius");
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
  const auto ring = [](int x, int y, float radius, float thickness) {
    Picture p(5, 7, 5);
    auto bitmap = p.bitmap();
    zeb::draw_circle(bitmap, {x, y}, radius, thickness, 255, DrawMode::overwrite);
    return p;
  };
  const auto text = [](const std::vector<std::string>& rows) { return Picture::text(rows, 7); };
  EXPECT_EQ(ring(2, 2, 2.4f, 1), text({".###.", "##.#.", "#....", "##.#.", "....."})) << "1.96 to 5.76 in -2 to 1";
  EXPECT_EQ(ring(2, 2, 2.5f, 0.6f), text({".###.", "#...#", "#...#", "#...#", ".###."})) << "3.61 to 6.25 in -3 to 2";
  EXPECT_EQ(ring(2, 2, 2, 2), text({".....", ".###.", ".#.#.", ".###.", "....."})) << "neither 0 nor 4";
  EXPECT_EQ(ring(2, 2, 2, 3), text({".....", ".#.#.", ".....", ".#.#.", "....."})) << "a hole again";
  EXPECT_EQ(ring(0, 5, 3.5f, 1), text({".....", ".....", "##...", "..#..", "...#."})) << "6.25 to 12.25, clipped";
  EXPECT_EQ(ring(5, -1, 3.5f, 1), text({"..#..", "...#.", "....#", ".....", "....."}));
  for (const auto& [radius, thickness] :
       {std::pair{2.0f, 0.0f}, {-1, 1}, {2, -1}, {NAN, 1}, {2, NAN}, {INFINITY, 1}, {3e9f, 3e9f}})
    EXPECT_EQ(ring(2, 2, radius, thickness), Picture(5, 7, 5)) << radius << ", " << thickness;
}

TEST(Circle, ModesReplaceOrWrap) {
  for (const auto& [mode, expected] : {std::pair{-1, 100}, {0, 200}, {1, 156}, {2, 44}, {3, 100}}) {
    Picture p(3, 3, 3, 100);
    vDrawCircle(p.data(), 3, 3, 3, 1, 1, 1.5f, 1, 200, mode);
    EXPECT_EQ(p(0, 1), expected) << mode;
    EXPECT_EQ(p(1, 1), 100) << mode;
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
