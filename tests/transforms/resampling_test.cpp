#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "tests/support/allocation.h"
#include "tests/support/picture.h"
#include "tests/support/random_geometry.h"
#include "zeb/transforms.h"

using zeb::testing::FailingAllocations;
using zeb::testing::Geometry;
using zeb::testing::pick;
using zeb::testing::Picture;
using zeb::testing::same;

namespace {

struct Bounds {
  int x_min, x_max, y_min, y_max;
};

float sample(const Picture& src, float x, float y, const Bounds& b, float background) {
  const float left = std::floor(x), top = std::floor(y);
  if (!(left >= static_cast<float>(b.x_min) && left < static_cast<float>(b.x_max) &&
        top >= static_cast<float>(b.y_min) && top < static_cast<float>(b.y_max)))
    return background;
  const int ix = static_cast<int>(left), iy = static_cast<int>(top);
  const float fx = x - left, fy = y - top;
  float sum = src(ix + 1, iy) * (fx * (1 - fy));
  sum += src(ix, iy) * ((1 - fx) * (1 - fy));
  sum += src(ix, iy + 1) * ((1 - fx) * fy);
  return sum + src(ix + 1, iy + 1) * (fx * fy);
}

TEST(MapData, FollowsItsRulesToTheLastBitOnAnyLayout) {
  const float odd[] = {std::nanf(""), std::numeric_limits<float>::infinity(), -3e9f, -1e-9f, 1e30f};
  std::mt19937 engine(1);
  for (int i = 0; i < 2000; ++i) {
    auto g = Geometry::random(engine, 40, 24);
    if (i % 100 == 0) g.stride = 40000, g.height = 5;  // offsets of pixels beyond 16-bit products
    SCOPED_TRACE(g);
    const auto near = [&](int size) {
      if (pick(engine, 0, 15) == 0) return odd[pick(engine, 0, 4)];
      const float at = std::uniform_real_distribution<float>(-2, static_cast<float>(size) + 1)(engine);
      return pick(engine, 0, 3) == 0 ? std::floor(at) : at;
    };
    std::vector<float> map_x(static_cast<std::size_t>(g.width)), map_y(static_cast<std::size_t>(g.height) + 3);
    for (auto& x : map_x) x = near(g.width);
    for (auto& y : map_y) y = near(4) - 2;
    Bounds b{0, g.width - 1, 0, g.height - 1};
    if (pick(engine, 0, 1) == 0) b = {g.width / 4, g.width / 2, g.height / 3, g.height - 2};
    const float background = std::uniform_real_distribution<float>(-300, 600)(engine);

    Picture src = Picture::random(engine, g.width, g.stride, g.height, g.offset);
    Picture expected(g.width, g.stride, g.height, 1), dst(expected);
    for (int y = 0; y < g.height; ++y)
      for (int x = 0; x < g.width; ++x) {
        const bool group = x < g.width / 4 * 4;
        const float offset = map_y[static_cast<std::size_t>(y + (group ? x % 4 : 0))];
        const float value =
            sample(src, map_x[static_cast<std::size_t>(x)], static_cast<float>(y) + offset, b, background);
        if (group)
          expected.data()[g.stride / 4 * 4 * y + x] =
              static_cast<unsigned char>(std::min(255.0f, std::max(0.0f, std::nearbyint(value))));
        else
          expected(x, y) = static_cast<unsigned char>(static_cast<int>(value + 0.49f));
      }
    zeb::map_data(dst.data(), src.data(), g.width, g.stride, g.height, map_x.data(), map_y.data(), b.x_min, b.x_max,
                  b.y_min, b.y_max, background);
    ASSERT_TRUE(same(expected, dst)) << "background " << background;
  }
}

TEST(MapData, LanesTakeTheOffsetsOfTheRowsBelow) {
  Picture src(6, 6, 5), dst(6, 6, 2, 50);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 6; ++x) src(x, y) = static_cast<unsigned char>(10 * y + x);
  float map_x[] = {0, 1, 2, 3, 4, 4.5f}, map_y[] = {0, 1, 2, 9, 0.25f};
  zeb::map_data(dst.data(), src.data(), 6, 6, 2, map_x, map_y, 0, 5, 0, 4, 200);
  // Row 0 takes 0, 1, 2, 9 and then 0 for the rest; row 1 takes 1, 2, 9, 0.25 and then 1. Its groups begin at byte 4,
  // where they replace the rest of row 0.
  const int bytes[] = {0, 11, 22, 200, 20, 31, 200, 16, 50, 50, 24, 24};
  for (int i = 0; i < 12; ++i) EXPECT_EQ(dst.data()[i], bytes[i]) << i;
  // Narrower than a group: no further offsets are read.
  std::vector<float> exact_x{0, 1, 2}, exact_y{0};
  zeb::map_data(dst.data(), src.data(), 3, 6, 1, exact_x.data(), exact_y.data(), 0, 5, 0, 4, 300);
  EXPECT_EQ(dst(2, 0), 2);
  zeb::map_data(dst.data(), src.data(), 3, 6, 1, exact_x.data(), exact_y.data(), 0, 1, 0, 4, 300);
  EXPECT_EQ(dst(2, 0), 44) << "300 loses its high bits behind the groups";
  zeb::map_data(dst.data(), src.data(), 3, 6, 1, exact_x.data(), exact_y.data(), 0, 1, 0, 4, 0.51f);
  EXPECT_EQ(dst(2, 0), 1) << "0.49 is added in single precision, which makes 1 of it";
  zeb::map_data(dst.data(), nullptr, -3, 6, 1, nullptr, nullptr, 0, 1, 0, 4, 0);
  zeb::map_data(dst.data(), nullptr, 3, 6, -1, nullptr, nullptr, 0, 1, 0, 4, 0);
  EXPECT_EQ(dst(2, 0), 1);
}

