#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/morphology.h"
#include "zeb/shapes.h"

using zeb::testing::for_each_pixel;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

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

TEST(MaskGrowth, FollowsItsPassesOnRandomImages) {
  std::mt19937 engine(2);
  for (int i = 0; i < 400; ++i) {
    const int width = pick(engine, 1, 90), height = pick(engine, 0, 30), stride = width + pick(engine, 0, 9);
    Picture src = Picture::random(engine, width, stride, height);
    src.fill([&](int x, int y) { return src(x, y) % 60; });
    const int tolerance = pick(engine, 0, 40);
    Picture expected(width, stride, height);
    for (int n = pick(engine, 0, 3); n > 0 && height > 0; --n)
      expected(pick(engine, 0, width - 1), pick(engine, 0, height - 1)) =
          static_cast<unsigned char>(pick(engine, 1, 255));
    Picture mask(expected);
    const auto has_similar_neighbour = [&](int x, int y) {
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
          if (expected(x + dx, y + dy) != 0 && std::abs(src(x + dx, y + dy) - src(x, y)) <= tolerance) return true;
      return false;
    };
    for (bool changed = true; changed;) {
      changed = false;
      // The border seeds but does not grow.
      for_each_pixel(width - 2, height - 2, [&](int x, int y) {
        if (expected(x + 1, y + 1) != 0 || !has_similar_neighbour(x + 1, y + 1)) return;
        expected(x + 1, y + 1) = 255;
        changed = true;
      });
    }
    vFillContMsk(src.data(), mask.data(), width, stride, height, static_cast<unsigned char>(tolerance));
    ASSERT_TRUE(same(expected, mask)) << "width " << width << ", height " << height;
  }
}

/// Rings of radius 100, 70, 40 and 15 around the centre.
Picture rings() {
  Picture p(220, 224, 220);
  for (const float radius : {100.0f, 70.0f, 40.0f, 15.0f})
    vDrawCircle(p.data(), 220, 220, 224, 110, 110, radius, 2.0f, 255, 0);
  return p;
}

TEST(RegionFill, NestedOutlinesAlternate) {
  const Picture src = rings();
  Picture dst(220, 224, 220, 77);
  unsigned go_on = 0, cancel = 1;
  FloodFill(dst.data(), src.data(), 220, 220, 224, 1, &go_on);
  for (const auto& [radius, value] : {std::pair{104, 0}, {98, 255}, {85, 255}, {60, 0}, {30, 255}, {8, 0}, {0, 0}})
    EXPECT_EQ(dst(110 + radius, 110), value) << radius;
  const Picture untouched(dst);
  FloodFill(dst.data(), src.data(), 220, 220, 219, nullptr);
  EXPECT_EQ(dst, untouched) << "a stride below the width";
  FloodFill(dst.data(), src.data(), 220, 220, 224, 1, &cancel);
  for_each_pixel(224, 220, [&](int x, int y) { ASSERT_EQ(dst(x, y), 0) << "cleared, then given up"; });
}

TEST(RegionFill, CancelsBetweenShapes) {
  // The destination itself serves as the word: the shape that paints it is the last one.
  Picture squares(40, 40, 60);
  for (int y = 5; y < 60; y += 20) vDrawRect(squares.data(), 60, 40, 10, y, 12, 12, 0.0f, 255);
  std::vector<unsigned> words(40 * 60 / sizeof(unsigned));
  auto* const painted = reinterpret_cast<unsigned char*>(words.data());
  FloodFill(painted, squares.data(), 40, 60, 40, 0, &words[(30 * 40 + 12) / sizeof(unsigned)]);
  EXPECT_EQ(painted[10 * 40 + 12], 255);
  EXPECT_EQ(painted[30 * 40 + 12], 255) << "a shape is finished";
  EXPECT_EQ(painted[50 * 40 + 12], 0) << "the next one is not begun";
}

/// One shape after the other over the whole image, as the region fill is described.
void fill_regions(Picture& dst, const Picture& src, bool close) {
  const int width = src.width(), stride = src.stride(), height = src.height();
  Picture layer(src), next(src), filled(width, stride, height), inside(filled);
  for (const int radius : close ? std::vector<int>{1, 2} : std::vector<int>{}) {
    vMMRecursiveMorphOp(next.data(), layer.data(), width, stride, height, radius, 0, 1, radius == 1);
    vMMRecursiveMorphOp(layer.data(), next.data(), width, stride, height, radius, 1, 1, radius == 1);
  }
  for_each_pixel(stride, height, [&](int x, int y) { dst(x, y) = 0; });
  for (int depth = 0; depth < 100; ++depth) {
    for_each_pixel(stride, height, [&](int x, int y) { next(x, y) = 0; });
    int shapes = 0;
    for (; shapes < 10000; ++shapes) {
      std::vector<char> chain;
      int x = 0, y = 0, left = 0, right = 0, top = 0, bottom = 0;
      vShapePlusBM(chain, layer.data(), filled.data(), width, stride, height, &x, &y, &left, &right, &top, &bottom, 0);
      if (chain.empty()) break;
      ShapeBM(inside.data(), chain.data(), width, stride, height, static_cast<int>(chain.size()), x, y, -3);
      inside.fill([&](int u, int v) { return inside(u, v) != 0 ? 0 : filled(u, v); });
      for_each_pixel(right - left + 1, bottom - top + 1, [&](int dx, int dy) {
        const int u = left + dx, v = top + dy;
        if (inside(u, v) != 0) next(u, v) = layer(u, v);
        if (filled(u, v) != 0) {
          layer(u, v) = 0;
          dst(u, v) = depth % 2 == 0 ? 255 : 0;
        }
        inside(u, v) = filled(u, v) = 0;
      });
    }
    if (shapes == 0) return;
    layer = next;
  }
}

TEST(RegionFill, FollowsItsStepsOnRandomImages) {
  std::mt19937 engine(3);
  for (int i = 0; i < 120; ++i) {
    // Noise leaves lone pixels, at which the described steps go on for long.
    const bool noisy = i % 4 == 0, close = pick(engine, 0, 1) == 0, in_place = pick(engine, 0, 3) == 0;
    const int largest = noisy ? 20 : 70;
    const int width = pick(engine, 1, largest), stride = width + pick(engine, 0, 9), height = pick(engine, 1, largest);
    Picture src = Picture::random_binary(engine, width, stride, height, noisy ? 0.15 : 0.0);
    for (int n = pick(engine, 0, 6); n > 0; --n)
      vDrawCircle(src.data(), width, height, stride, pick(engine, 0, width), pick(engine, 0, height),
                  static_cast<float>(pick(engine, 2, 35)), 1.5f, static_cast<unsigned char>(pick(engine, 1, 255)), 0);
    Picture dst = in_place ? src : Picture::random(engine, width, stride, height), expected = dst;
    fill_regions(expected, src, close);
    FloodFill(dst.data(), in_place ? dst.data() : src.data(), width, height, stride, close ? 1 : 0, nullptr);
    ASSERT_TRUE(same(expected, dst)) << "width " << width << ", height " << height << ", close " << close;
  }
}

}  // namespace
