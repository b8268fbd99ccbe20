#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/transforms/sampling.h"
#include "zeb/transforms.h"

using namespace zeb::testing;

namespace {

TEST(MapData, FollowsItsRulesToTheLastBitOnAnyLayout) {
  const float odd[] = {NAN, INFINITY, -3e9f, -1e-9f, 1e30f};
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
    // Narrower than a group, no further offsets are read.
    std::vector<float> map_x(static_cast<std::size_t>(g.width));
    std::vector<float> map_y(static_cast<std::size_t>(g.height + (g.width < 4 ? 0 : 3)));
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
        const Position at{map_x[static_cast<std::size_t>(x)], static_cast<float>(y) + offset};
        const float value = bilinear(src, at, b, background);
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

TEST(MapData, RestColumnsRoundInSinglePrecision) {
  Picture src(3, 3, 2), dst(src);
  float map_x[] = {0, 0, 2}, map_y[] = {0};
  zeb::map_data(dst.data(), src.data(), 3, 3, 1, map_x, map_y, 0, 1, 0, 1, 0.51f);
  EXPECT_EQ(dst(2, 0), 1) << "0.51f is a little less than 0.51";
}

TEST(MapData, BoundsMayLieBeforeTheFirstPixel) {
  Picture src(6, 6, 5), dst(6, 6, 1);
  src.fill([](int x, int y) { return 10 * y + x; });
  float map_x[] = {-3, -2, 0, 4, -1}, map_y[] = {-1, -1, -2, -1};
  zeb::map_data(dst.data(), &src(3, 2), 5, 6, 1, map_x, map_y, -2, 2, -1, 0, 99);
  EXPECT_EQ(dst, Picture::grey({{99, 11, 99, 99, 12, 0}}));
}

TEST(ReduceResolution, TakesTheMaximumOverAClippedDisk) {
  std::mt19937 engine(2);
  for (int i = 0; i < 150; ++i) {
    const int width = pick(engine, 10, 90), height = pick(engine, 10, 90), stride = width + pick(engine, 0, 5);
    const int factor = pick(engine, 1, std::min(width, height) / 10), r = factor / 2 + 1;
    SCOPED_TRACE(::testing::Message() << width << " x " << height << " by " << factor);
    const Picture src = Picture::random(engine, width, stride, height + 1);
    // Exactly what may be read, for the address checker: reduced by 2, disks reach a row below an even height.
    const int readable = stride * height + (factor == 2 && height % 2 == 0 ? width - 1 : width - stride);
    std::vector<unsigned char> exact(src.data(), src.data() + readable);
    const int w = width / factor, h = height / factor;
    Picture expected(w, (w + 3) / 4 * 4, h, 1), dst(expected);
    expected.fill([&](int x, int y) {
      int value = 0;
      const int cx = factor * x + (width % factor) / 2, cy = factor * y + (height % factor) / 2;
      for (int dy = std::max(-r, -y); dy <= std::min(r, height - 1 - y); ++dy)
        for (int dx = std::max(-r, -x); dx <= std::min(r, width - 1 - x); ++dx)
          if (dx * dx + dy * dy <= r * r) value = std::max<int>(value, src(cx + dx, cy + dy));
      return value;
    });
    int out[3] = {};
    zeb::reduce_resolution(dst.data(), exact.data(), out, out + 1, out + 2, width, height, stride, factor);
    ASSERT_TRUE(same(expected, dst));
    EXPECT_TRUE(out[0] == w && out[1] == h && out[2] == expected.stride());
  }
}

TEST(ReduceResolution, WritesNoPixelsForOtherFactors) {
  Picture src(99, 99, 49), dst(src);
  const struct {
    int factor, out[3];
  } cases[] = {{5, {7, 7, 7}}, {0, {7, 7, 7}}, {INT_MAX, {7, 7, 7}}, {-9, {-11, -5, -8}}, {INT_MIN, {0, 0, 0}}};
  for (const auto& c : cases) {
    int out[3] = {7, 7, 7};
    zeb::reduce_resolution(dst.data(), src.data(), out, out + 1, out + 2, 99, 49, 99, c.factor);
    EXPECT_TRUE(std::equal(out, out + 3, c.out)) << c.factor << ": " << ::testing::PrintToString(out);
    EXPECT_EQ(dst, src) << c.factor;
  }
}

TEST(Downsampling, CutsTheTopLeftPartOfAPackedWarp) {
  std::mt19937 engine(3);
  for (int i = 0; i < 200; ++i) {
    const bool tall = i % 25 == 8;  // enough for an estimate to lead beyond the last row
    // With a stride that is no multiple of 4, rows of the packed warp lie closer together than the result reads them.
    const int width = i % 25 == 7 ? 2500 : pick(engine, 1, 60);
    const int stride = (width + 3) / 4 * 4 + (i % 5 == 0 ? 5 : 4) * pick(engine, 0, 2);
    Picture src = Picture::random(engine, width, stride, tall ? 2500 : pick(engine, 1, 40)), warped(src);
    std::fill_n(warped.data(), stride * warped.height(), static_cast<unsigned char>(0));
    const float factor = i % 10 == 0 ? 1.0f : std::uniform_real_distribution<float>(tall ? 0.95f : 0.0f, 1)(engine);
    zeb::mm_transform(warped.data(), src.data(), width, stride, src.height(), 0, 0, 0, 0, 0, factor, 0);
    auto bitmap = src.bitmap({2.0f, 3.0f});
    const auto result = zeb::downsampling(bitmap, factor);
    const auto cut = [factor](int length) { return static_cast<int>(static_cast<float>(length) * factor); };
    ASSERT_TRUE(result.width == cut(width) && result.stride == cut(stride) && result.height == cut(src.height()));
    EXPECT_TRUE(result.pixel_size_x.value == 2.0f / factor && result.pixel_size_y.value == 3.0f / factor);
    for (int y = 0; y < result.height; ++y)
      for (int x = 0; x < result.width; ++x) ASSERT_EQ(result.at(y, x), warped(x, y)) << x << ", " << y;
  }
  Picture src(20, 20, 20);
  auto bitmap = src.bitmap({1, 1});
  EXPECT_THROW(zeb::downsampling(bitmap, -INFINITY), std::bad_alloc);
}

}  // namespace
