#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using namespace zeb::testing;

namespace {

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
  const int packed_end = std::max((src.width() - 4) & ~3, 0);
  return dst.fill([&](int x, int y) -> int {
    if (!inner(src, x, y)) return 0;
    if (packed_end == 0 && y > 1) return dst(x, y);
    const double length = std::hypot(sobel_x(src, x, y), sobel_y(src, x, y)) / 4;
    return x < packed_end ? std::min(static_cast<int>(std::nearbyint(length)), 255) : static_cast<int>(length) % 256;
  });
}

Picture component(const Picture& src, Picture dst, int (*gradient)(const Picture&, int, int)) {
  const int packed_end = std::max((src.width() - 4) & ~3, 0);
  return dst.fill([&](int x, int y) -> int {
    if (!inner(src, x, y)) return 128;
    if (packed_end == 0) return dst(x, y);
    const double eighth = gradient(src, x, y) / 8.0;
    return x < packed_end ? std::clamp(static_cast<int>(std::nearbyint(eighth + 128)), 0, 255)
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

TEST(Sobel, SingleColumnsWrapWherePackedOnesSaturate) {
  Picture src(12, 12, 3), dst(src);
  for (const int at : {4, 9}) {  // of twelve columns 0 to 7 are packed
    // Around the corner: 0 0 0 / 0 . 255 / 0 255 255, both gradients 3 * 255.
    src.fill([at](int x, int y) { return x < at || y == 0 || (y == 1 && x == at) ? 0 : 255; });
    zeb::FastSobel(dst.data(), src.data(), 12, 12, 3);
    EXPECT_EQ(dst(at, 1), at == 4 ? 255 : 270 - 256) << "sqrt(2) * 765 / 4 = 270.5";
  }
}

TEST(Sobel, NarrowImagesComputeRow1Alone) {
  Picture src = Picture::grey({{0, 0, 40, 40}, {0, 0, 40, 40}, {0, 0, 40, 40}, {0, 0, 40, 40}}, 6);
  Picture dst(4, 6, 4, 9);
  zeb::FastSobel(dst.data(), src.data(), 4, 6, 4);
  EXPECT_EQ(dst, Picture::grey({{0, 0, 0, 0}, {0, 40, 40, 0}, {0, 9, 9, 0}, {0, 0, 0, 0}}, 6));
  zeb::FastGradient(dst.data(), dst.data(), src.data(), 4, 6, 4);
  EXPECT_EQ(dst, Picture::grey({{128, 128, 128, 128}, {128, 40, 40, 128}, {128, 9, 9, 128}, {128, 128, 128, 128}}, 6));
}

/// The rules of the edge image, one pixel at a time.
Picture edges(const Picture& src, Picture dst, int mode, int threshold) {
  const int width = src.width(), height = src.height();
  const auto gx = [&](int x, int y) { return inner(src, x, y) ? src(x + 1, y) - src(x - 1, y) : 0; };
  const auto gy = [&](int x, int y) { return inner(src, x, y) ? src(x, y + 1) - src(x, y - 1) : 0; };
  const auto squared = [&](int x, int y) { return static_cast<float>(gy(x, y) * gy(x, y) + gx(x, y) * gx(x, y)); };
  float energy = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) energy += squared(x, y);
  const float t =
      threshold > 0 ? static_cast<float>(threshold) : std::sqrt(energy / static_cast<float>(width * height)) * 2.0f;
  return dst.fill([&](int x, int y) {
    if (mode == 0) return std::sqrt(squared(x, y)) > t ? 255 : 0;
    if (x < 2 || y < 2 || x >= width - 2 || y >= height - 2) return 0;
    float c = 0;
    for (int i = -1; i <= 1; ++i)
      for (int row = -1; row <= 1; ++row) {
        if (i == 0 && row == 0) continue;
        // Across the direction to the neighbour, of both gradients, in the stated order of the terms.
        const float n = std::sqrt(static_cast<float>(i * i + row * row));
        const auto across = [&](int at_x, int at_y) {
          return static_cast<float>(row * gx(at_x, at_y) - i * gy(at_x, at_y)) / n;
        };
        c += across(x + i, y + row) * across(x, y);
      }
    return std::fabs(c) > t * t ? 255 : 0;
  });
}

TEST(Edges, FollowTheRulesOnAnyLayout) {
  for_each_trial(400, 60, 30, [](Trial t) {
    const int smoothness = pick(t.engine, 0, 6);  // few grey levels, so that gradients meet the level exactly
    t.src.fill([&](int x, int y) { return t.src(x, y) >> smoothness; });
    const int mode = pick(t.engine, -1, 1);
    const auto threshold = static_cast<short>(pick(t.engine, -20, t.number % 2 == 0 ? 20 : 300));
    const Picture expected = edges(t.src, t.dst, mode, threshold), in_place = edges(t.src, t.src, mode, threshold);
    auto dst_mat = t.dst.mat();
    zeb::kantenfilter(dst_mat, t.src.mat(), mode, threshold);
    ASSERT_TRUE(same(expected, t.dst)) << "mode " << mode << ", threshold " << threshold;
    zeb::Kantenfilter(t.src.data(), t.src.data(), t.g.width, t.g.stride, t.g.height, mode, threshold);
    ASSERT_TRUE(same(in_place, t.src)) << "mode " << mode << ", threshold " << threshold;
  });
}

TEST(Edges, TestsAreStrict) {
  const Picture step = Picture::text({"....aaaa", "....aaaa", "....aaaa", "....aaaa", "....aaaa"}, 0, 30);
  const Picture both = Picture::text({"........", "...##...", "...##...", "...##...", "........"});
  const auto marked = [&](int mode, short threshold) {
    Picture dst(8, 8, 5, 1);
    zeb::Kantenfilter(dst.data(), step.data(), 8, 8, 5, mode, threshold);
    return dst;
  };
  EXPECT_EQ(marked(0, 30), Picture(8, 8, 5)) << "30 does not exceed 30";
  EXPECT_EQ(marked(0, 29), both);
  EXPECT_EQ(marked(0, 0), both) << "six gradients of 30 among 40 pixels: the root mean square is 11.6";
  // Each of the two columns correlates with the neighbours above and below, 30 * 30 each, and with the two diagonal
  // ones in the other column, half of that each: 2700, between the squares of 51 and 52.
  EXPECT_EQ(marked(1, 51), Picture::text({"........", "........", "...##...", "........", "........"}));
  EXPECT_EQ(marked(1, 52), Picture(8, 8, 5));
}

}  // namespace
