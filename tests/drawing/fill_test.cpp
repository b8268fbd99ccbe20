#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/morphology.h"

using namespace zeb::testing;

namespace {

TEST(FloodFill, SeedInThePaddingFillsItselfAndWhatItTouches) {
  Picture p(3, 6, 3);
  p(5, 0) = p(5, 1) = 0;
  p(3, 1) = p(4, 1) = 0;
  flood_fill(p.data(), 3, 3, 6, 5, 1, 9);
  EXPECT_EQ(p(5, 0), 0) << "columns behind the width are not looked at from other rows";
  EXPECT_EQ(p(5, 1), 9);
  EXPECT_EQ(p(4, 1), 9) << "the run goes left through the padding";
  EXPECT_EQ(p(0, 0), 9) << "and from there through the image";
  EXPECT_EQ(p(3, 0), Picture::padding_value);
}

TEST(FloodFill, EqualsAPixelwiseFillOnRandomImages) {
  std::mt19937 engine(1);
  for (int i = 0; i < 600; ++i) {
    const int width = pick(engine, 1, 120), height = pick(engine, 1, 60), stride = width + pick(engine, 0, 20);
    Picture p = Picture::random_binary(engine, width, stride, height, pick(engine, 1, 9) * 0.1, pick(engine, 0, 15));
    const unsigned char values[] = {0, 255, 7}, value = values[pick(engine, 0, 2)];
    const int seed_x = pick(engine, 0, width - 1), seed_y = pick(engine, 0, height - 1);
    Picture expected(p);
    const unsigned char old = p(seed_x, seed_y);
    std::vector<std::pair<int, int>> open{{seed_x, seed_y}};
    while (!open.empty()) {
      const auto [x, y] = open.back();
      open.pop_back();
      if (x < 0 || y < 0 || x >= width || y >= height || expected(x, y) != old || old == value) continue;
      expected(x, y) = value;
      for (const auto& [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) open.emplace_back(x + dx, y + dy);
    }
    auto bitmap = p.bitmap();
    zeb::flood_fill(bitmap, {static_cast<unsigned>(seed_x), static_cast<unsigned>(seed_y)}, value);
    ASSERT_TRUE(same(expected, p)) << "seed " << seed_x << ", " << seed_y;
  }
}

TEST(FloodFill, OutgrowsItsFirstStack) {
  // A comb: every second column hangs on row 0, so that the runs of row 1 lie on the stack all at once.
  Picture p(4001, 4001, 3);
  for (int x = 1; x < 4001; x += 2) p(x, 1) = p(x, 2) = 255;
  flood_fill(p.data(), 4001, 3, 4001, 4000, 2, 9);
  for (int x = 0; x < 4001; ++x) ASSERT_EQ(p(x, 2), x % 2 == 0 ? 9 : 255) << x;
}

TEST(MaskGrowth, SetsWhatSimilarNeighboursReach) {
  for_each_trial(400, 90, 30, [](Trial t) {
    const auto& [width, stride, height, offset] = t.g;
    t.src.fill([&](int x, int y) { return t.src(x, y) % 60; });
    const int tolerance = pick(t.engine, 0, 40);
    Picture expected(width, stride, height);
    for (int n = pick(t.engine, 0, 3); n > 0 && height > 0; --n)
      expected(pick(t.engine, 0, width - 1), pick(t.engine, 0, height - 1)) =
          static_cast<unsigned char>(pick(t.engine, 1, 255));
    Picture mask(expected);
    // The border seeds but does not grow.
    for (bool changed = true; changed;) {
      changed = false;
      for (int y = 1; y < height - 1; ++y)
        for (int x = 1; x < width - 1; ++x)
          for (int k = 0; k < 9 && expected(x, y) == 0; ++k) {
            const int u = x + k % 3 - 1, v = y + k / 3 - 1;
            if (expected(u, v) == 0 || std::abs(t.src(u, v) - t.src(x, y)) > tolerance) continue;
            expected(x, y) = 255;
            changed = true;
          }
    }
    vFillContMsk(t.src.data(), mask.data(), width, stride, height, static_cast<unsigned char>(tolerance));
    ASSERT_TRUE(same(expected, mask)) << "tolerance " << tolerance;
  });
}

/// Square outlines, each from (first, first) to (last, last).
Picture squares(int side, const std::vector<std::pair<int, int>>& corners, unsigned char value = 2) {
  Picture p(side, side + 4, side);
  for (const auto& [first, last] : corners)
    vDrawRect(p.data(), side, side + 4, first, first, last - first, last - first, 0.0f, value);
  return p;
}

Picture filled(Picture src, int close) {
  FloodFill(src.data(), src.data(), src.width(), src.height(), src.stride(), close, nullptr);
  return src;
}

TEST(RegionFill, NestedOutlinesAlternate) {
  // Outlines belong to what they enclose. Up to 3 pixels from an outline, another one does not count.
  const Picture src = squares(90, {{0, 89}, {3, 86}, {20, 70}, {24, 66}, {40, 50}, {74, 82}});
  Picture expected(90, 94, 90), dst(90, 94, 90, 77);
  for_each_pixel(94, 90, [&](int x, int y) {
    const auto within = [x, y](int first, int last) { return first <= x && x <= last && first <= y && y <= last; };
    const bool black = within(40, 50) || (within(20, 70) && !within(24, 66)) || within(74, 82) || !within(0, 89);
    expected(x, y) = black ? 0 : 255;
  });
  FloodFill(dst.data(), src.data(), 90, 90, 94, 0, nullptr);
  EXPECT_TRUE(same(expected, dst)) << "padding included";
  EXPECT_TRUE(same(expected, filled(src, 0))) << "in place";

  unsigned go_on = 0, cancel = 1;
  FloodFill(dst.data(), src.data(), 90, 90, 94, 0, &go_on);
  EXPECT_EQ(dst, expected);
  FloodFill(dst.data(), src.data(), 90, 90, 89, nullptr);
  EXPECT_EQ(dst, expected) << "a stride below the width";
  FloodFill(dst.data(), src.data(), 90, 90, 94, 1, &cancel);
  for_each_pixel(94, 90, [&](int x, int y) { ASSERT_EQ(dst(x, y), 0) << "cleared, then given up"; });
}

TEST(RegionFill, GapsAreClosedOnRequest) {
  for (int gap = 0; gap <= 4; ++gap) {
    Picture src = squares(40, {{10, 30}});
    for (int x = 0; x < gap; ++x) src(15 + x, 10) = 0;
    EXPECT_EQ(filled(src, 1)(20, 20), gap <= 2 ? 255 : 0) << gap << ": a square of radius 1 fits through 3 pixels";
    EXPECT_EQ(filled(src, 0)(20, 20), gap == 0 ? 255 : 0) << gap;
    EXPECT_EQ(filled(src, 0)(30, 20), 255) << "the line itself";
  }
  EXPECT_EQ(filled(squares(40, {{10, 30}}, 1), 0)(20, 20), 255);
  EXPECT_EQ(filled(squares(40, {{10, 30}}, 1), 1)(20, 20), 0) << "lines of value 1 are lost in the closing";
  std::mt19937 engine(3);
  Picture src = Picture::random_binary(engine, 90, 94, 60, 0.3), closed(src), dilated(src);
  for (const int radius : {1, 2}) {
    vMMRecursiveMorphOp(dilated.data(), closed.data(), 90, 94, 60, radius, 0, 1, radius == 1);
    vMMRecursiveMorphOp(closed.data(), dilated.data(), 90, 94, 60, radius, 1, 1, radius == 1);
  }
  EXPECT_TRUE(same(filled(closed, 0), filled(src, 1))) << "by the square, then by a disk of radius 2";
}

TEST(RegionFill, ALonePixelUsesUpItsLayer) {
  Picture src = squares(60, {{2, 12}, {20, 55}, {30, 40}});
  src(1, 15) = 255;
  const Picture dst = filled(src, 0);
  EXPECT_EQ(dst(7, 7), 255) << "above it";
  EXPECT_EQ(dst(1, 15), 0);
  EXPECT_EQ(dst(25, 25), 0) << "below it";
  src(1, 15) = 0, src(45, 35) = 255;
  EXPECT_EQ(filled(src, 0)(45, 35), 255) << "one layer deeper";
  EXPECT_EQ(filled(src, 0)(35, 35), 0);
}

TEST(RegionFill, LinesFillThemselves) {
  EXPECT_EQ(filled(Picture(1, 1, 4, 9), 0), Picture(1, 1, 4, 255));
  EXPECT_EQ(filled(Picture(4, 4, 1, 9), 0), Picture(4, 4, 1, 255));
}

TEST(RegionFill, CancelsBetweenShapes) {
  // The destination itself serves as the word: the shape that paints it is the last one.
  Picture column(40, 40, 60);
  for (int y = 5; y < 60; y += 20) vDrawRect(column.data(), 60, 40, 10, y, 12, 12, 0.0f, 255);
  std::vector<unsigned> words(40 * 60 / sizeof(unsigned));
  auto* const painted = reinterpret_cast<unsigned char*>(words.data());
  FloodFill(painted, column.data(), 40, 60, 40, 0, &words[(30 * 40 + 12) / sizeof(unsigned)]);
  EXPECT_EQ(painted[10 * 40 + 12], 255);
  EXPECT_EQ(painted[30 * 40 + 12], 255) << "a shape is finished";
  EXPECT_EQ(painted[50 * 40 + 12], 0) << "the next one is not begun";
}

}  // namespace
