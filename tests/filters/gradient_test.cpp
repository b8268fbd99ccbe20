#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/filters.h"

using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

int row_diff(const Picture& p, int x, int y) { return x < 1 || x > p.width() - 2 ? 0 : p(x + 1, y) - p(x - 1, y); }
int row_pair(const Picture& p, int x, int y) { return x < 1 || x > p.width() - 2 ? 0 : p(x - 1, y) + p(x, y); }
int sobel_x(const Picture& p, int x, int y) {
  return row_diff(p, x, y - 1) + 2 * row_diff(p, x, y) + row_diff(p, x, y + 1);
}
int sobel_y(const Picture& p, int x, int y) {
  return row_pair(p, x, y + 1) + row_pair(p, x + 1, y + 1) - (row_pair(p, x, y - 1) + row_pair(p, x + 1, y - 1));
}

bool inner(const Picture& p, int x, int y) { return x > 0 && y > 0 && x < p.width() - 1 && y < p.height() - 1; }

Picture magnitude(const Picture& src, Picture dst) {
  const int width = src.width(), packed_end = std::max((width - 4) & ~3, 0);
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < width; ++x) {
      if (inner(src, x, y)) {
        if (width < 8 && y > 1) continue;
        const double length = std::hypot(sobel_x(src, x, y), sobel_y(src, x, y)) / 4;
        dst(x, y) = static_cast<unsigned char>(x < packed_end ? std::min(static_cast<int>(std::nearbyint(length)), 255)
                                                              : static_cast<int>(length) % 256);
      } else {
        dst(x, y) = 0;
      }
    }
  return dst;
}

Picture component(const Picture& src, Picture dst, int (*gradient)(const Picture&, int, int)) {
  const int width = src.width(), packed_end = width < 4 ? 0 : (width - 4) & ~3;
  for (int y = 0; y < src.height(); ++y)
    for (int x = 0; x < width; ++x) {
      if (inner(src, x, y)) {
        if (packed_end == 0) continue;
        const double eighth = gradient(src, x, y) / 8.0;
        dst(x, y) = static_cast<unsigned char>(x < packed_end
                                                   ? std::clamp(static_cast<int>(std::nearbyint(eighth + 128)), 0, 255)
                                                   : static_cast<int>(std::trunc(eighth)) + 128);
      } else {
        dst(x, y) = 128;
      }
    }
  return dst;
}

/// Noise, and images of extreme pixels, whose gradients reach the limits.
Picture gradient_source(std::mt19937& engine, const Geometry& g) {
  return pick(engine, 0, 1) ? Picture::random(engine, g.width, g.stride, g.height, g.offset)
                            : Picture::random_binary(engine, g.width, g.stride, g.height, 0.5, g.offset);
}

TEST(Sobel, PackedAndSingleColumnsOnAnyLayout) {
  std::mt19937 engine(1);
  for (int i = 0; i < 600; ++i) {
    const auto g = Geometry::random(engine, i % 3 == 0 ? 24 : 200, i % 2 == 0 ? 5 : 30);
    SCOPED_TRACE(g);
    Picture src = gradient_source(engine, g);
    Picture dst = Picture::random(engine, g.width, g.stride + 3, g.height);
    const Picture expected = magnitude(src, dst);
    auto dst_mat = dst.mat();
    zeb::sobel(dst_mat, src.mat());
    ASSERT_TRUE(same(expected, dst));

    Picture dst_x = Picture::random(engine, g.width, g.stride, g.height, g.offset), dst_y(dst_x);
    const Picture expected_x = component(src, dst_x, sobel_x), expected_y = component(src, dst_y, sobel_y);
    zeb::FastGradient(dst_x.data(), dst_y.data(), src.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(expected_x, dst_x));
    ASSERT_TRUE(same(expected_y, dst_y));

    Picture in_place = src;
    zeb::FastGradient(dst_x.data(), in_place.data(), in_place.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(component(src, src, sobel_y), in_place));
    in_place = src;
    zeb::FastSobel(in_place.data(), in_place.data(), g.width, g.stride, g.height);
    ASSERT_TRUE(same(magnitude(src, src), in_place));
  }
}