TEST(MapData, BoundsMayLieAnywhereInALargerImage) {
  Picture src(8, 8, 4), dst(5, 8, 1);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x) src(x, y) = static_cast<unsigned char>(10 * y + x);
  // Seen from column 3 of row 2.
  float map_x[] = {-3, -2, 0, 4, -1}, map_y[] = {-1, -1, -2, -1};
  zeb::map_data(dst.data(), &src(3, 2), 5, 8, 1, map_x, map_y, -2, 4, -1, 0, 99);
  const int expected[] = {99, 11, 99, 99, 12};
  for (int x = 0; x < 5; ++x) EXPECT_EQ(dst(x, 0), expected[x]) << x;
}

struct Reduced {
  int width = -1, height = -1, stride = -1;
};

Reduced reduce(Picture& dst, Picture& src, int factor) {
  Reduced r;
  zeb::reduce_resolution(dst.data(), src.data(), &r.width, &r.height, &r.stride, src.width(), src.height(),
                         src.stride(), factor);
  return r;
}

TEST(ReduceResolution, TakesTheMaximumOverAClippedDisk) {
  std::mt19937 engine(2);
  for (int i = 0; i < 150; ++i) {
    const int width = pick(engine, 10, 90), height = pick(engine, 10, 90);
    const int factor = pick(engine, 1, std::min(width, height) / 10), r = factor / 2 + 1;
    SCOPED_TRACE(::testing::Message() << width << " x " << height << " by " << factor);
    const Picture src = Picture::random(engine, width, width + pick(engine, 0, 5), height + 1);
    // Exactly what may be read, for the address checker: reduced by 2, disks reach a row below an even height.
    const int readable = src.stride() * height + (factor == 2 && height % 2 == 0 ? width - 1 : width - src.stride());
    std::vector<unsigned char> exact(src.data(), src.data() + readable);
    const int w = width / factor, h = height / factor, stride = (w + 3) / 4 * 4;
    Picture expected(w, stride, h, 1), dst(expected);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        int value = 0;
        const int cx = factor * x + (width % factor) / 2, cy = factor * y + (height % factor) / 2;
        for (int dy = y - r < 0 ? -y : -r; dy <= (y + r >= height ? height - 1 - y : r); ++dy)
          for (int dx = x - r < 0 ? -x : -r; dx <= (x + r >= width ? width - 1 - x : r); ++dx)
            if (dx * dx + dy * dy <= r * r) value = std::max<int>(value, src(cx + dx, cy + dy));
        expected(x, y) = static_cast<unsigned char>(value);
      }
    Reduced size;
    zeb::reduce_resolution(dst.data(), exact.data(), &size.width, &size.height, &size.stride, width, height,
                           src.stride(), factor);
    ASSERT_TRUE(same(expected, dst));
    EXPECT_EQ(size.width, w);
    EXPECT_EQ(size.height, h);
    EXPECT_EQ(size.stride, stride);
  }
}

