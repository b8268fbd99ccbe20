#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/drawing.h"
#include "zeb/morphology.h"
#include "zeb/shapes.h"

using zeb::testing::FailingAllocations;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

TEST(FloodFill, StopsAtCornersAndAtOtherValues) {
  Picture p = Picture::text({"##...", "#..#.", ".##.#", "..##."});
  auto bitmap = p.bitmap();
  zeb::flood_fill(bitmap, {1, 1}, 7);
  EXPECT_EQ(p, Picture::grey({{255, 255, 7, 7, 7}, {255, 7, 7, 255, 7}, {0, 255, 255, 0, 255}, {0, 0, 255, 255, 0}}));
  const Picture before(p);
  zeb::flood_fill(bitmap, {0, 0}, 255);
  EXPECT_EQ(p, before) << "the seed has the value already";
}

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
    // Few values in long runs, so that areas are large and their outlines rough.
    Picture p = Picture::random_binary(engine, width, stride, height, pick(engine, 1, 9) * 0.1, pick(engine, 0, 15));
    const unsigned char values[] = {0, 255, 7};
    const unsigned char value = values[pick(engine, 0, 2)];
    const int x = pick(engine, 0, width - 1), y = pick(engine, 0, height - 1);
    Picture expected(p);
    const unsigned char old = p(x, y);
    std::vector<std::pair<int, int>> open;
    if (old != value) open.emplace_back(x, y);
    while (!open.empty()) {
      const auto [cx, cy] = open.back();
      open.pop_back();
      if (cx < 0 || cy < 0 || cx >= width || cy >= height || expected(cx, cy) != old) continue;
      expected(cx, cy) = value;
      for (const auto& [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) open.emplace_back(cx + dx, cy + dy);
    }
    flood_fill(p.data(), static_cast<unsigned>(width), static_cast<unsigned>(height), static_cast<unsigned>(stride),
               static_cast<unsigned>(x), static_cast<unsigned>(y), value);
    ASSERT_TRUE(same(expected, p)) << "seed " << x << ", " << y;
  }
}

TEST(FloodFill, OutgrowsItsFirstStack) {
  // A comb: every second column hangs on row 0, so that the runs of row 1 lie on the stack all at once.
  Picture p(4001, 4001, 3);
  for (int x = 1; x < 4001; x += 2) p(x, 1) = p(x, 2) = 255;
  flood_fill(p.data(), 4001, 3, 4001, 4000, 2, 9);
  for (int x = 0; x < 4001; ++x) ASSERT_EQ(p(x, 2), x % 2 == 0 ? 9 : 255) << x;
}

TEST(MaskGrowth, SpreadsOverSimilarPixelsButNotOntoTheBorder) {
  const Picture src = Picture::grey({{10, 10, 10, 10, 10, 10},
                                     {10, 10, 12, 14, 16, 10},
                                     {10, 90, 90, 90, 90, 90},
                                     {10, 11, 10, 12, 14, 10},
                                     {10, 10, 10, 10, 10, 10}});
  Picture mask(6, 6, 5);
  mask(0, 0) = 1;
  vFillContMsk(src.data(), mask.data(), 6, 6, 5, 2);
  EXPECT_EQ(
      mask,
      Picture::grey(
          {{1, 0, 0, 0, 0, 0}, {0, 255, 255, 255, 255, 0}, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}}))
      << "each step of 2 is within the tolerance; the border seeds but does not grow";
}

TEST(MaskGrowth, LeavesImagesWithoutAnInteriorAlone) {
  const Picture src(20, 20, 5, 9);
  Picture mask(20, 20, 5);
  for (int x = 0; x < 20; x += 2) mask(x, 0) = mask(x, 1) = 1;
  const Picture untouched(mask);
  for (const int width : {INT32_MIN, -1, 0, 2, 20})
    for (const int height : {INT32_MIN, INT32_MIN + 1, -1, 0, 2, 5})
      if (width < 3 || height < 3) vFillContMsk(src.data(), mask.data(), width, 20, height, 255);
  EXPECT_EQ(mask, untouched);
}