TEST(Sobel, SingleColumnsWrapWherePackedOnesSaturate) {
  // Of twelve columns 0 to 7 are packed.
  const auto corner = [](int at) {
    Picture p(12, 12, 3, 255);
    for (int x = 0; x <= at; ++x) p(x, 0) = p(x, 1) = 0;
    for (int x = 0; x < at; ++x) p(x, 2) = 0;
    p(at, 1) = 128;
    p(at + 1, 0) = 0;
    return p;
  };
  for (const int at : {4, 9}) {
    const Picture src = corner(at);
    // Rows around the corner: 0 0 0 / 0 . 255 / 0 255 255
    ASSERT_EQ(sobel_x(src, at, 1), 3 * 255);
    ASSERT_EQ(sobel_y(src, at, 1), 3 * 255);
    Picture dst(12, 12, 3);
    zeb::FastSobel(dst.data(), src.data(), 12, 12, 3);
    EXPECT_EQ(dst(at, 1), at == 4 ? 255 : 270 - 256) << "sqrt(2) * 765 / 4 = 270.5";
  }

  Picture ramp(12, 12, 3), x(ramp), y(ramp);  // gx is 5 and gy 0 around columns 4 and 9
  ramp(5, 0) = ramp(10, 0) = 1;
  ramp(5, 1) = ramp(10, 1) = 1;
  ramp(5, 2) = ramp(10, 2) = 2;
  ramp(3, 0) = ramp(8, 0) = 0;
  zeb::FastGradient(x.data(), y.data(), ramp.data(), 12, 12, 3);
  EXPECT_EQ(x(4, 1), 129) << "5 / 8 is rounded";
  EXPECT_EQ(x(9, 1), 128) << "and truncated";
  for (int at : {5, 10}) ramp(at, 0) = ramp(at, 1) = ramp(at, 2) = 0;
  for (int at : {5, 10}) ramp(at - 2, 0) = 3, ramp(at - 2, 1) = 4, ramp(at - 2, 2) = 2;
  zeb::FastGradient(x.data(), y.data(), ramp.data(), 12, 12, 3);
  EXPECT_EQ(x(4, 1), 126) << "-13 / 8 is -1.6";
  EXPECT_EQ(x(9, 1), 127);
}

TEST(Sobel, NarrowImagesComputeRow1Alone) {
  const Picture src = Picture::grey({{0, 0, 40, 40}, {0, 0, 40, 40}, {0, 0, 40, 40}, {0, 0, 40, 40}}, 6);
  Picture dst(4, 6, 4, 9);
  zeb::FastSobel(dst.data(), src.data(), 4, 6, 4);
  EXPECT_EQ(dst, Picture::grey({{0, 0, 0, 0}, {0, 40, 40, 0}, {0, 9, 9, 0}, {0, 0, 0, 0}}, 6));
  zeb::FastGradient(dst.data(), dst.data(), Picture(src).data(), 4, 6, 4);
  EXPECT_EQ(dst, Picture::grey({{128, 128, 128, 128}, {128, 40, 40, 128}, {128, 9, 9, 128}, {128, 128, 128, 128}}, 6));
}

/// The rules of the edge image, one pixel at a time.
Picture edges(const Picture& src, Picture dst, int mode, int threshold) {
  const int width = src.width(), height = src.height();
  const auto gx = [&](int x, int y) { return inner(src, x, y) ? src(x + 1, y) - src(x - 1, y) : 0; };
  const auto gy = [&](int x, int y) { return inner(src, x, y) ? src(x, y + 1) - src(x, y - 1) : 0; };
  float energy = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) energy += static_cast<float>(gy(x, y) * gy(x, y) + gx(x, y) * gx(x, y));
  float t = std::sqrt(energy / static_cast<float>(width * height)) * 2.0f;
  if (threshold > 0) t = static_cast<float>(threshold);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      dst(x, y) = 0;
      const int g0x = gx(x, y), g0y = gy(x, y);
      if (mode == 0) {
        if (std::sqrt(static_cast<float>(g0x * g0x + g0y * g0y)) > t) dst(x, y) = 255;
        continue;
      }
      if (x < 2 || y < 2 || x >= width - 2 || y >= height - 2) continue;
      float c = 0;
      for (int i = -1; i <= 1; ++i) {
        float n = std::sqrt(static_cast<float>(i * i + 1));
        int nx = gx(x + i, y - 1), ny = gy(x + i, y - 1);
        c += (static_cast<float>(-(nx + ny * i)) / n) * (static_cast<float>(-(g0y * i) - g0x) / n);
        if (i != 0) {
          n = std::sqrt(static_cast<float>(i * i));
          ny = gy(x + i, y);
          c += (static_cast<float>(-(ny * i)) / n) * (static_cast<float>(-(g0y * i)) / n);
        }
        n = std::sqrt(static_cast<float>(i * i + 1));
        nx = gx(x + i, y + 1), ny = gy(x + i, y + 1);
        c += (static_cast<float>(nx - ny * i) / n) * (static_cast<float>(-(g0y * i) + g0x) / n);
      }
      if (std::fabs(c) > t * t) dst(x, y) = 255;
    }
  return dst;
}