TEST(ReduceResolution, WritesNothingForFactorsThatDoNotFit) {
  Picture src(25, 25, 40, 9), dst(10, 12, 10);
  const Picture untouched = dst;
  for (const int factor : {3, 4, 0, -1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(reduce(dst, src, factor).width, -1) << factor;
    EXPECT_EQ(dst, untouched);
  }
  for (int granted = 0; granted < 2; ++granted) {
    const FailingAllocations failing(granted);
    EXPECT_EQ(reduce(dst, src, 2).stride, -1);
    EXPECT_EQ(dst, untouched);
  }
  Picture large(100, 100, 100), small(33, 36, 33);
  const Reduced size = reduce(small, large, 3);
  EXPECT_EQ(size.width, 33);
  EXPECT_EQ(size.height, 33);
  EXPECT_EQ(size.stride, 36);
}

TEST(Downsampling, CutsTheTopLeftPartOfAPackedWarp) {
  std::mt19937 engine(3);
  for (int i = 0; i < 200; ++i) {
    const int width = i % 25 == 7 ? 2500 : pick(engine, 1, 60), stride = (width + 3) / 4 * 4 + 4 * pick(engine, 0, 2);
    Picture src = Picture::random(engine, width, stride, pick(engine, 1, 40)), warped(src);
    const float factor = i % 10 == 0 ? 1.0f : std::uniform_real_distribution<float>(0, 1)(engine);
    zeb::mm_transform(warped.data(), src.data(), width, stride, src.height(), 0, 0, 0, 0, 0, factor, 0);
    auto bitmap = src.bitmap({2.0f, 3.0f});
    const auto result = zeb::downsampling(bitmap, factor);
    const auto cut = [factor](int length) { return static_cast<int>(static_cast<float>(length) * factor); };
    ASSERT_EQ(result.width, cut(width));
    ASSERT_EQ(result.stride, cut(stride));
    ASSERT_EQ(result.height, cut(src.height()));
    EXPECT_EQ(result.pixel_size_x.value, 2.0f / factor);
    EXPECT_EQ(result.pixel_size_y.value, 3.0f / factor);
    for (int y = 0; y < result.height; ++y)
      for (int x = 0; x < result.width; ++x) ASSERT_EQ(result.at(y, x), warped(x, y)) << x << ", " << y;
  }
}

TEST(Downsampling, OfAnOddStrideIsWhatThePackedWarpLaysOut) {
  // Rows of 8 bytes that begin 4 bytes apart: 28 of the 30 bytes are written, the others are 0.
  std::mt19937 engine(4);
  Picture src = Picture::random(engine, 5, 5, 6), warped(5, 5, 6, 0);
  zeb::mm_transform(warped.data(), src.data(), 5, 5, 6, 0, 0, 0, 0, 0, 1, 0);
  auto bitmap = src.bitmap({1, 1});
  const auto result = zeb::downsampling(bitmap, 1);
  ASSERT_EQ(result.stride, 5);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(result.data[i], warped.data()[i]) << i;
}

TEST(DownsamplingDeathTest, ReportsBadFactorsAndMissingMemory) {
  Picture src(20, 20, 20);
  auto bitmap = src.bitmap({1, 1});
  EXPECT_DEATH(zeb::downsampling(bitmap, 1.5f), "");
  EXPECT_DEATH(zeb::downsampling(bitmap, std::nanf("")), "");
  for (int granted = 0; granted < 2; ++granted) {
    const FailingAllocations failing(granted);
    EXPECT_THROW(zeb::downsampling(bitmap, 0.5f), std::bad_alloc) << granted;
  }
  EXPECT_EQ(zeb::downsampling(bitmap, 0).width, 0);
  EXPECT_THROW(zeb::downsampling(bitmap, -std::numeric_limits<float>::infinity()), std::bad_alloc);
}

}  // namespace