TEST(MaskGrowth, FollowsItsPassesOnRandomImages) {
  std::mt19937 engine(2);
  for (int i = 0; i < 400; ++i) {
    const int width = pick(engine, 1, 90), height = pick(engine, 0, 30), stride = width + pick(engine, 0, 9);
    Picture src = Picture::random(engine, width, stride, height);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) src(x, y) = static_cast<unsigned char>(src(x, y) % 60);
    const int tolerance = pick(engine, 0, 40);
    Picture expected(width, stride, height);
    for (int n = pick(engine, 0, 3); n > 0 && height > 0; --n)
      expected(pick(engine, 0, width - 1), pick(engine, 0, height - 1)) =
          static_cast<unsigned char>(pick(engine, 1, 255));
    Picture mask(expected);
    const auto grow = [&](int x, int y) {
      for (int dy = -1; dy <= 1 && expected(x, y) == 0; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
          if (expected(x + dx, y + dy) != 0 && std::abs(src(x + dx, y + dy) - src(x, y)) <= tolerance) {
            expected(x, y) = 255;
            return true;
          }
      return false;
    };
    for (bool changed = true; changed;) {
      changed = false;
      for (int y = 1; y < height - 1; ++y)
        for (int x = 1; x < width - 1; ++x) changed |= grow(x, y);
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
  unsigned go_on = 0;
  FloodFill(dst.data(), src.data(), 220, 220, 224, 1, &go_on);
  for (const auto& [radius, value] : {std::pair{104, 0}, {98, 255}, {85, 255}, {60, 0}, {30, 255}, {8, 0}, {0, 0}})
    EXPECT_EQ(dst(110 + radius, 110), value) << radius;
  Picture in_place(src), without_cancel(220, 224, 220);
  FloodFill(in_place.data(), in_place.data(), 220, 220, 224, nullptr);
  for (int y = 0; y < 220; ++y)
    for (int x = 0; x < 220; ++x) ASSERT_EQ(in_place(x, y), dst(x, y)) << x << ", " << y;
}

TEST(RegionFill, ClosingBridgesAGap) {
  Picture src = rings();
  for (int y = 109; y <= 110; ++y)
    for (int x = 200; x < 220; ++x) src(x, y) = 0;
  Picture open(220, 224, 220), closed(open);
  FloodFill(open.data(), src.data(), 220, 220, 224, 0, nullptr);
  FloodFill(closed.data(), src.data(), 220, 220, 224, 1, nullptr);
  EXPECT_EQ(closed(195, 110), 255);
  EXPECT_EQ(open(195, 110), 0) << "the outline is walked inside and out, which leaves the ring alone";
}

TEST(RegionFill, ALonePixelBlocksWhatLiesBelow) {
  Picture src(60, 60, 60);
  vDrawCircle(src.data(), 60, 60, 60, 30, 35, 20.0f, 2.0f, 255, 0);
  Picture dst(60, 60, 60, 77);
  FloodFill(dst.data(), src.data(), 60, 60, 60, 0, nullptr);
  EXPECT_EQ(dst(30, 35), 255);
  src(30, 2) = 255;
  FloodFill(dst.data(), src.data(), 60, 60, 60, 0, nullptr);
  EXPECT_EQ(dst, Picture(60, 60, 60));
}

TEST(RegionFill, CancelsBeforeAndDuring) {
  const Picture src = rings();
  Picture dst(220, 224, 220, 77);
  unsigned cancel = 1;
  FloodFill(dst.data(), src.data(), 220, 220, 224, 1, &cancel);
  for (int y = 0; y < 220; ++y)
    for (int x = 0; x < 220; ++x) ASSERT_EQ(dst(x, y), 0) << "cleared, then given up";

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
  const auto for_each_pixel = [](int left, int top, int right, int bottom, const auto& visit) {
    for (int y = top; y <= bottom; ++y)
      for (int x = left; x <= right; ++x) visit(x, y);
  };
  for_each_pixel(0, 0, stride - 1, height - 1, [&](int x, int y) { dst(x, y) = 0; });
  for (int depth = 0; depth < 100; ++depth) {
    for_each_pixel(0, 0, stride - 1, height - 1, [&](int x, int y) { next(x, y) = 0; });
    int shapes = 0;
    for (; shapes < 10000; ++shapes) {
      std::vector<char> chain;
      int x = 0, y = 0, left = 0, right = 0, top = 0, bottom = 0;
      vShapePlusBM(chain, layer.data(), filled.data(), width, stride, height, &x, &y, &left, &right, &top, &bottom, 0);
      if (chain.empty()) break;
      ShapeBM(inside.data(), chain.data(), width, stride, height, static_cast<int>(chain.size()), x, y, -3);
      for_each_pixel(0, 0, width - 1, height - 1,
                     [&](int u, int v) { inside(u, v) = inside(u, v) != 0 ? 0 : filled(u, v); });
      for_each_pixel(left, top, right, bottom, [&](int u, int v) {
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
    const bool noisy = i % 4 == 0;
    const int largest = noisy ? 20 : 70;
    const int width = pick(engine, 5, largest), stride = width + pick(engine, 0, 9), height = pick(engine, 1, largest);
    Picture src = Picture::random_binary(engine, width, stride, height, noisy ? 0.15 : 0.0);
    for (int n = pick(engine, 0, 6); n > 0; --n)
      vDrawCircle(src.data(), width, height, stride, pick(engine, 0, width), pick(engine, 0, height),
                  static_cast<float>(pick(engine, 2, 35)), 1.5f, static_cast<unsigned char>(pick(engine, 1, 255)), 0);
    const bool close = pick(engine, 0, 1) == 0;
    Picture expected = Picture::random(engine, width, stride, height), dst(expected);
    fill_regions(expected, src, close);
    FloodFill(dst.data(), src.data(), width, height, stride, close ? 1 : 0, nullptr);
    ASSERT_TRUE(same(expected, dst)) << "width " << width << ", height " << height << ", close " << close;
  }
}

TEST(RegionFill, LeavesTheDestinationAloneWhereItCannotWork) {
  const Picture src = rings();
  Picture dst(220, 224, 220, 77);
  const Picture untouched(dst);
  for (int granted = 0; granted < 4; ++granted) {
    const FailingAllocations failing(granted);
    FloodFill(dst.data(), src.data(), 220, 220, 224, nullptr);
  }
  FloodFill(nullptr, src.data(), 220, 220, 224, nullptr);
  FloodFill(dst.data(), nullptr, 220, 220, 224, nullptr);
  FloodFill(dst.data(), src.data(), 0, 220, 224, nullptr);
  FloodFill(dst.data(), src.data(), 220, -1, 224, nullptr);
  FloodFill(dst.data(), src.data(), 220, 220, 100, nullptr);
  FloodFill(dst.data(), src.data(), 65536, 65536, 65536, nullptr);
  EXPECT_EQ(dst, untouched);
}

}  // namespace
