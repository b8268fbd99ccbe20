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
  std::mt19937 engine(1);
  for (int i = 0; i < 600; ++i) {
    const auto g = Geometry::random(engine, i % 3 == 0 ? 24 : 200, i % 2 == 0 ? 5 : 30);
    SCOPED_TRACE(g);
    Picture src = g.picture(engine);
    if (i % 2 == 0) src.fill([&](int x, int y) { return src(x, y) > 127 ? 255 : 0; });  // reaches the limits
    Picture dst = Picture::random(engine, g.width, g.stride + 3, g.height), expected = magnitude(src, dst);
    auto dst_mat = dst.mat();
    zeb::sobel(dst_mat, src.mat());
    ASSERT_TRUE(same(expected, dst));
    Picture in_place = src;
    zeb::FastSobel(in_place.data(), in_place.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(magnitude(src, src), in_place));

    Picture dst_x = g.picture(engine);
    const Picture expected_x = component(src, dst_x, sobel_x), expected_y = component(src, src, sobel_y);
    zeb::FastGradient(dst_x.data(), src.data(), src.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(expected_x, dst_x));
    ASSERT_TRUE(same(expected_y, src));
  }
}

TEST(Sobel, SingleColumnsWrapAndTruncateWherePackedOnesSaturateAndRound) {
  // Of twelve columns 0 to 7 are packed.
  for (const int at : {4, 9}) {
    Picture src(12, 12, 3, 255), x(src), y(src);
    // Around the corner: 0 0 0 / 0 . 255 / 0 255 255, both gradients 3 * 255.
    src.fill([at](int column, int row) { return column < at || row == 0 || (row == 1 && column == at) ? 0 : 255; });
    zeb::FastSobel(x.data(), src.data(), 12, 12, 3);
    EXPECT_EQ(x(at, 1), at == 4 ? 255 : 270 - 256) << "sqrt(2) * 765 / 4 = 270.5";
    // A gx of 5 and one of -13.
    src.fill([at](int column, int row) { return column == at + 1 ? (row == 2 ? 2 : 1) : 0; });
    zeb::FastGradient(x.data(), y.data(), src.data(), 12, 12, 3);
    EXPECT_EQ(x(at, 1), at == 4 ? 129 : 128) << "5 / 8";
    src.fill([at](int column, int row) { return column == at - 1 ? (row == 1 ? 4 : 3 - row / 2) : 0; });
    zeb::FastGradient(x.data(), y.data(), src.data(), 12, 12, 3);
    EXPECT_EQ(x(at, 1), at == 4 ? 126 : 127) << "-13 / 8";
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
  std::mt19937 engine(2);
  for (int i = 0; i < 400; ++i) {
    const auto g = Geometry::random(engine, i % 2 == 0 ? 12 : 150, 30);
    Picture src = g.picture(engine), dst = g.picture(engine);
    const int smoothness = pick(engine, 0, 6);  // few grey levels, so that gradients meet the level exactly
    src.fill([&](int x, int y) { return src(x, y) >> smoothness; });
    const int mode = pick(engine, -1, 1);
    const auto threshold = static_cast<short>(pick(engine, 0, 1) ? pick(engine, -3, 20) : pick(engine, -40, 300));
    SCOPED_TRACE(::testing::Message() << g << ", mode " << mode << ", threshold " << threshold);
    const Picture expected = edges(src, dst, mode, threshold), expected_in_place = edges(src, src, mode, threshold);
    auto dst_mat = dst.mat();
    zeb::kantenfilter(dst_mat, src.mat(), mode, threshold);
    ASSERT_TRUE(same(expected, dst));
    zeb::Kantenfilter(src.data(), src.data(), g.width, g.stride, g.height, mode, threshold);
    ASSERT_TRUE(same(expected_in_place, src));
  }
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