TEST(Edges, FollowTheRulesOnAnyLayout) {
  std::mt19937 engine(2);
  for (int i = 0; i < 400; ++i) {
    const auto g = Geometry::random(engine, i % 2 == 0 ? 12 : 150, 30);
    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    const int smoothness = pick(engine, 0, 6);  // few grey levels, so that gradients meet the level exactly
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) src(x, y) = static_cast<unsigned char>(src(x, y) >> smoothness);
    const int mode = pick(engine, -1, 1);
    const auto threshold = static_cast<short>(pick(engine, 0, 1) ? pick(engine, -3, 20) : pick(engine, -40, 300));
    SCOPED_TRACE(::testing::Message() << g << ", mode " << mode << ", threshold " << threshold);
    Picture dst = Picture::random(engine, g.width, g.stride, g.height);
    const Picture expected = edges(src, dst, mode, threshold);
    auto dst_mat = dst.mat();
    zeb::kantenfilter(dst_mat, src.mat(), mode, threshold);
    ASSERT_TRUE(same(expected, dst));
    const Picture expected_in_place = edges(src, src, mode, threshold);
    zeb::Kantenfilter(src.data(), src.data(), g.width, g.stride, g.height, mode, threshold);
    ASSERT_TRUE(same(expected_in_place, src));
  }
}

TEST(Edges, TestsAreStrict) {
  const Picture step = Picture::text({"....aaaa", "....aaaa", "....aaaa", "....aaaa", "....aaaa", "....aaaa"}, 0, 30);
  Picture dst(8, 8, 6, 1);
  zeb::Kantenfilter(dst.data(), step.data(), 8, 8, 6, 0, 30);
  EXPECT_EQ(dst, Picture(8, 8, 6)) << "30 does not exceed 30";
  zeb::Kantenfilter(dst.data(), step.data(), 8, 8, 6, 0, 29);
  EXPECT_EQ(dst, Picture::text({"........", "...##...", "...##...", "...##...", "...##...", "........"}));
  // Eight gradients of 30 among 48 pixels: the root mean square is 12.2.
  zeb::Kantenfilter(dst.data(), step.data(), 8, 8, 6, 0, 0);
  EXPECT_EQ(dst, Picture::text({"........", "...##...", "...##...", "...##...", "...##...", "........"}));
  // Each of the two columns correlates with the neighbours above and below, 30 * 30 each, and with the two diagonal
  // ones in the other column, half of that each: 2700, between the squares of 51 and 52.
  zeb::Kantenfilter(dst.data(), step.data(), 8, 8, 6, 1, 51);
  EXPECT_EQ(dst, Picture::text({"........", "........", "...##...", "...##...", "........", "........"}));
  zeb::Kantenfilter(dst.data(), step.data(), 8, 8, 6, 1, 52);
  EXPECT_EQ(dst, Picture(8, 8, 6));
  zeb::Kantenfilter(dst.data(), Picture(8, 8, 6, 77).data(), 8, 8, 6, 0, 0);
  EXPECT_EQ(dst, Picture(8, 8, 6)) << "a constant image exceeds not even 0";
}

TEST(GradientsAndEdges, GiveUpQuietly) {
  Picture src(20, 20, 5, 7), dst(20, 20, 5, 1);
  const Picture untouched = dst;
  const auto run_all = [&](int width, int height) {
    zeb::FastSobel(dst.data(), src.data(), width, 20, height);
    zeb::FastGradient(dst.data(), dst.data(), src.data(), width, 20, height);
    zeb::Kantenfilter(dst.data(), src.data(), width, 20, height, 0, 0);
  };
  for (const int none : {0, -1, -2147483647 - 1}) {
    run_all(none, 5);
    run_all(20, none);
  }
  {
    const FailingAllocations failing(0);
    run_all(20, 5);
  }
  EXPECT_EQ(dst, untouched);
}

}  // namespace
